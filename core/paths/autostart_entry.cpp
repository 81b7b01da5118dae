#include "core/paths/autostart_entry.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

#include "core/text/unicode.h"

namespace talvo {

namespace fs = std::filesystem;

namespace autostart {

std::string folder(const paths::EnvLookup& env) {
    if (auto xdg = env("XDG_CONFIG_HOME")) {
        return (fs::path(*xdg) / "autostart").string();
    }
    if (auto home = env("HOME")) {
        return (fs::path(*home) / ".config" / "autostart").string();
    }
    return {};
}

std::string execValue(std::string_view program) {
    if (program.empty() || program.front() != '/' || !text::isValidUtf8(program)) {
        return {};
    }
    // Characters that make the desktop's launcher split or interpret an
    // argument unless it is quoted.
    constexpr std::string_view kReserved = " \t\"'\\><~|&;$*?#()`";
    bool quote = false;
    for (char c : program) {
        auto u = static_cast<unsigned char>(c);
        if (u < 0x20 || u == 0x7f) {
            return {};
        }
        if (kReserved.find(c) != std::string_view::npos) {
            quote = true;
        }
    }
    std::string out;
    if (quote) {
        out += '"';
    }
    for (char c : program) {
        if (c == '%') {
            out += "%%";  // field codes start with %
        } else if (quote && (c == '"' || c == '`' || c == '$')) {
            // Escaped for the quoting rule (\x), whose backslash is then
            // escaped again for the string rule that is applied first.
            out += "\\\\";
            out += c;
        } else if (quote && c == '\\') {
            out += "\\\\\\\\";
        } else {
            out += c;
        }
    }
    if (quote) {
        out += '"';
    }
    return out;
}

std::string entryText(std::string_view program, std::string_view appId) {
    std::string exec = execValue(program);
    if (exec.empty()) {
        return {};
    }
    std::string out;
    out += "[Desktop Entry]\n";
    out += "Type=Application\n";
    out += "Name=Talvo\n";
    out += "Comment=Hán-Việt readings of the selected Hán text\n";
    out += "Comment[vi]=Âm Hán-Việt của chữ Hán đang chọn\n";
    out += "Comment[zh_TW]=選取漢字的漢越音\n";
    out += "Exec=" + exec + "\n";
    // TryExec takes a plain string, not the quoted command line; a program
    // that has since been removed then makes the desktop skip the entry.
    std::string tryExec;
    for (char c : program) {
        tryExec += c == '\\' ? std::string("\\\\") : std::string(1, c);
    }
    out += "TryExec=" + tryExec + "\n";
    out += "Icon=" + std::string(appId) + "\n";
    out += "Terminal=false\n";
    out += "StartupNotify=false\n";
    out += "X-GNOME-Autostart-enabled=true\n";
    return out;
}

bool textEnabled(std::string_view text) {
    bool inMain = false;
    bool sawMain = false;
    for (std::string_view line : text::split(text, '\n')) {
        line = text::trimWhitespace(line);
        if (line.empty() || line.front() == '#') {
            continue;
        }
        if (line.front() == '[') {
            inMain = line == "[Desktop Entry]";
            sawMain = sawMain || inMain;
            continue;
        }
        if (!inMain) {
            continue;
        }
        size_t eq = line.find('=');
        if (eq == std::string_view::npos) {
            continue;
        }
        std::string_view key = text::trimWhitespace(line.substr(0, eq));
        std::string_view value = text::trimWhitespace(line.substr(eq + 1));
        if (key == "Hidden" && value == "true") {
            return false;
        }
        if (key == "X-GNOME-Autostart-enabled" && value == "false") {
            return false;
        }
    }
    return sawMain;
}

bool isBuildTree(const std::string& executableDir) {
    fs::path bin = fs::path(executableDir).lexically_normal();
    if (bin.filename().empty()) {
        bin = bin.parent_path();
    }
    std::error_code ec;
    return fs::is_regular_file(bin.parent_path() / "CMakeCache.txt", ec);
}

}  // namespace autostart

namespace {

void setError(std::string* error, std::string text) {
    if (error) {
        *error = std::move(text);
    }
}

}  // namespace

AutostartEntry::AutostartEntry(std::string path, std::string program, std::string appId)
    : m_path(std::move(path)), m_program(std::move(program)), m_appId(std::move(appId)) {}

bool AutostartEntry::enabled() const {
    std::ifstream in(m_path, std::ios::binary);
    if (!in) {
        return false;
    }
    std::ostringstream text;
    text << in.rdbuf();
    return autostart::textEnabled(text.str());
}

bool AutostartEntry::enable(std::string* error) const {
    std::string text = autostart::entryText(m_program, m_appId);
    if (text.empty()) {
        setError(error, "the program's path cannot be written in a desktop entry: " +
                            text::sanitizeUtf8(m_program));
        return false;
    }
    fs::path target(m_path);
    std::error_code ec;
    fs::create_directories(target.parent_path(), ec);
    if (ec) {
        setError(error, "cannot create " + target.parent_path().string() + ": " + ec.message());
        return false;
    }
    // Written beside and renamed over, so a full disk never leaves half an entry.
    fs::path temp = target;
    temp += ".new";
    {
        std::ofstream out(temp, std::ios::binary | std::ios::trunc);
        out << text;
        out.close();
        if (!out) {
            fs::remove(temp, ec);
            setError(error, "cannot write " + temp.string());
            return false;
        }
    }
    fs::rename(temp, target, ec);
    if (ec) {
        std::error_code ignored;
        fs::remove(temp, ignored);
        setError(error, "cannot write " + target.string() + ": " + ec.message());
        return false;
    }
    return true;
}

bool AutostartEntry::disable(std::string* error) const {
    std::error_code ec;
    fs::remove(m_path, ec);
    if (ec) {
        setError(error, "cannot remove " + m_path + ": " + ec.message());
        return false;
    }
    return true;
}

}  // namespace talvo
