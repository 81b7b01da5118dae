#include "server/metrics.h"

#include <sstream>

namespace talvo::server {

Metrics::Metrics(std::vector<std::string> routes) : m_routes(std::move(routes)) {
    m_routes.push_back("other");
    m_latency.resize(m_routes.size());
}

void Metrics::observe(size_t route, int status, double seconds) {
    if (route >= m_routes.size()) {
        route = m_routes.size() - 1;
    }
    std::lock_guard lock(m_mutex);
    ++m_requests[{route, status}];
    Histogram& h = m_latency[route];
    for (size_t i = 0; i < kBuckets.size(); ++i) {
        if (seconds <= kBuckets[i]) {
            ++h.counts[i];
        }
    }
    ++h.total;
    h.sum += seconds;
}

void Metrics::add(const std::string& counter, int64_t n) {
    std::lock_guard lock(m_mutex);
    m_counters[counter] += n;
}

int64_t Metrics::requests(size_t route, int status) const {
    std::lock_guard lock(m_mutex);
    auto it = m_requests.find({route, status});
    return it == m_requests.end() ? 0 : it->second;
}

std::string Metrics::render(const std::vector<std::pair<std::string, double>>& gauges) const {
    std::ostringstream out;
    std::lock_guard lock(m_mutex);
    out << "# HELP talvo_http_requests_total Requests answered, by route and status.\n"
           "# TYPE talvo_http_requests_total counter\n";
    for (const auto& [key, n] : m_requests) {
        out << "talvo_http_requests_total{route=\"" << m_routes[key.first] << "\",status=\""
            << key.second << "\"} " << n << '\n';
    }
    out << "# HELP talvo_http_request_duration_seconds Time from routing to answer.\n"
           "# TYPE talvo_http_request_duration_seconds histogram\n";
    for (size_t r = 0; r < m_routes.size(); ++r) {
        const Histogram& h = m_latency[r];
        if (h.total == 0) {
            continue;
        }
        std::string label = "route=\"" + m_routes[r] + "\"";
        for (size_t i = 0; i < kBuckets.size(); ++i) {
            out << "talvo_http_request_duration_seconds_bucket{" << label << ",le=\"" << kBuckets[i]
                << "\"} " << h.counts[i] << '\n';
        }
        out << "talvo_http_request_duration_seconds_bucket{" << label << ",le=\"+Inf\"} " << h.total
            << '\n';
        out << "talvo_http_request_duration_seconds_sum{" << label << "} " << h.sum << '\n';
        out << "talvo_http_request_duration_seconds_count{" << label << "} " << h.total << '\n';
    }
    for (const auto& [name, n] : m_counters) {
        out << "# TYPE " << name << " counter\n" << name << ' ' << n << '\n';
    }
    for (const auto& [name, value] : gauges) {
        out << "# TYPE " << name << " gauge\n" << name << ' ' << value << '\n';
    }
    return out.str();
}

}  // namespace talvo::server
