// The desktop program as a user meets it, on a private X server (Xvfb) with a
// tray host: from the shortcut's key press to the popup's card drawn on
// screen, over the PRIMARY selection and through the copy fallback; the
// program's resident memory idle and after many popups; and the time from
// starting the program to the end of its launch.
//
// Needs Xvfb and trayer; talvo and talvo_test_target are taken from this
// program's folder and the dictionary from ../share/talvo.
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point t) {
    return std::chrono::duration<double, std::milli>(Clock::now() - t).count();
}

pid_t spawn(const std::vector<std::string>& argv, const std::string& out = "/dev/null") {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    std::vector<char*> args;
    for (const std::string& a : argv) {
        args.push_back(const_cast<char*>(a.c_str()));
    }
    args.push_back(nullptr);
    pid_t pid = 0;
    int rc = posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0) {
        throw std::runtime_error("cannot start " + argv[0]);
    }
    return pid;
}

void stop(pid_t& pid) {
    if (pid > 0) {
        kill(pid, SIGTERM);
        waitpid(pid, nullptr, 0);
        pid = 0;
    }
}

bool waitForLine(const std::string& file, const std::string& line, double timeoutMs) {
    auto start = Clock::now();
    while (msSince(start) < timeoutMs) {
        std::ifstream in(file);
        for (std::string l; std::getline(in, l);) {
            if (l == line) {
                return true;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
}

long rssKiB(pid_t pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/status");
    for (std::string l; std::getline(in, l);) {
        if (l.rfind("VmRSS:", 0) == 0) {
            return std::strtol(l.c_str() + 6, nullptr, 10);
        }
    }
    return -1;
}

// The private desktop: X server, tray host, a clipboard owner and the program.
class Desktop {
  public:
    static Desktop& get() {
        static Desktop desktop;
        return desktop;
    }

    ~Desktop() {
        stop(m_talvo);
        stop(m_target);
        stop(m_clipboardOwner);
        stop(m_trayer);
        if (m_display) {
            XCloseDisplay(m_display);
        }
        stop(m_xvfb);
        std::error_code ec;
        fs::remove_all(m_work, ec);
    }

    Display* display() { return m_display; }
    pid_t talvo() const { return m_talvo; }
    const std::string& bin() const { return m_bin; }

    // The program freshly started (any earlier one ended); the time to ready.
    double startTalvo() {
        stop(m_talvo);
        auto t = Clock::now();
        m_talvo = spawn({m_bin + "/talvo"});
        if (!pingUntilReady(10000)) {
            throw std::runtime_error("talvo did not get ready");
        }
        return msSince(t);
    }

    // A window of "another application" holding `text`, focused.
    void showTarget(const std::string& text, bool copyOnly) {
        stop(m_target);
        std::string log = m_work + "/target.log";
        m_target = spawn(
            {m_bin + "/talvo_test_target", "window", text, copyOnly ? "copy" : "primary"}, log);
        if (!waitForLine(log, "ready", 5000)) {
            throw std::runtime_error("test target did not start");
        }
    }

  private:
    Desktop() {
        m_bin = fs::canonical("/proc/self/exe").parent_path().string();
        char tmpl[] = "/tmp/talvo-bench-XXXXXX";
        m_work = mkdtemp(tmpl);
        for (const char* d : {"/home", "/config", "/data", "/run", "/tmp"}) {
            fs::create_directories(m_work + d);
        }
        fs::permissions(m_work + "/run", fs::perms::owner_all);
        setenv("HOME", (m_work + "/home").c_str(), 1);
        setenv("XDG_CONFIG_HOME", (m_work + "/config").c_str(), 1);
        setenv("XDG_DATA_HOME", (m_work + "/data").c_str(), 1);
        setenv("XDG_RUNTIME_DIR", (m_work + "/run").c_str(), 1);
        setenv("TMPDIR", (m_work + "/tmp").c_str(), 1);
        setenv("QT_QPA_PLATFORM", "xcb", 1);
        std::string dict = (fs::path(m_bin).parent_path() / "share/talvo/dict.sqlite").string();
        setenv("TALVO_DICT", dict.c_str(), 1);
        unsetenv("DBUS_SESSION_BUS_ADDRESS");
        unsetenv("TALVO_DATA_DIR");

        // A display number nobody uses: the lock files of running servers.
        int n = 140;
        while (fs::exists("/tmp/.X" + std::to_string(n) + "-lock")) {
            ++n;
        }
        std::string name = ":" + std::to_string(n);
        m_xvfb = spawn({"Xvfb", name, "-screen", "0", "1280x800x24", "-nolisten", "tcp"});
        setenv("DISPLAY", name.c_str(), 1);
        auto start = Clock::now();
        while (!(m_display = XOpenDisplay(name.c_str())) && msSince(start) < 5000) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        if (!m_display) {
            throw std::runtime_error("Xvfb did not start");
        }
        m_socket = m_work + "/tmp/talvo-" + std::to_string(getuid()) + "-_" + std::to_string(n);
        m_trayer = spawn({"trayer", "--edge", "top", "--align", "right", "--widthtype", "request",
                          "--height", "28", "--SetDockType", "true"});
        std::string log = m_work + "/clipboard.log";
        m_clipboardOwner = spawn({m_bin + "/talvo_test_target", "own-clipboard"}, log);
        waitForLine(log, "ready", 5000);
    }

    bool pingUntilReady(double timeoutMs) {
        auto start = Clock::now();
        while (msSince(start) < timeoutMs) {
            int fd = socket(AF_UNIX, SOCK_STREAM, 0);
            sockaddr_un addr{};
            addr.sun_family = AF_UNIX;
            std::strncpy(addr.sun_path, m_socket.c_str(), sizeof(addr.sun_path) - 1);
            if (connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) == 0) {
                (void)!write(fd, "ping\n", 5);
                char buf[16] = {};
                ssize_t got = read(fd, buf, sizeof(buf) - 1);
                close(fd);
                if (got > 0 && std::strncmp(buf, "ready", 5) == 0) {
                    return true;
                }
            } else {
                close(fd);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return false;
    }

    std::string m_bin;
    std::string m_work;
    std::string m_socket;
    Display* m_display = nullptr;
    pid_t m_xvfb = 0;
    pid_t m_trayer = 0;
    pid_t m_clipboardOwner = 0;
    pid_t m_target = 0;
    pid_t m_talvo = 0;
};

std::string windowName(Display* d, Window w) {
    XTextProperty prop;
    std::string out;
    Atom utf8 = XInternAtom(d, "UTF8_STRING", False);
    Atom netName = XInternAtom(d, "_NET_WM_NAME", False);
    if (XGetTextProperty(d, w, &prop, netName) && prop.value) {
        if (prop.encoding == utf8 || prop.encoding == XA_STRING) {
            out.assign(reinterpret_cast<char*>(prop.value), prop.nitems);
        }
        XFree(prop.value);
    }
    return out;
}

void tap(Display* d, std::optional<KeySym> modifier, KeySym key) {
    KeyCode mod = modifier ? XKeysymToKeycode(d, *modifier) : 0;
    KeyCode k = XKeysymToKeycode(d, key);
    if (mod) {
        XTestFakeKeyEvent(d, mod, True, CurrentTime);
    }
    XTestFakeKeyEvent(d, k, True, CurrentTime);
    XTestFakeKeyEvent(d, k, False, CurrentTime);
    if (mod) {
        XTestFakeKeyEvent(d, mod, False, CurrentTime);
    }
    XFlush(d);
}

// One shortcut press until the popup's card is drawn: the popup window maps,
// then its pixels turn the card's colour. Returns milliseconds, or a
// negative number after 3 s.
double pressUntilPopupDrawn(Display* d) {
    Window root = DefaultRootWindow(d);
    XSelectInput(d, root, SubstructureNotifyMask);
    XSync(d, True);
    auto t = Clock::now();
    tap(d, XK_Alt_L, XK_d);
    Window popup = 0;
    while (msSince(t) < 3000) {
        while (!popup && XPending(d)) {
            XEvent e;
            XNextEvent(d, &e);
            if (e.type == MapNotify && windowName(d, e.xmap.window).rfind("Talvo — ", 0) == 0) {
                popup = e.xmap.window;
            }
        }
        if (popup) {
            // The card colour in the left margin, below the rounded corner.
            XImage* img = XGetImage(d, popup, 6, 60, 1, 1, AllPlanes, ZPixmap);
            unsigned long pixel = img ? XGetPixel(img, 0, 0) : 0;
            if (img) {
                XDestroyImage(img);
            }
            if (pixel == 0xfbf6e9) {
                double ms = msSince(t);
                tap(d, std::nullopt, XK_Escape);
                // Let it go away before the next press.
                while (msSince(t) < 3000) {
                    XEvent e;
                    XNextEvent(d, &e);
                    if (e.type == UnmapNotify && e.xunmap.window == popup) {
                        break;
                    }
                }
                return ms;
            }
        }
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return -1;
}

void popupBench(benchmark::State& state, bool copyFallback) {
    Desktop& desk = Desktop::get();
    if (!desk.talvo()) {
        desk.startTalvo();
    }
    desk.showTarget(copyFallback ? "數" : "傷寒論", copyFallback);
    // One press to warm the caches (fonts, the dictionary's pages).
    pressUntilPopupDrawn(desk.display());
    for (auto _ : state) {
        double ms = pressUntilPopupDrawn(desk.display());
        if (ms < 0) {
            state.SkipWithError("no popup within 3 s");
            break;
        }
        state.SetIterationTime(ms / 1000.0);
    }
    state.counters["rss_MiB"] = rssKiB(desk.talvo()) / 1024.0;
}

void BM_KeyToPopup_Primary(benchmark::State& state) {
    popupBench(state, false);
}
void BM_KeyToPopup_CopyFallback(benchmark::State& state) {
    popupBench(state, true);
}

void BM_StartToReady(benchmark::State& state) {
    Desktop& desk = Desktop::get();
    for (auto _ : state) {
        state.SetIterationTime(desk.startTalvo() / 1000.0);
    }
    // Idle for a moment after the launch: what the tray program holds.
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    state.counters["idle_rss_MiB"] = rssKiB(desk.talvo()) / 1024.0;
}

// Each repetition is one press; the aggregates give the median.
BENCHMARK(BM_StartToReady)
    ->UseManualTime()
    ->Iterations(1)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_KeyToPopup_Primary)
    ->UseManualTime()
    ->Iterations(1)
    ->Repetitions(30)
    ->ReportAggregatesOnly(true)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_KeyToPopup_CopyFallback)
    ->UseManualTime()
    ->Iterations(1)
    ->Repetitions(30)
    ->ReportAggregatesOnly(true)
    ->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    for (const char* tool : {"Xvfb", "trayer"}) {
        std::string check = std::string("command -v ") + tool + " >/dev/null";
        if (std::system(check.c_str()) != 0) {
            std::fprintf(stderr, "bench_popup: %s is not installed; skipped\n", tool);
            return 0;
        }
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
