#include "app/controller/app_controller.h"

#include <QAction>
#include <QApplication>
#include <QCursor>
#include <QFileInfo>
#include <QMenu>
#include <QPointer>
#include <QScopeGuard>
#include <QSystemTrayIcon>
#include <QThread>
#include <filesystem>

#include "app/hotkey/hotkey_manager.h"
#include "app/popup/popup_controller.h"
#include "app/progress/profile_window_controller.h"
#include "app/progress/quiz_window_controller.h"
#include "app/selection/event_pump.h"
#include "app/selection/selection_reader.h"
#include "app/settings/settings_window.h"
#include "app/shell/alerts.h"
#include "app/shell/dictionary_credits.h"
#include "app/shell/localization.h"
#include "app/shell/update_checker.h"
#include "app/stroke/stroke_order_factory.h"
#include "app/study/lessons_window_controller.h"
#include "app/study/study_window_controller.h"
#include "app/tray/tray_glyph.h"
#include "core/l10n/localization.h"
#include "core/lookup/dictionary_error.h"
#include "core/lookup/dictionary_store.h"
#include "core/lookup/lookup_decision.h"
#include "core/lookup/lookup_service.h"
#include "core/lookup/override_store.h"
#include "core/progress/progress_store.h"
#include "core/study/study_database.h"
#include "core/study/study_store.h"
#include "core/study/study_texts.h"
#include "core/ui/shell_texts.h"
#include "core/ui/status_menu.h"
#include "net/lessons/lessons_service.h"
#include "net/settings/app_settings.h"

namespace talvo {

namespace {

constexpr double kSelectionTimeout = 0.6;
constexpr const char* kLaunchNoticeId = "talvo.launch";
constexpr const char* kStudyReminderId = "talvo.study.daily";

QString q(const std::string& s) {
    return QString::fromStdString(s);
}

std::string studyCardUid(const PhraseLookup& result) {
    return result.chars.size() == 1 ? "char:" + result.chars.front().ch : "phrase:" + result.phrase;
}

}  // namespace

AppController::AppController(AppEnvironment env, QObject* parent)
    : QObject(parent), m_env(std::move(env)) {
    m_l10n = std::make_unique<Localization>(*m_env.settings);
    m_hotkey = std::make_unique<HotkeyManager>(*m_env.platform.hotkey);
    m_pump = m_env.pump ? std::move(m_env.pump) : std::make_unique<QtEventPump>();
    m_reader = std::make_unique<SelectionReader>(*m_env.platform.selection,
                                                 *m_env.platform.clipboard, *m_pump);
    m_popup = std::make_unique<PopupController>(*m_l10n, *m_env.platform.clipboard,
                                                m_env.platform.selection.get());
    m_strokes = std::make_unique<StrokeOrderFactory>(m_env.strokesDir, m_env.contentBase,
                                                     m_env.online.fetch);
    m_popup->strokeOrderView = m_strokes->hook();
    SettingsWindow::Services services;
    services.displayForm = [this](const HotkeyCombo& c) { return displayForm(c); };
    services.saveToken = [this](const std::string& token) {
        return m_env.online.saveToken && m_env.online.saveToken(token);
    };
    m_settingsWindow = std::make_unique<SettingsWindow>(*m_env.platform.hotkey, *m_l10n,
                                                        *m_env.settings, std::move(services));
    m_updater = std::make_unique<UpdateChecker>(*m_env.settings, m_env.online, m_env.version);
    m_currentCombo = loadCombo(*m_env.settings);
}

AppController::~AppController() {
    // The popup and the windows go before the stores they call into.
    m_popup.reset();
    m_settingsWindow.reset();
    if (m_statusItem) {
        m_statusItem->hide();
    }
}

// ---- launch ---------------------------------------------------------------

void AppController::launch() {
    setupStatusItem();
    loadDictionary();
    ensureAccessibility();
    m_hotkey->onTrigger = [this] { handleHotkey(); };
    m_hotkey->registerCombo(m_currentCombo);
    m_settingsWindow->onRecordingChanged = [this](bool recording) {
        if (recording) {
            m_hotkey->suspend();
        } else {
            m_hotkey->resume();
        }
    };
    m_l10n->onChange = [this] { installMenu(); };
    showLaunchNotification();
    if (m_env.online.appOpen) {
        m_env.online.appOpen();
    }
    emit ready();
}

void AppController::setupStatusItem() {
    installMenu();
    if (!m_env.trayIcon) {
        return;
    }
    m_statusItem = std::make_unique<QSystemTrayIcon>(trayGlyphIcon());
    m_statusItem->setToolTip(QStringLiteral("Talvo (墨)"));
    m_statusItem->setContextMenu(m_menu.get());
    // A status item opens its menu on a plain click too.
    connect(m_statusItem.get(), &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                if (reason == QSystemTrayIcon::Trigger && m_menu) {
                    m_menu->popup(QCursor::pos());
                }
            });
    m_statusItem->show();
}

