#pragma once

#include <httplib.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "server/api_service.h"
#include "server/slow_peer_watch.h"
#include "server/task_pool.h"

namespace talvo::server {

struct HttpOptions {
    std::string host = "127.0.0.1";
    int port = 8787;  // 0 picks a free port (tests)
    // httplib serves a connection on one thread from its first request to
    // its close, idle keep-alive time included: threads bound the number of
    // connections served at once, and a short keep-alive frees them sooner.
    size_t threads = 32;
    int keepAliveSeconds = 2;
    // Both set: serve HTTPS with this certificate chain and private key (PEM).
    std::string tlsCert;
    std::string tlsKey;
    // A connection must deliver each request whole (headers and body) within
    // this long of connecting or of its previous answer; 0: no limit.
    std::chrono::milliseconds requestDeadline{30'000};
};

// The listening side: one httplib server (plain or TLS) on the service's
// routes, with the counted thread pool. stop() may be called from any
// thread (the signal watcher); run() then stops accepting, finishes every
// request already accepted and returns.
class HttpServer {
  public:
    // Throws std::runtime_error when the TLS files cannot be loaded.
    HttpServer(ApiService& api, HttpOptions options, PoolGauges& gauges);
    ~HttpServer();

    // Binds the address; false when it is taken or invalid.
    bool bind();
    int port() const { return m_port; }
    // Serves until stop(); returns false when the listening socket failed.
    bool run();
    void stop();
    bool running() const { return m_server->is_running(); }
    bool tls() const { return m_tls; }
    // Connections dropped for delivering a request too slowly.
    int64_t slowPeersDropped() const { return m_watch ? m_watch->dropped() : 0; }

  private:
    ApiService& m_api;
    HttpOptions m_options;
    std::unique_ptr<SlowPeerWatch> m_watch;
    std::unique_ptr<httplib::Server> m_server;
    std::function<void()> m_widenBacklog;
    bool m_tls = false;
    int m_port = 0;
};

}  // namespace talvo::server
