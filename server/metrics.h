#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace talvo::server {

// Request counters and latency histograms by route, plus named counters,
// rendered in Prometheus' text format. Thread-safe (one mutex; a request
// holds it for a few additions).
class Metrics {
  public:
    // Upper bounds of the latency buckets, in seconds.
    static constexpr std::array<double, 13> kBuckets = {
        0.0005, 0.001, 0.0025, 0.005, 0.01, 0.025, 0.05, 0.1, 0.25, 0.5, 1, 2.5, 5};

    // routes: the label of each route; index routes.size() is "other".
    explicit Metrics(std::vector<std::string> routes);

    void observe(size_t route, int status, double seconds);
    void add(const std::string& counter, int64_t n);

    // gauges: name and value pairs, rendered as they are given.
    std::string render(const std::vector<std::pair<std::string, double>>& gauges) const;

    int64_t requests(size_t route, int status) const;

  private:
    struct Histogram {
        std::array<uint64_t, kBuckets.size()> counts{};
        uint64_t total = 0;
        double sum = 0;
    };

    std::vector<std::string> m_routes;
    mutable std::mutex m_mutex;  // guards everything below
    std::map<std::pair<size_t, int>, int64_t> m_requests;
    std::vector<Histogram> m_latency;
    std::map<std::string, int64_t> m_counters;
};

}  // namespace talvo::server
