#pragma once

#include <QObject>
#include <QPoint>
#include <QPointer>
#include <QSize>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "app/popup/keyable_panel.h"
#include "app/popup/popup_view.h"
#include "core/lookup/lookup_result.h"

namespace talvo {

class ClipboardAccess;
class Localization;
class SelectionBackend;
class WindowPlacer;

// The callbacks the lookup flow hands to a popup; empty ones are absent.
struct PopupCallbacks {
    std::function<void(const std::string& ch, const std::string& text)> onSaveReading;
    std::function<void(const std::string& text, PopupActions::TranslateDone done)> onAITranslate;
    std::function<void()> onAddToStudy;
    bool inStudy = false;  // the lookup is a card already
};

// Content that stays at the top of a panel while lookups come and go below
// it (the text read off the screen, looked up again at each correction).
class PanelHost : public QWidget {
  public:
    using QWidget::QWidget;
    // Puts `body` (taken over) below the host's own content, in place of the
    // earlier one; null leaves none.
    virtual void setBody(QWidget* body) = 0;
    // The whole content's wanted size with a body that wants `body`.
    virtual QSize sizeWithBody(QSize body) const = 0;
};

// Shows lookup results in a floating panel beside the pointer, one panel at a
// time, sized once for the largest state of its content and kept inside the
// visible part of the pointer's screen. Escape, the close button and loss of
// focus close it. While a host is shown, lookups fill its body instead, and
// the panel grows to fit them (never shrinks, so nothing under the pointer
// jumps). Main thread only; borrows its collaborators.
class PopupController : public QObject {
    Q_OBJECT
  public:
    // `placer` may be null: on Wayland the compositor then places the panel.
    PopupController(Localization& l10n, ClipboardAccess& clipboard, SelectionBackend* focus,
                    WindowPlacer* placer = nullptr, QObject* parent = nullptr);
    ~PopupController() override;

    void show(const PhraseLookup& result, PopupCallbacks callbacks);
    void showReverse(const ReverseLookup& result);
    // Replaces any panel with one showing `display` (taken over), sized for
    // the largest of `measures`: the content's wanted size in each of its
    // states (none: the smallest panel).
    void present(QWidget* display, const std::vector<std::function<QSize()>>& measures,
                 const QString& title);
    // Hides and forgets the panel. With `giveFocusBack`, keyboard focus
    // returns to the window that had it when the shortcut fired.
    void close(bool giveFocusBack = false);

    // Shows `host` (taken over) in a new panel; until that panel closes or
    // dropHost() is called, show(), showReverse() and present() fill the
    // host's body.
    void presentHost(PanelHost* host, const QString& title);
    // The next lookup gets a panel of its own again.
    void dropHost() { m_host = nullptr; }
    PanelHost* host() const { return hosting() ? m_host.data() : nullptr; }
    // Grows the panel to what the host and its body now want, keeps it on
    // its screen, and retitles it.
    void refitHost(const QString& title);

    KeyablePanel* panel() const { return m_panel; }
    // The next present() fills the panel shown now instead of opening a new
    // one: no second window to map, and focus stays where it is.
    void reuseForNext() { m_reuseNext = true; }
    // The window to give focus back to; set by the lookup flow at each press.
    void setReturnFocus(uint64_t window) { m_returnFocus = window; }

    // The next panel goes beside this region of the desktop (the text it
    // reads) rather than at the pointer, where the toolkit places windows.
    void placeNextBeside(QRect region) { m_beside = region; }

    static QSize clampedSize(QSize wanted);
    void positionAtMouse(QWidget* panel, QSize size);
    QPoint upperThirdOfFocusedScreen(QSize size);

    // Where the pointer is (global logical coordinates); tests substitute it.
    std::function<QPoint()> mouseLocation;
    // The stroke-order view offered for one-character lookups, when set.
    std::function<QWidget*(const std::string& ch, QWidget* parent)> strokeOrderView;

  signals:
    void shown();

  private:
    bool hosting() const { return m_host && m_panel && m_panel->content() == m_host; }

    Localization& m_l10n;
    ClipboardAccess& m_clipboard;
    SelectionBackend* m_focus;
    WindowPlacer* m_placer;
    QPointer<KeyablePanel> m_panel;
    QPointer<PanelHost> m_host;
    QSize m_hostBody;  // what the host's current body wants
    std::optional<QRect> m_beside;
    uint64_t m_returnFocus = 0;
    bool m_reuseNext = false;
};

}  // namespace talvo
