#include "app/stroke/stroke_source.h"

#include <deque>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <system_error>

#include "core/text/unicode.h"
#include "net/online/online_config.h"

namespace talvo::stroke {

namespace fs = std::filesystem;

struct StrokeSource::Cache {
    std::map<std::string, std::shared_ptr<const StrokeData>> entries;
    std::deque<std::string> order;  // oldest first

    std::shared_ptr<const StrokeData> find(const std::string& ch) const {
        auto it = entries.find(ch);
        return it == entries.end() ? nullptr : it->second;
    }
    void put(const std::string& ch, std::shared_ptr<const StrokeData> data) {
        if (entries.emplace(ch, std::move(data)).second) {
            order.push_back(ch);
        }
        while (order.size() > kCacheEntries) {
            entries.erase(order.front());
            order.pop_front();
        }
    }
};

bool isSingleHan(const std::string& ch) {
    if (ch.empty() || ch.size() > 4 || !text::isValidUtf8(ch)) {
        return false;
    }
    std::u32string s = text::scalars(ch);
    return s.size() == 1 && text::isHanScalar(s[0]);
}

std::string percentEncode(const std::string& s) {
    static const char* hex = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : s) {
        bool unreserved = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                          (c >= '0' && c <= '9') || c == '-' || c == '.' || c == '_' || c == '~';
        if (unreserved) {
            out += static_cast<char>(c);
        } else {
            out += '%';
            out += hex[c >> 4];
            out += hex[c & 15];
        }
    }
    return out;
}

StrokeSource::StrokeSource(std::string strokesDir, std::function<std::string()> contentBase,
                           Fetch fetch)
    : m_dir(std::move(strokesDir)),
      m_base(std::move(contentBase)),
      m_fetch(std::move(fetch)),
      m_cache(std::make_shared<Cache>()) {}

std::shared_ptr<const StrokeData> StrokeSource::loadLocal(const std::string& ch) const {
    // The character becomes a file name: anything but one Hán character could
    // name a path outside the folder.
    if (m_dir.empty() || !isSingleHan(ch)) {
        return nullptr;
    }
    std::u8string name(ch.begin(), ch.end());
    fs::path file = fs::path(m_dir) / fs::path(name + u8".json");
    std::error_code ec;
    auto size = fs::file_size(file, ec);
    if (ec || size > kMaxJsonBytes) {
        return nullptr;
    }
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        return nullptr;
    }
    std::ostringstream body;
    body << in.rdbuf();
    auto data = parseStrokeData(body.str());
    return data ? std::make_shared<const StrokeData>(std::move(*data)) : nullptr;
}

std::optional<std::string> StrokeSource::remoteUrl(const std::string& ch) const {
    if (!isSingleHan(ch) || !m_base) {
        return std::nullopt;
    }
    return endpointUrl(m_base(), std::string(kRemotePrefix) + percentEncode(ch) + ".json");
}

void StrokeSource::load(const std::string& ch, Done done) const {
    if (!done) {
        return;
    }
    if (auto local = loadLocal(ch)) {
        done(std::move(local));
        return;
    }
    if (auto cached = m_cache->find(ch)) {
        done(std::move(cached));
        return;
    }
    auto url = remoteUrl(ch);
    if (!url || !m_fetch) {
        done(nullptr);
        return;
    }
    // The cache is shared, not the source: the answer may come after the
    // source that asked is gone.
    m_fetch(*url, [cache = m_cache, ch, done = std::move(done)](std::optional<std::string> body) {
        std::shared_ptr<const StrokeData> data;
        if (body) {
            if (auto parsed = parseStrokeData(*body)) {
                data = std::make_shared<const StrokeData>(std::move(*parsed));
                cache->put(ch, data);
            }
        }
        done(std::move(data));
    });
}

}  // namespace talvo::stroke
