#include "core/ui/status_menu.h"

#include "core/study/study_texts.h"

namespace talvo {

std::string lookupItemTitle(AppLanguage lang, const std::string& comboDisplay) {
    return std::string(msg::kLookUp.pick(lang)) + " (" + comboDisplay + ")";
}

std::vector<MenuRow> statusMenuRows(AppLanguage lang, const std::string& comboDisplay,
                                    const std::optional<StudySummary>& study) {
    auto row = [](std::string title, MenuAction action, char key = '\0') {
        return MenuRow{false, std::move(title), action, key};
    };
    const MenuRow separator{true, {}, MenuAction::None, '\0'};
    std::string studyTitle = study ? studyBadgeTitle(*study) : std::string(studytext::kStudyToday);
    return {
        row(lookupItemTitle(lang, comboDisplay), MenuAction::None),
        separator,
        row(studyTitle, MenuAction::OpenStudy),
        row("Hồ sơ học tập", MenuAction::OpenProfile),
        row("Lộ trình học", MenuAction::OpenLessons),
        separator,
        row(std::string(msg::kSettingsItem.pick(lang)), MenuAction::OpenSettings, ','),
        row(std::string(msg::kCheckForUpdates.pick(lang)), MenuAction::CheckForUpdates),
        row(std::string(msg::kAboutCredits.pick(lang)), MenuAction::ShowAbout),
        row(std::string(msg::kQuit.pick(lang)), MenuAction::Quit, 'q'),
    };
}

}  // namespace talvo