void AppController::installMenu() {
    std::unique_ptr<QMenu> menu(buildMenu());
    if (m_statusItem) {
        m_statusItem->setContextMenu(menu.get());
    }
    // The old menu may be the one whose action is running right now.
    if (m_menu) {
        m_menu.release()->deleteLater();
    }
    m_menu = std::move(menu);
}

void AppController::loadDictionary() {
    const std::string& path = m_env.dictionaryPath;
    if (path.empty() || !std::filesystem::exists(path)) {
        m_env.alerts->show(m_l10n->text(msg::kMissingDataTitle),
                           m_l10n->text(msg::kDictNotFound) + QStringLiteral("\n") + q(path));
        return;
    }
    try {
        m_store = std::make_unique<DictionaryStore>(path);
    } catch (const DictionaryError& e) {
        m_env.alerts->show(m_l10n->text(msg::kDataErrorTitle),
                           m_l10n->text(msg::kCannotOpenDict) + QStringLiteral("\n") + q(path) +
                               QStringLiteral(": ") + QString::fromUtf8(e.what()));
        return;
    }
    if (!m_env.dataDir.empty()) {
        try {
            m_overrides = std::make_unique<OverrideStore>(
                (std::filesystem::path(m_env.dataDir) / "overrides.sqlite").string());
        } catch (const DictionaryError&) {
            // Lookups then show the dictionary's own readings.
        }
    }
    m_lookup = std::make_unique<LookupService>(*m_store, m_overrides.get());
    setupStudy();
}

void AppController::setupStudy() {
    std::string path = StudyDatabase::defaultPath(m_env.dataDir);
    if (path.empty()) {
        return;
    }
    try {
        m_studyDatabase = std::make_unique<StudyDatabase>(path, m_env.clock);
    } catch (const DictionaryError&) {
        // The study side is simply absent; lookups go on.
        return;
    }
    m_studyStore = std::make_unique<StudyStore>(*m_studyDatabase);
    m_progressStore = std::make_unique<ProgressStore>(*m_studyDatabase);
    m_studyStore->seedIfEmpty(*m_store);
    setupStudyWindows();
    refreshStudyBadge();
    scheduleStudyReminder();
    syncStudy();
}

namespace {
constexpr double kStudyCardStrokeSide = 150;
}  // namespace

void AppController::setupStudyWindows() {
    m_studyWindow = std::make_unique<StudyWindowController>(*m_studyStore);
    m_studyWindow->setLocalization(m_l10n.get());
    if (m_strokes) {
        // On the card the glyph is the point of the exercise: a larger grid
        // than the popup's.
        StrokeOrderFactory* strokes = m_strokes.get();
        m_studyWindow->strokeOrderView = [strokes](const std::string& ch, QWidget* parent) {
            return static_cast<QWidget*>(strokes->makeView(ch, kStudyCardStrokeSide, parent));
        };
    }
    m_profileWindow = std::make_unique<ProfileWindowController>(*m_progressStore);
    m_quizWindow = std::make_unique<QuizWindowController>(*m_progressStore);
    m_studyWindow->onProgress = [this] {
        refreshStudyBadge();
        m_profileWindow->reload();
    };
    m_profileWindow->onStudy = [this] { openStudy(); };
    m_profileWindow->onQuiz = [this] { openQuiz(); };
    m_quizWindow->onFinish = [this] {
        m_profileWindow->reload();
        refreshStudyBadge();
    };
    if (m_env.lessons) {
        m_lessonsWindow = std::make_unique<LessonsWindowController>(*m_studyStore, *m_env.lessons);
        m_lessonsWindow->onChange = [this](int64_t) {
            refreshStudyBadge();
            m_studyWindow->reload();
            m_profileWindow->reload();
        };
    }
}

void AppController::ensureAccessibility() {
    if (m_env.platform.trust->isTrusted(true)) {
        return;
    }
    m_env.alerts->show(m_l10n->text(msg::kAccessibilityRequiredTitle),
                       m_l10n->text(msg::kAccessibilityRequiredText));
}

void AppController::showLaunchNotification() {
    NoticeText notice = launchNotice(m_l10n->lang(), displayForm(m_currentCombo).toStdString());
    Notifier* notifier = m_env.platform.notifier.get();
    notifier->requestAuthorization([notifier, notice](bool granted) {
        if (granted) {
            notifier->post(kLaunchNoticeId, notice);
        }
    });
}

void AppController::scheduleStudyReminder() {
    std::optional<StudySummary> s = studySummary();
    int64_t due = s ? s->dueReviews + s->newRemaining : 0;
    Notifier* notifier = m_env.platform.notifier.get();
    NoticeText notice = studyReminder(due);
    notifier->requestAuthorization([notifier, notice](bool granted) {
        if (granted) {
            notifier->scheduleDaily(kStudyReminderId, kStudyReminderHour, notice);
        }
    });
}

