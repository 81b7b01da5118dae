#include "server/http_server.h"

#include <sys/socket.h>

#include <stdexcept>

namespace talvo::server {

namespace {

// The library listens with a backlog of 5 (fixed when it was compiled). A
// burst of devices connecting at once overflows that, the kernel answers
// with SYN cookies and some connections die unanswered; listening again on
// the bound socket widens the queue.
template <class Base>
class WideBacklog : public Base {
  public:
    using Base::Base;
    void widen() { ::listen(this->svr_sock_, SOMAXCONN); }
};

}  // namespace

HttpServer::HttpServer(ApiService& api, HttpOptions options, PoolGauges& gauges)
    : m_api(api), m_options(std::move(options)) {
    if (!m_options.tlsCert.empty() || !m_options.tlsKey.empty()) {
        if (m_options.tlsCert.empty() || m_options.tlsKey.empty()) {
            throw std::runtime_error("TLS needs both --tls-cert and --tls-key");
        }
        auto tls = std::make_unique<WideBacklog<httplib::SSLServer>>(m_options.tlsCert.c_str(),
                                                                     m_options.tlsKey.c_str());
        if (!tls->is_valid()) {
            throw std::runtime_error("cannot load the TLS certificate or key (" +
                                     m_options.tlsCert + ", " + m_options.tlsKey + ")");
        }
        m_widenBacklog = [server = tls.get()] { server->widen(); };
        m_server = std::move(tls);
        m_tls = true;
    } else {
        auto plain = std::make_unique<WideBacklog<httplib::Server>>();
        m_widenBacklog = [server = plain.get()] { server->widen(); };
        m_server = std::move(plain);
    }
    size_t threads = m_options.threads ? m_options.threads : 1;
    m_server->new_task_queue = [threads, &gauges] { return new TaskPool(threads, gauges); };
    // A slow or idle peer must not hold a request thread for long.
    m_server->set_keep_alive_timeout(m_options.keepAliveSeconds);
    m_server->set_read_timeout(10);
    m_server->set_write_timeout(10);
    api.install(*m_server);
    api.setRequestObserver([this](const httplib::Request& req, bool started) {
        if (m_watch) {
            m_watch->request(req.remote_addr, req.remote_port, started);
        }
    });
}

HttpServer::~HttpServer() {
    m_api.setRequestObserver({});
}

bool HttpServer::bind() {
    bool bound;
    if (m_options.port == 0) {
        m_port = m_server->bind_to_any_port(m_options.host);
        bound = m_port > 0;
    } else {
        m_port = m_options.port;
        bound = m_server->bind_to_port(m_options.host, m_options.port);
    }
    if (bound) {
        m_widenBacklog();
        if (m_options.requestDeadline.count() > 0) {
            m_watch = std::make_unique<SlowPeerWatch>(m_port, m_options.requestDeadline);
        }
    }
    return bound;
}

bool HttpServer::run() {
    return m_server->listen_after_bind();
}

void HttpServer::stop() {
    m_server->stop();
}

}  // namespace talvo::server
