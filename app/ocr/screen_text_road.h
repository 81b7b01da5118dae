#pragma once

#include <QImage>
#include <QObject>
#include <QPointer>
#include <QRect>
#include <QString>
#include <memory>

#include "app/ocr/recognition_worker.h"
#include "app/platform/capture/screen_capture.h"

namespace talvo {

class Localization;
class LookupRoad;
class RecognitionView;
class RegionSelector;
struct Tr;

// The road of one reading of text off the screen: the second shortcut → a
// picture of the screen → the region the user drags on it → the panel at
// once, with a busy line → recognition on the worker thread → the text, in
// an editable line, looked up below it by the lookup road (the same popup
// content, and each correction looked up again). The region selector and
// the recognition worker are made on first use. Borrows the lookup road,
// the capture backend (null: none on this desktop) and the language, which
// must outlive it. Without a dictionary it does nothing, as the lookup
// shortcut does. Main thread only.
class ScreenTextRoad : public QObject {
    Q_OBJECT
  public:
    ScreenTextRoad(LookupRoad& road, ScreenCapture* capture, Localization& l10n,
                   RecognitionWorker::Factory recognizer, QObject* parent = nullptr);
    ~ScreenTextRoad() override;

    // The shortcut fired, or `talvo --ocr` ran. A press while a picture is
    // being taken or a region chosen is the same request again: ignored.
    void trigger();
    // Reads a chosen region: the panel shows at once (beside `onDesktop`,
    // where the region lies on the desktop, when known), the text follows.
    // A region too small to hold a character is said so instead.
    void readRegion(const QImage& region, const QRect& onDesktop = QRect());
    // Looks the panel's line up below it.
    void lookUp(const QString& text);

    bool isBusy() const;
    // Null before first use.
    RegionSelector* selector() const { return m_selector.get(); }
    RecognitionWorker* worker() const { return m_worker.get(); }
    // The panel's content while it is shown.
    RecognitionView* view() const;

  private:
    void capture();
    void captured(CaptureOutcome outcome);
    void recognized(const RecognitionReply& reply);
    void showMessage(const Tr& text);
    // The view's status line, and the panel retitled and grown to it.
    void showStatus(const QString& text);

    LookupRoad& m_road;
    ScreenCapture* m_capture;
    Localization& m_l10n;
    RecognitionWorker::Factory m_recognizer;
    std::unique_ptr<RegionSelector> m_selector;
    std::unique_ptr<RecognitionWorker> m_worker;
    QPointer<RecognitionView> m_view;
    bool m_capturing = false;
};

}  // namespace talvo
