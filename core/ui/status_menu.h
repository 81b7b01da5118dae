#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/l10n/localization.h"
#include "core/study/study_card.h"

namespace talvo {

enum class MenuAction {
    None,  // a label: the lookup row only shows the shortcut
    OpenStudy,
    OpenProfile,
    OpenLessons,
    OpenSettings,
    CheckForUpdates,
    ShowAbout,
    Quit,
};

struct MenuRow {
    bool separator = false;
    std::string title;
    MenuAction action = MenuAction::None;
    // The key that, with the platform's command modifier, triggers the row
    // ('\0': none).
    char shortcutKey = '\0';

    bool operator==(const MenuRow&) const = default;
};

// "Look up (⌥D)" in the interface language.
std::string lookupItemTitle(AppLanguage lang, const std::string& comboDisplay);

// The status menu top to bottom: lookup label, separator, the three study rows
// (Vietnamese in every language; the first counts today's cards when a study
// summary is given), separator, Settings, Check for Updates, About, Quit.
std::vector<MenuRow> statusMenuRows(AppLanguage lang, const std::string& comboDisplay,
                                    const std::optional<StudySummary>& study);

}  // namespace talvo
