#pragma once

#include <QSocketNotifier>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/platform/selection/selection_backend.h"

struct wl_display;
struct wl_seat;
struct zwlr_data_control_manager_v1;
struct zwlr_data_control_device_v1;
struct zwlr_data_control_offer_v1;

namespace talvo {

// Selection capture on Wayland, where no program may send keystrokes to
// another or learn where the pointer is: PRIMARY is read through the
// compositor's data-control protocol (wlroots' version 2), on a connection
// of our own, with no window and no focus. The program only listens and
// reads: it never sets a selection, so the owner keeps its own. Each new
// PRIMARY the compositor announces counts as a change, so a selection left
// over from earlier work is not looked up again. Main thread only.
class WaylandSelectionBackend : public SelectionBackend {
  public:
    // Null when the compositor offers no data-control with PRIMARY.
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

    // What the protocol's listeners call (they are plain C callbacks).
    struct Offer {
        zwlr_data_control_offer_v1* offer;
        std::vector<std::string> types;
    };
    void offerAdded(zwlr_data_control_offer_v1* offer);
    void offerType(zwlr_data_control_offer_v1* offer, const char* type);
    void selectionChanged(zwlr_data_control_offer_v1* offer, bool primary);
    void deviceFinished() { m_broken = true; }

  private:
    WaylandSelectionBackend(wl_display* display, wl_seat* seat,
                            zwlr_data_control_manager_v1* manager);
    // Handles what the compositor sent; false once the connection broke.
    bool dispatch();
    void forget(zwlr_data_control_offer_v1* offer);
    std::optional<std::string> read(const Offer& offer);

    wl_display* m_display;
    wl_seat* m_seat;
    zwlr_data_control_manager_v1* m_manager;
    zwlr_data_control_device_v1* m_device = nullptr;
    std::unique_ptr<QSocketNotifier> m_notifier;
    std::vector<Offer> m_offers;  // announced and not yet destroyed
    zwlr_data_control_offer_v1* m_primary = nullptr;
    zwlr_data_control_offer_v1* m_clipboard = nullptr;
    uint64_t m_changes = 0;
    uint64_t m_changesSeen = 0;
    bool m_broken = false;
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
