#include "net/tests/scripted_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

namespace talvo::testing {

ScriptedServer::ScriptedServer() {
    auto route = [this](const httplib::Request& req, httplib::Response& res) {
        dispatch(req, res);
    };
    m_server.Get(".*", route);
    m_server.Post(".*", route);
    m_server.Put(".*", route);
    m_port = m_server.bind_to_any_port("127.0.0.1");
    if (m_port <= 0) {
        throw std::runtime_error("cannot bind a loopback port");
    }
    m_thread = std::thread([this] { m_server.listen_after_bind(); });
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!m_server.is_running() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

ScriptedServer::~ScriptedServer() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_releasing = true;
    }
    m_changed.notify_all();
    m_server.stop();
    m_thread.join();
}

void ScriptedServer::on(const std::string& method, const std::string& path, Handler handler) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_handlers[method + " " + path] = std::move(handler);
}

void ScriptedServer::answer(const std::string& method, const std::string& path, int status,
                            std::string body) {
    on(method, path, [status, body](const httplib::Request&, httplib::Response& res) {
        res.status = status;
        res.set_content(body, "application/json");
    });
}

ScriptedServer::Handler ScriptedServer::hang() {
    return [this](const httplib::Request&, httplib::Response& res) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [this] { return m_releasing; });
        res.status = 503;
    };
}

ScriptedServer::Handler ScriptedServer::slow(std::chrono::milliseconds delay, int status,
                                             std::string body) {
    return [delay, status, body](const httplib::Request&, httplib::Response& res) {
        std::this_thread::sleep_for(delay);
        res.status = status;
        res.set_content(body, "application/json");
    };
}

ScriptedServer::Handler ScriptedServer::resetMidBody(size_t announced, size_t sent) {
    return [announced, sent](const httplib::Request&, httplib::Response& res) {
        res.status = 200;
        res.set_content_provider(announced, "application/json",
                                 [sent](size_t offset, size_t, httplib::DataSink& sink) {
                                     if (offset == 0) {
                                         std::string part(sent, ' ');
                                         part[0] = '{';
                                         sink.write(part.data(), part.size());
                                     }
                                     return false;  // drops the connection
                                 });
    };
}

ScriptedServer::Handler ScriptedServer::huge(size_t total) {
    return [total](const httplib::Request&, httplib::Response& res) {
        res.status = 200;
        res.set_chunked_content_provider(
            "application/json", [total](size_t offset, httplib::DataSink& sink) {
                static const std::string chunk = [] {
                    std::string c = "{\"now\": 1, \"cards\": [], \"logs\": [], \"pad\": \"";
                    c.resize(64 * 1024, 'x');
                    return c;
                }();
                if (offset >= total) {
                    sink.done();
                    return true;
                }
                return sink.write(chunk.data(), chunk.size());
            });
    };
}

void ScriptedServer::dispatch(const httplib::Request& req, httplib::Response& res) {
    Handler handler;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_seen.push_back(SeenRequest{req.method, req.path, req.headers, req.body});
        auto it = m_handlers.find(req.method + " " + req.path);
        if (it != m_handlers.end()) {
            handler = it->second;
        }
    }
    m_changed.notify_all();
    if (handler) {
        handler(req, res);
    } else {
        res.status = 404;
    }
}

std::vector<SeenRequest> ScriptedServer::requests() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_seen;
}

size_t ScriptedServer::requestCount() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_seen.size();
}

bool ScriptedServer::waitForRequests(size_t n, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, timeout, [&] { return m_seen.size() >= n; });
}

RawServer::RawServer(std::string reply) : m_reply(std::move(reply)) {
    m_listen = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof addr;
    if (m_listen < 0 || ::bind(m_listen, reinterpret_cast<sockaddr*>(&addr), len) != 0 ||
        ::listen(m_listen, 8) != 0 ||
        ::getsockname(m_listen, reinterpret_cast<sockaddr*>(&addr), &len) != 0) {
        throw std::runtime_error("cannot listen on loopback");
    }
    m_port = ntohs(addr.sin_port);
    m_thread = std::thread([this] {
        while (!m_stop) {
            pollfd p{m_listen, POLLIN, 0};
            if (::poll(&p, 1, 50) <= 0 || !(p.revents & POLLIN)) {
                continue;
            }
            int fd = ::accept(m_listen, nullptr, nullptr);
            if (fd < 0) {
                continue;
            }
            char buf[4096];
            pollfd c{fd, POLLIN, 0};
            if (::poll(&c, 1, 1000) > 0) {
                [[maybe_unused]] ssize_t n = ::read(fd, buf, sizeof buf);
            }
            if (!m_reply.empty()) {
                [[maybe_unused]] ssize_t n = ::write(fd, m_reply.data(), m_reply.size());
            }
            ::close(fd);
        }
    });
}

RawServer::~RawServer() {
    m_stop = true;
    m_thread.join();
    ::close(m_listen);
}

}  // namespace talvo::testing
