#include "app/lookup/lookup_road.h"

#include <QClipboard>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QPointer>
#include <QScopeGuard>
#include <QThread>

#include "app/controller/app_stores.h"
#include "app/platform/platform.h"
#include "app/popup/popup_controller.h"
#include "app/selection/event_pump.h"
#include "app/selection/selection_reader.h"
#include "app/shell/localization.h"
#include "app/shell/online_hooks.h"
#include "app/stroke/stroke_order_factory.h"
#include "app/study/deck_events.h"
#include "core/l10n/localization.h"
#include "core/lookup/lookup_decision.h"
#include "core/lookup/lookup_service.h"
#include "core/study/card_uid.h"
#include "core/study/study_store.h"

namespace talvo {

// QT_LOGGING_RULES="talvo.lookup.debug=true" traces each lookup's steps.
Q_LOGGING_CATEGORY(lookupLog, "talvo.lookup", QtWarningMsg)

namespace {

constexpr double kSelectionTimeout = 0.6;
// How long a compositor may take to give a new panel keyboard focus, and
// how long the selection's offer may follow it.
constexpr double kFocusWait = 1.0;
constexpr double kOfferWait = 0.3;

std::string studyCardUid(const PhraseLookup& result) {
    return result.chars.size() == 1 ? lookupCardUid(true, result.chars.front().ch)
                                    : lookupCardUid(false, result.phrase);
}

}  // namespace

LookupRoad::LookupRoad(AppStores& stores, PlatformBackends& platform, const OnlineHooks& online,
                       Localization& l10n, DeckEvents& deck, std::unique_ptr<EventPump> pump,
                       const StrokeOrderFactory* strokes, QObject* parent)
    : QObject(parent),
      m_stores(stores),
      m_platform(platform),
      m_online(online),
      m_l10n(l10n),
      m_deck(deck),
      m_pump(pump ? std::move(pump) : std::make_unique<QtEventPump>()) {
    m_reader =
        std::make_unique<SelectionReader>(*m_platform.selection, *m_platform.clipboard, *m_pump);
    m_popup = std::make_unique<PopupController>(
        m_l10n, *m_platform.clipboard, m_platform.selection.get(), m_platform.placer.get());
    if (strokes) {
        m_popup->strokeOrderView = strokes->hook();
    }
}

LookupRoad::~LookupRoad() = default;

void LookupRoad::handleHotkey() {
    qCDebug(lookupLog) << "lookup asked";
    if (!m_stores.lookup()) {
        return;
    }
    // The capture turns the event loop; a second press arriving meanwhile is
    // the same request again.
    if (m_handling) {
        qCDebug(lookupLog) << "a press during capture, dropped";
        return;
    }
    m_handling = true;
    auto done = qScopeGuard([this] { m_handling = false; });
    // A panel of text read off the screen gives way to this lookup.
    m_popup->dropHost();

    if (!m_platform.trust->isTrusted(false)) {
        showMessage(msg::kAccessibilityNotGranted);
        return;
    }
    if (uint64_t focused = m_platform.selection->focusedWindow()) {
        m_popup->setReturnFocus(focused);
    }
    if (m_platform.selection->readsOnlyWhenFocused() && !focusPanelForReading()) {
        return;
    }
    SelectionResult selection = m_reader->read(kSelectionTimeout);
    qCDebug(lookupLog) << "selection read:" << selection.ok()
                       << (selection.ok() ? selection.text->size() : 0) << "bytes";
    if (!selection.ok()) {
        showMessage(msg::kSelectionUnreadable);
        return;
    }
    LookupDecision d = LookupDecision::decide(*selection.text);
    switch (d.kind) {
        case LookupDecision::Kind::Forward:
            showLookup(d.chars, d.breaks);
            break;
        case LookupDecision::Kind::Reverse:
            handleReverse(d.syllables);
            break;
        case LookupDecision::Kind::NoHanMessage:
            showMessage(msg::kNoHanInSelection);
            break;
    }
}

bool LookupRoad::focusPanelForReading() {
    // The compositor offers the selection to a client when it gains focus;
    // until the offer has arrived the toolkit would read nothing.
    bool offered = false;
    QMetaObject::Connection offer = connect(
        QGuiApplication::clipboard(), &QClipboard::changed, this,
        [&offered](QClipboard::Mode mode) { offered = offered || mode == QClipboard::Selection; });
    auto forget = qScopeGuard([offer] { QObject::disconnect(offer); });
    showMessage(msg::kReadingSelection);
    QPointer<KeyablePanel> panel = m_popup->panel();
    m_popup->reuseForNext();
    const double deadline = m_pump->now() + kFocusWait;
    while (panel && !panel->isActiveWindow() && m_pump->now() < deadline) {
        m_pump->runFor(SelectionReader::kSlice);
    }
    qCDebug(lookupLog) << "panel for reading: open" << !panel.isNull() << "focused"
                       << (panel && panel->isActiveWindow());
    if (!panel) {
        return false;  // closed meanwhile: the user changed their mind
    }
    if (!panel->isActiveWindow()) {
        // Unfocused, the toolkit would answer with whatever it saw last.
        showMessage(msg::kSelectionUnreadable);
        return false;
    }
    const double offerDeadline = m_pump->now() + kOfferWait;
    while (panel && !offered && m_pump->now() < offerDeadline) {
        m_pump->runFor(SelectionReader::kSlice);
    }
    return panel != nullptr;
}

bool LookupRoad::canLookUp() const {
    return m_stores.lookup() != nullptr;
}

void LookupRoad::showMessage(const Tr& text) {
    m_popup->show(PhraseLookup::message(std::string(text.pick(m_l10n.lang()))), {});
}

void LookupRoad::showLookup(const std::vector<std::string>& chars,
                            const std::vector<size_t>& breaks) {
    LookupService* lookup = m_stores.lookup();
    if (!lookup) {
        return;
    }
    StudyStore* study = m_stores.study();
    m_lastChars = chars;
    m_lastBreaks = breaks;
    PhraseLookup result = lookup->analyze(chars, breaks);
    std::string am = result.amString();

    // Only one-character lookups with a full entry count as a looked-up word.
    if (!am.empty() && result.nghia && !result.nghia->empty()) {
        if (m_online.recordLookup) {
            m_online.recordLookup(result.phrase);
        }
        m_online.reportFeature("lookup");
        if (study) {
            study->recordLookup(result.phrase, result.phrase);
        }
    }

    QPointer<LookupRoad> self(this);
    PopupCallbacks callbacks;
    // Without an override store a corrected reading could not stick, so the
    // popup offers no editor.
    if (m_stores.overrides()) {
        callbacks.onSaveReading = [self](const std::string& ch, const std::string& text) {
            if (!self) {
                return;
            }
            self->m_stores.lookup()->setReading(text, ch);
            self->showLookup(self->m_lastChars, self->m_lastBreaks);
        };
    }
    callbacks.onAITranslate = [self](const std::string& text, PopupActions::TranslateDone done) {
        if (!self) {
            done(wire::TranslateResult::failed());
            return;
        }
        self->m_online.reportFeature("translate");
        self->m_online.translateOrFail(text, std::move(done));
    };
    if (study && !am.empty()) {
        callbacks.onAddToStudy = [self, result] {
            if (self) {
                self->addLookupToStudy(result);
            }
        };
        callbacks.inStudy = study->cardByUid(studyCardUid(result)).has_value();
    }
    m_popup->show(result, std::move(callbacks));
}

void LookupRoad::handleReverse(const std::vector<std::string>& syllables) {
    if (!m_stores.lookup()) {
        return;
    }
    m_online.reportFeature("reverse");
    m_popup->showReverse(m_stores.lookup()->reverse(syllables));
}

void LookupRoad::addLookupToStudy(const PhraseLookup& result) {
    Q_ASSERT(QThread::currentThread() == QCoreApplication::instance()->thread());
    StudyStore* study = m_stores.study();
    if (!study) {
        return;
    }
    study->addLookupCard(studyCardUid(result), result.phrase, result.amString(),
                         result.studyGloss());
    m_online.reportFeature("study_add");
    emit m_deck.deckChanged(DeckChange::CardsAdded);
    if (m_online.syncStudy) {
        m_online.syncStudy();
    }
}

}  // namespace talvo
