#pragma once

#include <QObject>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "app/shell/online_hooks.h"
#include "net/async/qt_executor.h"

namespace talvo {

struct SyncReport;

class AppSettings;
class LessonsService;
class OnlineServices;
class StudyDatabase;
class TokenStore;

// Connects the shell's online hooks to the real clients: requests run on
// background threads and their answers come back through the event loop of
// `context` (the main thread), where the stores live. Create it on the main
// thread before the controller and destroy it after; destroying it cancels
// requests under way and drops their answers.
class OnlineWiring {
  public:
    OnlineWiring(AppSettings& settings, QObject* context);
    ~OnlineWiring();
    OnlineWiring(const OnlineWiring&) = delete;
    OnlineWiring& operator=(const OnlineWiring&) = delete;

    // Hooks for the controller. `studyDatabase` is borrowed and must outlive
    // this object (null: no study side, a sync trigger sends nothing);
    // `finished` runs on the main thread after every exchange that ran.
    OnlineHooks hooks(StudyDatabase* studyDatabase,
                      std::function<void(const SyncReport&)> finished);
    // The lessons feed for the lessons window (answers on the main thread).
    LessonsService& lessons();

  private:
    std::optional<std::string> token();

    AppSettings& m_settings;
    QtExecutor m_owner;
    std::unique_ptr<TokenStore> m_tokens;
    // The keychain answers slowly (a D-Bus round trip, seconds when no
    // service runs), so a token once read is kept; saving refreshes it. A
    // read that found none (a keychain still locked at launch) is tried
    // again when a sync needs the token, at most once a minute.
    std::optional<std::string> m_token;
    std::optional<std::chrono::steady_clock::time_point> m_lastMiss;
    std::unique_ptr<OnlineServices> m_services;
};

}  // namespace talvo
