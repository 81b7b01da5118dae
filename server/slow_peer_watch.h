#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace talvo::server {

// Drops connections that take too long to deliver a request. httplib's read
// timeout bounds each read, not the request: a peer that sends a byte a
// second keeps a request thread forever, and a few such peers hold them all.
//
// The watch looks at this process's connected sockets on the served port
// once a second (Linux: /proc/self/fd). A connection has `deadline` from its
// first sight, or from its latest answer, to deliver its next request whole
// (headers and body); the time a handler spends on a request does not count.
// Past that, the socket is shut down and httplib closes it. A connection
// whose whole request head waits unread is only waiting for a free thread
// and is spared (over TLS that cannot be seen, and waiting counts).
class SlowPeerWatch {
  public:
    using Clock = std::chrono::steady_clock;

    SlowPeerWatch(int port, std::chrono::milliseconds deadline);
    ~SlowPeerWatch();
    SlowPeerWatch(const SlowPeerWatch&) = delete;
    SlowPeerWatch& operator=(const SlowPeerWatch&) = delete;

    // From the request thread: a request from this peer was read whole and
    // is being handled (started), or was answered (!started).
    void request(const std::string& peerAddress, int peerPort, bool started);

    // Connections dropped so far.
    int64_t dropped() const { return m_dropped.load(); }

  private:
    struct Peer {
        int fd = -1;
        Clock::time_point since;  // first seen or last answered
        bool handling = false;
        bool seen = false;  // in the latest scan
    };

    void run();
    void scan(Clock::time_point now);

    int m_port;
    std::chrono::milliseconds m_deadline;
    std::mutex m_mutex;  // guards m_peers and m_stopping
    std::condition_variable m_wake;
    std::map<std::string, Peer> m_peers;  // by "address port"
    bool m_stopping = false;
    std::atomic<int64_t> m_dropped{0};
    std::thread m_thread;
};

}  // namespace talvo::server
