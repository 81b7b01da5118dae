#pragma once

#include <QByteArray>
#include <functional>
#include <string>
#include <vector>

#include "app/shell/online_hooks.h"
#include "core/ui/shell_texts.h"

namespace talvo {

class AppSettings;

// "Check for Updates…": reads the release feed (an RSS appcast in Sparkle's
// format) at <service URL>/appcast.xml and compares its newest version with
// the running one. Main thread only; borrows the settings and services.
class UpdateChecker {
  public:
    static constexpr const char* kFeedPath = "/appcast.xml";

    UpdateChecker(const AppSettings& settings, const OnlineHooks& online, std::string version);

    // `done` gets the verdict on the main thread; NotConfigured at once when
    // no service URL is set.
    void check(std::function<void(const UpdateVerdict&)> done) const;

    // The versions a feed offers: each item's sparkle:shortVersionString,
    // else its sparkle:version (as an element or on the enclosure). Empty for
    // anything that is not such a feed.
    static std::vector<std::string> appcastVersions(const QByteArray& xml);

  private:
    const AppSettings& m_settings;
    const OnlineHooks& m_online;
    std::string m_version;
};

}  // namespace talvo