// ---- the road of one lookup -----------------------------------------------

void AppController::handleHotkey() {
    if (!m_lookup) {
        return;
    }
    // The capture turns the event loop; a second press arriving meanwhile is
    // the same request again.
    if (m_handlingHotkey) {
        return;
    }
    m_handlingHotkey = true;
    auto done = qScopeGuard([this] { m_handlingHotkey = false; });

    if (!m_env.platform.trust->isTrusted(false)) {
        showMessage(msg::kAccessibilityNotGranted);
        return;
    }
    if (uint64_t focused = m_env.platform.selection->focusedWindow()) {
        m_popup->setReturnFocus(focused);
    }
    SelectionResult selection = m_reader->read(kSelectionTimeout);
    if (!selection.ok()) {
        showMessage(msg::kSelectionUnreadable);
        return;
    }
    LookupDecision d = LookupDecision::decide(*selection.text);
    switch (d.kind) {
        case LookupDecision::Kind::Forward:
            showLookup(d.chars);
            break;
        case LookupDecision::Kind::Reverse:
            handleReverse(d.syllables);
            break;
        case LookupDecision::Kind::NoHanMessage:
            showMessage(msg::kNoHanInSelection);
            break;
    }
}

void AppController::showMessage(const Tr& text) {
    m_popup->show(PhraseLookup::message(std::string(text.pick(m_l10n->lang()))), {});
}

void AppController::showLookup(const std::vector<std::string>& chars) {
    if (!m_lookup) {
        return;
    }
    m_lastChars = chars;
    PhraseLookup result = m_lookup->analyze(chars);
    std::string am = result.amString();

    // Only one-character lookups with a full entry count as a looked-up word.
    if (!am.empty() && result.nghia && !result.nghia->empty()) {
        if (m_env.online.recordLookup) {
            m_env.online.recordLookup(result.phrase);
        }
        m_env.online.reportFeature("lookup");
        if (m_studyStore) {
            m_studyStore->recordLookup(result.phrase, result.phrase);
        }
    }

    QPointer<AppController> self(this);
    PopupCallbacks callbacks;
    // Without an override store a corrected reading could not stick, so the
    // popup offers no editor.
    if (m_overrides) {
        callbacks.onSaveReading = [self](const std::string& ch, const std::string& text) {
            if (!self) {
                return;
            }
            if (self->m_lookup) {
                self->m_lookup->setReading(text, ch);
            }
            self->showLookup(self->m_lastChars);
        };
    }
    callbacks.onAITranslate = [self](const std::string& text, PopupActions::TranslateDone done) {
        if (!self) {
            done(wire::TranslateResult::failed());
            return;
        }
        self->m_env.online.reportFeature("translate");
        self->m_env.online.translateOrFail(text, std::move(done));
    };
    if (m_studyStore && !am.empty()) {
        callbacks.onAddToStudy = [self, result] {
            if (self) {
                self->addLookupToStudy(result);
            }
        };
        callbacks.inStudy = m_studyStore->cardByUid(studyCardUid(result)).has_value();
    }
    m_popup->show(result, std::move(callbacks));
}

void AppController::handleReverse(const std::vector<std::string>& syllables) {
    if (!m_lookup) {
        return;
    }
    m_env.online.reportFeature("reverse");
    m_popup->showReverse(m_lookup->reverse(syllables));
}

void AppController::addLookupToStudy(const PhraseLookup& result) {
    Q_ASSERT(QThread::currentThread() == QCoreApplication::instance()->thread());
    if (!m_studyStore) {
        return;
    }
    std::string uid = studyCardUid(result);
    std::string gloss;
    if (result.nghia) {
        gloss = *result.nghia;
    } else if (result.chars.size() == 1 && result.chars.front().gloss) {
        gloss = *result.chars.front().gloss;
    }
    m_studyStore->addLookupCard(uid, result.phrase, result.amString(), gloss);
    m_env.online.reportFeature("study_add");
    refreshStudyBadge();
    syncStudy();
}

// ---- shortcut and menu ------------------------------------------------------

QString AppController::displayForm(const HotkeyCombo& combo) const {
    HotkeyBackend* keys = m_env.platform.hotkey.get();
    return q(
        HotkeyConfig::displayForm(combo, [keys](uint32_t code) { return keys->character(code); }));
}

void AppController::applyCombo(const HotkeyCombo& combo) {
    m_currentCombo = combo;
    saveCombo(*m_env.settings, combo);
    m_hotkey->registerCombo(combo);
    if (m_lookupMenuItem) {
        m_lookupMenuItem->setText(
            q(lookupItemTitle(m_l10n->lang(), displayForm(combo).toStdString())));
    }
}

