#pragma once

#include <atomic>
#include <mutex>
#include <set>
#include <string>

#include "net/http/http_transport.h"

namespace talvo {

// HttpTransport over libcurl. Each request gets its own connection. The
// system's proxy settings apply as in any libcurl program (http_proxy,
// https_proxy, no_proxy); TLS uses the system's certificate store. Only http
// and https URLs are followed, and redirects are not.
class CurlTransport final : public HttpTransport {
  public:
    struct Options {
        // Hosts that bypass any proxy, in libcurl's NOPROXY form ("*" for
        // all); empty leaves the environment's no_proxy in charge.
        std::string noProxy;
    };

    CurlTransport();
    explicit CurlTransport(Options options);
    ~CurlTransport() override;
    CurlTransport(const CurlTransport&) = delete;
    CurlTransport& operator=(const CurlTransport&) = delete;

    HttpResult send(const HttpRequest& request) override;

    // Ends every exchange under way at once (each fails as cancelled) and
    // makes later ones fail without traffic. For program exit: a request in
    // flight must not hold the process. Thread-safe, idempotent.
    void shutdown();

  private:
    struct Transfer;
    HttpResult perform(const HttpRequest& request, Transfer& t);

    Options m_options;
    std::atomic<bool> m_shutdown{false};
    std::mutex m_mutex;        // guards m_active
    std::set<void*> m_active;  // the multi handles of exchanges under way
};

}  // namespace talvo
