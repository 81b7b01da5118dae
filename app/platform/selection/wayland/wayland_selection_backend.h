#pragma once

#include <QProcess>
#include <memory>
#include <string>

#include "app/platform/selection/selection_backend.h"

namespace talvo {

// Selection capture on Wayland, where no program may send keystrokes to
// another or learn where the pointer is: the selection is read from PRIMARY
// only, through the compositor's data-control protocol, by wl-paste (from
// wl-clipboard), which needs no window and no focus. A watching wl-paste
// counts PRIMARY's changes, so a selection left over from earlier work is
// not looked up again. Main thread only.
class WaylandSelectionBackend : public SelectionBackend {
  public:
    // Null when the compositor offers no data-control or wl-paste is missing.
    static std::unique_ptr<WaylandSelectionBackend> create();
    ~WaylandSelectionBackend() override;

    std::optional<std::string> primarySelection() override;
    // Never: synthetic input does not reach other programs on Wayland.
    bool copyKeystrokeAllowed() override { return false; }
    bool modifiersHeld() override { return false; }
    void postCopyKeystroke() override {}
    // Wayland hands focus back by itself when our panel closes.
    uint64_t focusedWindow() override { return 0; }
    void restoreFocus(uint64_t) override {}

  private:
    explicit WaylandSelectionBackend(QString wlPaste);
    void countChanges();

    QString m_wlPaste;
    QProcess m_watch;
    uint64_t m_changes = 0;
    uint64_t m_changesSeen = 0;
};

// Where the compositor lets no program read the selection in the background
// (GNOME): PRIMARY is read through the toolkit as the focused client, once
// our panel has focus. Nothing is ever sent to another window.
class FocusedSelectionBackend : public SelectionBackend {
  public:
    std::optional<std::string> primarySelection() override;
    bool readsOnlyWhenFocused() const override { return true; }
    bool copyKeystrokeAllowed() override { return false; }
    bool modifiersHeld() override { return false; }
    void postCopyKeystroke() override {}
    uint64_t focusedWindow() override { return 0; }
    void restoreFocus(uint64_t) override {}
};

}  // namespace talvo
