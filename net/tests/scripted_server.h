#pragma once

#include <httplib.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace talvo::testing {

// One request as the server saw it.
struct SeenRequest {
    std::string method;
    std::string path;
    httplib::Headers headers;  // names compared without regard to case
    std::string body;

    std::string header(const std::string& name) const {
        auto it = headers.find(name);
        return it == headers.end() ? std::string() : it->second;
    }
};

// A real HTTP server on 127.0.0.1 (a free port) whose answers a test scripts
// per method and path. Unscripted requests get 404. Every request is recorded.
class ScriptedServer {
  public:
    using Handler = std::function<void(const httplib::Request&, httplib::Response&)>;

    ScriptedServer();
    // Releases hanging handlers, then stops and joins the server.
    ~ScriptedServer();

    void on(const std::string& method, const std::string& path, Handler handler);
    // Answers with this status and body (application/json).
    void answer(const std::string& method, const std::string& path, int status, std::string body);

    // A handler that accepts the request and never answers while the server lives.
    Handler hang();
    // A handler that waits `delay`, then answers.
    static Handler slow(std::chrono::milliseconds delay, int status, std::string body);
    // Announces `announced` bytes, sends `sent` of them and drops the connection.
    static Handler resetMidBody(size_t announced, size_t sent);
    // Streams `total` bytes of a JSON-looking body without announcing a length.
    static Handler huge(size_t total);

    std::string url() const { return "http://127.0.0.1:" + std::to_string(m_port); }
    int port() const { return m_port; }
    std::vector<SeenRequest> requests() const;
    size_t requestCount() const;
    // True once `n` requests have arrived, false after `timeout`.
    bool waitForRequests(size_t n, std::chrono::milliseconds timeout) const;

  private:
    void dispatch(const httplib::Request& req, httplib::Response& res);

    httplib::Server m_server;
    int m_port = 0;
    std::thread m_thread;
    mutable std::mutex m_mutex;  // guards everything below
    mutable std::condition_variable m_changed;
    std::map<std::string, Handler> m_handlers;  // "METHOD path"
    std::vector<SeenRequest> m_seen;
    bool m_releasing = false;
};

// A TCP server on 127.0.0.1 that reads what arrives, writes fixed bytes
// (maybe none) and closes: for answers that are not HTTP and dropped
// connections.
class RawServer {
  public:
    explicit RawServer(std::string reply);
    ~RawServer();
    std::string url() const { return "http://127.0.0.1:" + std::to_string(m_port); }

  private:
    int m_listen = -1;
    int m_port = 0;
    std::string m_reply;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

}  // namespace talvo::testing
