#include "app/lookup/lookup_road.h"

#include <QCoreApplication>
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

namespace {

constexpr double kSelectionTimeout = 0.6;

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
    m_popup = std::make_unique<PopupController>(m_l10n, *m_platform.clipboard,
                                                m_platform.selection.get());
    if (strokes) {
        m_popup->strokeOrderView = strokes->hook();
    }
}

LookupRoad::~LookupRoad() = default;

void LookupRoad::handleHotkey() {
    if (!m_stores.lookup()) {
        return;
    }
    // The capture turns the event loop; a second press arriving meanwhile is
    // the same request again.
    if (m_handling) {
        return;
    }
    m_handling = true;
    auto done = qScopeGuard([this] { m_handling = false; });

    if (!m_platform.trust->isTrusted(false)) {
        showMessage(msg::kAccessibilityNotGranted);
        return;
    }
    if (uint64_t focused = m_platform.selection->focusedWindow()) {
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

void LookupRoad::showMessage(const Tr& text) {
    m_popup->show(PhraseLookup::message(std::string(text.pick(m_l10n.lang()))), {});
}

void LookupRoad::showLookup(const std::vector<std::string>& chars) {
    LookupService* lookup = m_stores.lookup();
    if (!lookup) {
        return;
    }
    StudyStore* study = m_stores.study();
    m_lastChars = chars;
    PhraseLookup result = lookup->analyze(chars);
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
            self->showLookup(self->m_lastChars);
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
    std::string gloss;
    if (result.nghia) {
        gloss = *result.nghia;
    } else if (result.chars.size() == 1 && result.chars.front().gloss) {
        gloss = *result.chars.front().gloss;
    }
    study->addLookupCard(studyCardUid(result), result.phrase, result.amString(), gloss);
    m_online.reportFeature("study_add");
    emit m_deck.deckChanged(DeckChange::CardsAdded);
    if (m_online.syncStudy) {
        m_online.syncStudy();
    }
}

}  // namespace talvo
