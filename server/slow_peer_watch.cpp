#include "server/slow_peer_watch.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace talvo::server {

namespace {

// The port of a socket address, or -1.
int portOf(const sockaddr_storage& a) {
    if (a.ss_family == AF_INET) {
        return ntohs(reinterpret_cast<const sockaddr_in&>(a).sin_port);
    }
    if (a.ss_family == AF_INET6) {
        return ntohs(reinterpret_cast<const sockaddr_in6&>(a).sin6_port);
    }
    return -1;
}

// "address port" as httplib names a request's peer (numeric host).
std::string keyOf(const std::string& address, int port) {
    return address + " " + std::to_string(port);
}

// The key of a connected socket on `port`, or empty for anything else (the
// listening socket, files, the database's connections).
std::string servedPeer(int fd, int port) {
    sockaddr_storage local{};
    socklen_t len = sizeof local;
    if (getsockname(fd, reinterpret_cast<sockaddr*>(&local), &len) != 0 || portOf(local) != port) {
        return {};
    }
    sockaddr_storage peer{};
    len = sizeof peer;
    if (getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &len) != 0) {
        return {};
    }
    char host[NI_MAXHOST];
    if (getnameinfo(reinterpret_cast<sockaddr*>(&peer), len, host, sizeof host, nullptr, 0,
                    NI_NUMERICHOST) != 0) {
        return {};
    }
    return keyOf(host, portOf(peer));
}

// Whether a whole request head lies unread on the socket: a connection
// that waits for a free thread, not a slow one. A request being read has
// had its head taken already, and a slow one never completes it.
bool requestWaiting(int fd) {
    char buf[16384];
    ssize_t n = ::recv(fd, buf, sizeof buf, MSG_PEEK | MSG_DONTWAIT);
    return n > 0 &&
           std::string_view(buf, static_cast<size_t>(n)).find("\r\n\r\n") != std::string_view::npos;
}

}  // namespace

SlowPeerWatch::SlowPeerWatch(int port, std::chrono::milliseconds deadline)
    : m_port(port), m_deadline(deadline), m_thread([this] { run(); }) {}

SlowPeerWatch::~SlowPeerWatch() {
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
    m_thread.join();
}

void SlowPeerWatch::request(const std::string& peerAddress, int peerPort, bool started) {
    std::lock_guard lock(m_mutex);
    Peer& p = m_peers[keyOf(peerAddress, peerPort)];
    p.handling = started;
    p.since = Clock::now();
}

void SlowPeerWatch::run() {
    std::unique_lock lock(m_mutex);
    while (!m_stopping) {
        auto period = std::min<std::chrono::milliseconds>(std::chrono::seconds(1), m_deadline / 4);
        m_wake.wait_for(lock, period);
        if (m_stopping) {
            break;
        }
        lock.unlock();
        scan(Clock::now());
        lock.lock();
    }
}

void SlowPeerWatch::scan(Clock::time_point now) {
    // Sockets first, without the lock: request threads only wait for the
    // bookkeeping below.
    std::map<std::string, int> live;
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", ec)) {
        const std::string name = entry.path().filename().string();
        char* end = nullptr;
        long fd = std::strtol(name.c_str(), &end, 10);
        if (*end != '\0') {
            continue;
        }
        if (std::string key = servedPeer(static_cast<int>(fd), m_port); !key.empty()) {
            live[key] = static_cast<int>(fd);
        }
    }
    std::lock_guard lock(m_mutex);
    for (auto& [key, peer] : m_peers) {
        peer.seen = false;
    }
    for (const auto& [key, fd] : live) {
        auto [it, added] = m_peers.try_emplace(key);
        Peer& p = it->second;
        if (added || p.fd != fd) {
            // A new connection, or an answered one whose first sight is now.
            p.since = added ? now : p.since;
            p.fd = fd;
        }
        p.seen = true;
        if (!p.handling && now - p.since > m_deadline && !requestWaiting(fd)) {
            // httplib's read on this socket returns at once; the thread
            // closes it and goes back to serving others.
            ::shutdown(fd, SHUT_RDWR);
            p.since = now;  // counted once, not at every scan
            ++m_dropped;
        }
    }
    // Closed connections go; one being handled stays until it is answered
    // (a request that arrived between the listing and the lock).
    std::erase_if(m_peers,
                  [](const auto& entry) { return !entry.second.seen && !entry.second.handling; });
}

}  // namespace talvo::server
