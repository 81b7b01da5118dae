#include "net/online/online_config.h"

#include <algorithm>
#include <cctype>

namespace talvo {

namespace {

std::string_view withoutTrailingSlashes(std::string_view s) {
    while (!s.empty() && s.back() == '/') {
        s.remove_suffix(1);
    }
    return s;
}

}  // namespace

bool isUsableBaseUrl(std::string_view base) {
    std::string_view rest;
    if (base.substr(0, 7) == "http://") {
        rest = base.substr(7);
    } else if (base.substr(0, 8) == "https://") {
        rest = base.substr(8);
    } else {
        return false;
    }
    std::string_view host = rest.substr(0, rest.find('/'));
    if (host.empty() || host.find('@') != std::string_view::npos) {
        return false;  // no host, or credentials in the URL
    }
    for (char c : base) {
        // Controls and blanks would break the request line; query and
        // fragment would swallow the path appended after them.
        if (static_cast<unsigned char>(c) <= 0x20 || c == 0x7f || c == '?' || c == '#') {
            return false;
        }
    }
    return true;
}

bool carriesTokenInClear(std::string_view base) {
    if (base.substr(0, 7) != "http://") {
        return false;
    }
    std::string_view rest = base.substr(7);
    std::string_view authority = rest.substr(0, rest.find('/'));
    std::string_view host;
    if (!authority.empty() && authority.front() == '[') {
        host = authority.substr(0, authority.find(']') + 1);  // [::1]:8080
    } else {
        host = authority.substr(0, authority.find(':'));
    }
    std::string lower;
    for (char c : host) {
        lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    if (lower == "localhost" || lower == "[::1]") {
        return false;
    }
    // 127.0.0.0/8, written as four decimal numbers.
    if (lower.rfind("127.", 0) == 0 && std::count(lower.begin(), lower.end(), '.') == 3 &&
        lower.find_first_not_of("0123456789.") == std::string::npos) {
        return false;
    }
    return true;
}

std::optional<std::string> endpointUrl(std::string_view base, std::string_view path) {
    base = withoutTrailingSlashes(base);
    if (!isUsableBaseUrl(base)) {
        return std::nullopt;
    }
    std::string url(base);
    url += path;
    return url;
}

}  // namespace talvo
