#include "app/ocr/screen_text_road.h"

#include <QLoggingCategory>
#include <QTimer>

#include "app/lookup/lookup_road.h"
#include "app/ocr/recognition_view.h"
#include "app/ocr/region_selector.h"
#include "app/popup/popup_controller.h"
#include "app/shell/localization.h"
#include "core/l10n/localization.h"
#include "core/lookup/lookup_decision.h"
#include "core/ui/region_geometry.h"

namespace talvo {

Q_LOGGING_CATEGORY(screenTextLog, "talvo.screentext", QtWarningMsg)

namespace {

// How long the windows under a popup that was just closed take to paint
// themselves again, so the picture does not catch the popup's ghost.
constexpr int kRepaintMs = 150;
// The package that brings the model, where the engine does not say.
constexpr const char* kModelPackage = "tesseract-ocr-chi-tra";

QString panelTitle(const QString& text) {
    return (QStringLiteral("Talvo — ") + text).left(240);
}

}  // namespace

ScreenTextRoad::ScreenTextRoad(LookupRoad& road, ScreenCapture* capture, Localization& l10n,
                               RecognitionWorker::Factory recognizer, QObject* parent)
    : QObject(parent),
      m_road(road),
      m_capture(capture),
      m_l10n(l10n),
      m_recognizer(std::move(recognizer)) {}

ScreenTextRoad::~ScreenTextRoad() = default;

bool ScreenTextRoad::isBusy() const {
    return m_capturing || (m_selector && m_selector->isActive());
}

RecognitionView* ScreenTextRoad::view() const {
    return m_view && m_road.popup().host() == m_view ? m_view.data() : nullptr;
}

void ScreenTextRoad::trigger() {
    qCDebug(screenTextLog) << "screen text asked";
    if (!m_road.canLookUp() || isBusy() || m_road.isHandling()) {
        return;
    }
    if (!m_capture) {
        showMessage(msg::kScreenshotUnavailable);
        return;
    }
    PopupController& popup = m_road.popup();
    const bool panelShown = popup.panel() != nullptr;
    popup.dropHost();
    popup.close(false);
    if (m_worker) {
        m_worker->forget();
    }
    m_capturing = true;
    if (panelShown) {
        QTimer::singleShot(kRepaintMs, this, &ScreenTextRoad::capture);
    } else {
        capture();
    }
}

void ScreenTextRoad::capture() {
    QPointer<ScreenTextRoad> self(this);
    m_capture->capture([self](CaptureOutcome outcome) {
        if (self) {
            self->captured(std::move(outcome));
        }
    });
}

void ScreenTextRoad::captured(CaptureOutcome outcome) {
    m_capturing = false;
    qCDebug(screenTextLog) << "captured: status" << static_cast<int>(outcome.status)
                           << outcome.pictures.size() << "pictures";
    switch (outcome.status) {
        case CaptureOutcome::Status::Cancelled:
            return;
        case CaptureOutcome::Status::Unavailable:
            showMessage(msg::kScreenshotUnavailable);
            return;
        case CaptureOutcome::Status::Failed:
            showMessage(msg::kScreenshotFailed);
            return;
        case CaptureOutcome::Status::Captured:
            break;
    }
    if (outcome.pictures.empty()) {
        showMessage(msg::kScreenshotFailed);
        return;
    }
    if (outcome.regionChosen) {
        readRegion(outcome.pictures.front().image);
        return;
    }
    if (!m_selector) {
        m_selector = std::make_unique<RegionSelector>(m_l10n);
        connect(m_selector.get(), &RegionSelector::selected, this,
                [this](const QImage& region, const QRectF& onDesktop) {
                    readRegion(region, onDesktop.toAlignedRect());
                });
    }
    m_selector->start(std::move(outcome.pictures));
}

void ScreenTextRoad::readRegion(const QImage& region, const QRect& onDesktop) {
    if (region.width() < region::kMinRegionPixels || region.height() < region::kMinRegionPixels) {
        showMessage(msg::kRegionTooSmall);
        return;
    }
    PopupController& popup = m_road.popup();
    auto* view = new RecognitionView(region, m_l10n, [&popup] { popup.close(true); });
    connect(view, &RecognitionView::submitted, this, &ScreenTextRoad::lookUp);
    view->showBusy();
    if (!onDesktop.isEmpty()) {
        popup.placeNextBeside(onDesktop);
    }
    popup.presentHost(view, panelTitle(m_l10n.text(msg::kRecognizing)));
    m_view = view;
    if (!m_worker) {
        m_worker = std::make_unique<RecognitionWorker>(m_recognizer);
    }
    m_worker->recognize(region, ocr::Layout::Auto,
                        [this](const RecognitionReply& reply) { recognized(reply); });
}

void ScreenTextRoad::recognized(const RecognitionReply& reply) {
    RecognitionView* shown = view();
    if (!shown) {
        return;  // the panel was closed meanwhile
    }
    const ocr::RecognitionOutcome& outcome = reply.outcome;
    if (reply.engineMissing) {
        showStatus(m_l10n.text(msg::kRecognitionUnavailable));
    } else if (outcome.recognition) {
        shown->showRecognition(*outcome.recognition);
        lookUp(shown->text());
    } else {
        switch (outcome.error.value_or(ocr::RecognitionError::NoText)) {
            case ocr::RecognitionError::ModelMissing:
                showStatus(m_l10n.format(msg::kRecognitionModelMissing,
                                         QString::fromStdString(outcome.missingPackage.empty()
                                                                    ? kModelPackage
                                                                    : outcome.missingPackage)));
                break;
            case ocr::RecognitionError::BadImage:
                showStatus(m_l10n.text(msg::kRegionBadImage));
                break;
            case ocr::RecognitionError::NoText:
                showStatus(m_l10n.text(msg::kRegionNoText));
                break;
        }
    }
}

void ScreenTextRoad::lookUp(const QString& text) {
    RecognitionView* shown = view();
    if (!shown) {
        return;
    }
    LookupDecision d = LookupDecision::decide(text.toStdString());
    switch (d.kind) {
        case LookupDecision::Kind::Forward:
            shown->showStatus(QString());
            m_road.showLookup(d.chars, d.breaks);
            break;
        case LookupDecision::Kind::Reverse:
            shown->showStatus(QString());
            m_road.handleReverse(d.syllables);
            break;
        case LookupDecision::Kind::NoHanMessage:
            shown->setBody(nullptr);
            showStatus(m_l10n.text(msg::kNoHanInRecognized));
            break;
    }
}

void ScreenTextRoad::showStatus(const QString& text) {
    if (RecognitionView* shown = view()) {
        shown->showStatus(text);
        m_road.popup().refitHost(panelTitle(text));
    }
}

void ScreenTextRoad::showMessage(const Tr& text) {
    m_road.popup().dropHost();
    m_road.showMessage(text);
}

}  // namespace talvo
