#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/wire/lessons_feed.h"
#include "net/online/online_config.h"

namespace talvo {

class Executor;
class HttpTransport;
class StudyStore;

// Fetches the lessons feed: a plain GET of base + /api/study/lessons with a
// 12-second limit and no headers of our own. Status 200 with a body that
// decodes as the feed is the only success.
//
// Threads: fetch() may be called from the owner thread; the request runs on
// `background` and the completion is called through `owner`. The transport
// and executors must outlive every fetch. Completions of fetches still under
// way when the service is destroyed (on the owner thread) are dropped.
class LessonsService {
  public:
    static constexpr const char* kPath = "/api/study/lessons";
    static constexpr std::chrono::milliseconds kDefaultTimeout{12'000};

    struct Outcome {
        std::optional<std::vector<wire::Lesson>> lessons;  // absent: the fetch failed
        std::string error;                                 // why, when it failed
    };
    using Completion = std::function<void(Outcome)>;

    LessonsService(HttpTransport& transport, Executor& background, Executor& owner,
                   OnlineConfig config, std::chrono::milliseconds timeout = kDefaultTimeout);
    ~LessonsService();
    LessonsService(const LessonsService&) = delete;
    LessonsService& operator=(const LessonsService&) = delete;

    // Calls `done` exactly once (unless the service goes away first).
    void fetch(Completion done);

  private:
    HttpTransport& m_transport;
    Executor& m_background;
    Executor& m_owner;
    OnlineConfig m_config;
    std::chrono::milliseconds m_timeout;
    std::shared_ptr<char> m_alive = std::make_shared<char>();
};

// The lessons window's model, without the window: the sorted lessons, the
// loading and failed flags, and how many items of each lesson are already in
// the deck. Lives on the owner thread with the store; `changed` is called
// there after every change of the published fields.
class LessonsViewModel {
  public:
    // What the lesson row offers.
    enum class Action {
        add,         // nothing of it in the deck yet
        addMissing,  // some of it in the deck
        complete,    // all of it in the deck: no add button
    };

    LessonsViewModel(StudyStore& store, LessonsService& service);
    ~LessonsViewModel();
    LessonsViewModel(const LessonsViewModel&) = delete;
    LessonsViewModel& operator=(const LessonsViewModel&) = delete;

    const std::vector<wire::Lesson>& lessons() const { return m_lessons; }
    bool loading() const { return m_loading; }
    bool failed() const { return m_failed; }
    const std::map<int64_t, int64_t>& inDeck() const { return m_inDeck; }
    // inDeck for one lesson, 0 when unknown.
    int64_t have(const wire::Lesson& lesson) const;
    Action actionFor(const wire::Lesson& lesson) const;
    // Why the last fetch failed (empty after a success).
    const std::string& lastError() const { return m_lastError; }

    // Fetches, sorts and counts. A failure sets failed and keeps the lessons
    // it had. While a load is under way another call does nothing.
    void load();
    // Recounts inDeck from the database (then calls `changed`).
    void recompute();
    // The row's add action: adds the lesson's missing items to the deck,
    // recounts, then calls `added` (the application refreshes its menu badge
    // and the study session there). Returns how many cards were added.
    int64_t add(const wire::Lesson& lesson);

    std::function<void()> changed;
    std::function<void(int64_t addedCards)> added;

  private:
    void recount();
    void notify();

    StudyStore& m_store;
    LessonsService& m_service;
    std::vector<wire::Lesson> m_lessons;
    bool m_loading = false;
    bool m_failed = false;
    std::map<int64_t, int64_t> m_inDeck;
    std::string m_lastError;
    std::shared_ptr<char> m_alive = std::make_shared<char>();
};

}  // namespace talvo
