#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "app/stroke/stroke_data.h"

namespace talvo::stroke {

// Where a character's stroke data comes from: the folder installed with the
// program (share/talvo/strokes/<char>.json), else the content host at
// <base>/npm/hanzi-writer-data@2.0/<url-encoded char>.json. Fetched answers
// are kept in a small per-process cache shared by every copy of the source,
// so looking the same rare character up twice costs one request. Main thread
// only; copies share the cache.
class StrokeSource {
  public:
    using FetchDone = std::function<void(std::optional<std::string> body)>;
    // GET of a URL; the body, or absent on any failure (a status other than
    // 200 included). The answer must arrive on the main thread.
    using Fetch = std::function<void(const std::string& url, FetchDone done)>;
    // Null: there is no stroke data for the character.
    using Done = std::function<void(std::shared_ptr<const StrokeData>)>;

    static constexpr size_t kCacheEntries = 64;
    static constexpr const char* kRemotePrefix = "/npm/hanzi-writer-data@2.0/";

    // `contentBase` is asked at each fetch so a settings change applies to the
    // next lookup; empty or unusable means no fetching. `fetch` may be empty.
    StrokeSource(std::string strokesDir, std::function<std::string()> contentBase, Fetch fetch);

    // Calls `done` exactly once: before returning when the data is in the
    // folder or the cache (or cannot exist), else when the fetch answers.
    // A damaged local file falls back to the content host.
    void load(const std::string& ch, Done done) const;

    // The installed data of `ch`, null when missing, unreadable or malformed.
    std::shared_ptr<const StrokeData> loadLocal(const std::string& ch) const;
    // The content host's URL for `ch`; absent without a usable base.
    std::optional<std::string> remoteUrl(const std::string& ch) const;

    const std::string& strokesDir() const { return m_dir; }

  private:
    struct Cache;

    std::string m_dir;
    std::function<std::string()> m_base;
    Fetch m_fetch;
    std::shared_ptr<Cache> m_cache;
};

// True for exactly one Hán character (one Unicode scalar, valid UTF-8): the
// only names the stroke data has, and safe as a file name.
bool isSingleHan(const std::string& ch);

// Every byte outside the unreserved set as %XX (upper-case hex).
std::string percentEncode(const std::string& s);

}  // namespace talvo::stroke
