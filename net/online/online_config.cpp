#include "net/online/online_config.h"

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
