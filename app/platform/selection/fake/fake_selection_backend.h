#pragma once

#include <QGuiApplication>
#include <functional>

#include "app/platform/selection/selection_backend.h"

namespace talvo {

// Selection capture without a window system: tests script what the "front
// application" holds and does when asked to copy.
class FakeSelectionBackend : public SelectionBackend {
  public:
    // Like the toolkit on GNOME's Wayland, a backend that reads only while
    // focused sees nothing before one of our windows has focus.
    std::optional<std::string> primarySelection() override {
        if (focusedOnly && !QGuiApplication::focusWindow()) {
            return std::nullopt;
        }
        return primary;
    }
    bool readsOnlyWhenFocused() const override { return focusedOnly; }
    bool copyKeystrokeAllowed() override { return !terminal; }
    bool modifiersHeld() override { return modifiersHeldNow ? modifiersHeldNow() : false; }
    void postCopyKeystroke() override {
        ++copyKeystrokes;
        if (onCopyKeystroke) {
            onCopyKeystroke();
        }
    }
    uint64_t focusedWindow() override { return focused; }
    void restoreFocus(uint64_t window) override { restoredFocus = window; }

    std::optional<std::string> primary;
    bool terminal = false;
    bool focusedOnly = false;
    std::function<bool()> modifiersHeldNow;
    std::function<void()> onCopyKeystroke;
    int copyKeystrokes = 0;
    uint64_t focused = 0;
    uint64_t restoredFocus = 0;
};

}  // namespace talvo