std::optional<StudySummary> AppController::studySummary() {
    if (!m_studyStore) {
        return std::nullopt;
    }
    return m_studyStore->summary();
}

QMenu* AppController::buildMenu() {
    auto* menu = new QMenu;
    menu->setObjectName(QStringLiteral("statusMenu"));
    std::vector<MenuRow> rows =
        statusMenuRows(m_l10n->lang(), displayForm(m_currentCombo).toStdString(), studySummary());
    m_lookupMenuItem = nullptr;
    m_studyMenuItem = nullptr;
    for (const MenuRow& row : rows) {
        if (row.separator) {
            menu->addSeparator();
            continue;
        }
        QAction* a = menu->addAction(q(row.title));
        if (row.shortcutKey) {
            a->setShortcut(
                QKeySequence(QStringLiteral("Ctrl+") + QChar::fromLatin1(row.shortcutKey)));
        }
        switch (row.action) {
            case MenuAction::None:
                a->setEnabled(false);
                if (!m_lookupMenuItem) {
                    m_lookupMenuItem = a;
                }
                break;
            case MenuAction::OpenStudy:
                m_studyMenuItem = a;
                connect(a, &QAction::triggered, this, &AppController::openStudy);
                break;
            case MenuAction::OpenProfile:
                connect(a, &QAction::triggered, this, &AppController::openProfile);
                break;
            case MenuAction::OpenLessons:
                connect(a, &QAction::triggered, this, &AppController::openLessons);
                break;
            case MenuAction::OpenSettings:
                connect(a, &QAction::triggered, this, &AppController::openSettings);
                break;
            case MenuAction::CheckForUpdates:
                connect(a, &QAction::triggered, this, &AppController::checkForUpdates);
                break;
            case MenuAction::ShowAbout:
                connect(a, &QAction::triggered, this, &AppController::showAbout);
                break;
            case MenuAction::Quit:
                connect(a, &QAction::triggered, this, &AppController::quit);
                break;
        }
    }
    return menu;
}

void AppController::refreshStudyBadge() {
    if (m_studyMenuItem) {
        std::optional<StudySummary> s = studySummary();
        m_studyMenuItem->setText(s ? q(studyBadgeTitle(*s))
                                   : QString::fromUtf8(studytext::kStudyToday));
    }
}

void AppController::syncStudy() {
    if (m_studyStore && m_env.online.syncStudy) {
        m_env.online.syncStudy();
    }
}

void AppController::studySynced() {
    refreshStudyBadge();
    if (m_studyWindow) {
        m_studyWindow->reload();
    }
    if (m_profileWindow) {
        m_profileWindow->reload();
    }
}

void AppController::openStudy() {
    m_env.online.reportFeature("study");
    if (m_studyWindow) {
        m_studyWindow->show();
    }
    refreshStudyBadge();
    syncStudy();
}

void AppController::openProfile() {
    m_env.online.reportFeature("study_profile");
    if (m_profileWindow) {
        m_profileWindow->show();
    }
}

void AppController::openLessons() {
    m_env.online.reportFeature("study_lessons");
    if (m_lessonsWindow) {
        m_lessonsWindow->show();
    }
}

void AppController::openQuiz() {
    if (m_quizWindow) {
        m_quizWindow->show();
    }
}

void AppController::openSettings() {
    m_settingsWindow->show(m_currentCombo, [this](const HotkeyCombo& c) { applyCombo(c); });
}

QString AppController::appVersion() const {
    return m_env.version.empty() ? QStringLiteral("?") : q(m_env.version);
}

void AppController::showAbout() {
    std::vector<SourceCredit> credits;
    if (m_store) {
        credits = dictionaryCredits(m_store->path());
    }
    m_env.alerts->show(QString::fromUtf8(kAboutHeading),
                       q(aboutText(m_l10n->lang(), credits, appVersion().toStdString())),
                       Alerts::Style::Information);
}

void AppController::checkForUpdates() {
    QPointer<AppController> self(this);
    std::string current = appVersion().toStdString();
    m_updater->check([self, current](const UpdateVerdict& verdict) {
        if (!self) {
            return;
        }
        self->m_env.alerts->show(self->m_l10n->text(msg::kUpdatesTitle),
                                 q(updateMessage(self->m_l10n->lang(), verdict, current)),
                                 Alerts::Style::Information);
    });
}

void AppController::quit() {
    QCoreApplication::quit();
}

void AppController::handleRequest(const QByteArray& request) {
    if (request == "settings") {
        openSettings();
    } else if (request == "study") {
        openStudy();
    } else if (request == "profile") {
        openProfile();
    } else if (request == "lessons") {
        openLessons();
    } else if (request == "quiz") {
        openQuiz();
    }
}

}  // namespace talvo
