#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace talvo {

// One HTTP exchange as the online clients describe it.
struct HttpRequest {
    // Larger answers than this are a transport failure; no answer the
    // service legitimately sends comes near it.
    static constexpr size_t kDefaultMaxResponseBytes = 16 * 1024 * 1024;

    std::string method = "GET";
    std::string url;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;  // sent as is when non-empty (or when the method is POST)
    std::chrono::milliseconds timeout{60'000};  // for the whole exchange
    size_t maxResponseBytes = kDefaultMaxResponseBytes;
};

struct HttpResponse {
    int status = 0;
    std::string body;
};

// Either an HTTP response, whatever its status, or a transport failure (no
// connection, timeout, reset, an answer that is not HTTP, an oversized body,
// cancellation) with a one-line reason. The reason never holds header values,
// so it is safe to show and log.
struct HttpResult {
    std::optional<HttpResponse> response;
    std::string error;

    bool ok() const { return response.has_value(); }
    static HttpResult failure(std::string why) { return {std::nullopt, std::move(why)}; }
};

// Sends HTTP requests. send() blocks until the exchange ends; it may be called
// from any thread, several at once, and never throws.
class HttpTransport {
  public:
    virtual ~HttpTransport() = default;
    virtual HttpResult send(const HttpRequest& request) = 0;
};

}  // namespace talvo
