#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/l10n/localization.h"

namespace talvo {

struct NoticeText {
    std::string title;
    std::string body;
};

// The notice shown once the program is ready, naming the shortcut.
NoticeText launchNotice(AppLanguage lang, const std::string& comboDisplay);

// The daily study reminder (Vietnamese in every language). `due` is due
// reviews plus new cards left at the time it is scheduled.
NoticeText studyReminder(int64_t due);
inline constexpr int kStudyReminderHour = 20;

// One source of the dictionary as its build recorded it.
struct SourceCredit {
    std::string title;
    std::string license;
    std::string credit;
};

// The About panel's informative text: what the program is, a blank line, one
// line per dictionary source and the program's own medical edits, a blank
// line, and the running version.
std::string aboutText(AppLanguage lang, const std::vector<SourceCredit>& sources,
                      const std::string& version);
inline constexpr const char* kAboutHeading = "Talvo (墨典)";

// Orders version strings the way release feeds number them: runs of digits
// compare as numbers, other runs as text, and a trailing text run marks a
// pre-release ("1.0b1" < "1.0" < "1.0.1"). Returns <0, 0 or >0.
int compareVersions(std::string_view a, std::string_view b);

struct UpdateVerdict {
    enum class Kind { UpToDate, NewerAvailable, Failed, NotConfigured };
    Kind kind = Kind::Failed;
    std::string version;  // the newest offered version for NewerAvailable
};

// Compares what a feed offers with the running version; an empty offer is a
// failed check (a feed without versions says nothing).
UpdateVerdict updateVerdict(const std::string& current, const std::vector<std::string>& offered);
std::string updateMessage(AppLanguage lang, const UpdateVerdict& verdict,
                          const std::string& current);

}  // namespace talvo
