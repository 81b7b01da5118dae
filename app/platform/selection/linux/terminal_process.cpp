#include "app/platform/selection/linux/terminal_process.h"

#include <filesystem>
#include <system_error>

#include "core/ui/terminal_windows.h"

namespace talvo::linuxproc {

namespace {

namespace fs = std::filesystem;

// How many descriptors are looked at: a terminal opens its pty masters
// early, and a program with thousands of files open is not worth the wait.
constexpr int kMaxDescriptors = 4096;

bool holdsPtyMaster(const fs::path& fdDir) {
    std::error_code ec;
    fs::directory_iterator it(fdDir, ec);
    int seen = 0;
    for (; !ec && it != fs::directory_iterator() && seen < kMaxDescriptors; it.increment(ec)) {
        ++seen;
        std::error_code linkError;
        const fs::path target = fs::read_symlink(it->path(), linkError);
        if (linkError) {
            continue;
        }
        // posix_openpt opens /dev/ptmx; inside a devpts mount it is /dev/pts/ptmx.
        if (target == "/dev/ptmx" || target == "/dev/pts/ptmx") {
            return true;
        }
    }
    return false;
}

}  // namespace

bool isTerminalProcess(int pid, const std::string& procRoot) {
    if (pid <= 0) {
        return false;
    }
    const fs::path dir = fs::path(procRoot) / std::to_string(pid);
    std::error_code ec;
    const fs::path exe = fs::read_symlink(dir / "exe", ec);
    if (!ec && isTerminalWindowClass(exe.filename().string())) {
        return true;
    }
    return holdsPtyMaster(dir / "fd");
}

}  // namespace talvo::linuxproc
