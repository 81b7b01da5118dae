#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace talvo {

// What every online client asks for when it builds a request. Each function
// is called on the thread that calls the client (the owner thread), at the
// moment a request is built, so a change in the settings applies to the next
// request. An unset function reads as empty.
struct OnlineConfig {
    // The service base URL ("https://host[:port][/prefix]"); empty turns the
    // online features off: every call ends in its failed outcome at once,
    // without network traffic.
    std::function<std::string()> baseUrl;
    // The device identifier (hardware UUID, else the persisted fallback).
    std::function<std::string()> deviceId;
    // The sync access token; absent when the user has not signed in. Keep it
    // cheap (a cached value): sync asks for it on every exchange.
    std::function<std::optional<std::string>()> accessToken;

    std::string baseUrlNow() const { return baseUrl ? baseUrl() : std::string(); }
    std::string deviceIdNow() const { return deviceId ? deviceId() : std::string(); }
    std::optional<std::string> accessTokenNow() const {
        return accessToken ? accessToken() : std::nullopt;
    }
};

// base + path, where base is an http or https URL with a host and without
// query or fragment; a trailing "/" of base is dropped. Absent when base is
// empty or unusable (a clear "online features off" for the caller).
std::optional<std::string> endpointUrl(std::string_view base, std::string_view path);

// The same test on a URL alone, for settings forms and talvo-cli login.
bool isUsableBaseUrl(std::string_view base);

// Whether a sign-in token sent to `base` would cross a network in clear
// text: plain http:// to any host but this machine (localhost, 127.0.0.0/8,
// [::1]). Such an address is refused wherever a token could go to it.
bool carriesTokenInClear(std::string_view base);

}  // namespace talvo
