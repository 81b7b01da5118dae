#include "app/platform/selection/macos/macos_selection_backend.h"

#import <AppKit/AppKit.h>
#include <ApplicationServices/ApplicationServices.h>
#include <unistd.h>

namespace talvo {

namespace {
constexpr CGKeyCode kKeyC = 8;
constexpr NSUInteger kHeldModifiers = 0x1E0000;
}  // namespace

bool MacSelectionBackend::modifiersHeld() {
    return ([NSEvent modifierFlags] & kHeldModifiers) != 0;
}

void MacSelectionBackend::postCopyKeystroke() {
    CGEventSourceRef source = CGEventSourceCreate(kCGEventSourceStateCombinedSessionState);
    if (source) {
        CGEventSourceSetLocalEventsFilterDuringSuppressionState(
            source, static_cast<CGEventFilterMask>(0), kCGEventSuppressionStateSuppressionInterval);
    }
    CGEventRef down = CGEventCreateKeyboardEvent(source, kKeyC, true);
    CGEventRef up = CGEventCreateKeyboardEvent(source, kKeyC, false);
    if (down) {
        CGEventSetFlags(down, kCGEventFlagMaskCommand);
        CGEventPost(kCGHIDEventTap, down);
        CFRelease(down);
    }
    if (up) {
        CGEventSetFlags(up, kCGEventFlagMaskCommand);
        CGEventPost(kCGHIDEventTap, up);
        CFRelease(up);
    }
    if (source) {
        CFRelease(source);
    }
}

uint64_t MacSelectionBackend::focusedWindow() {
    NSRunningApplication* front = [[NSWorkspace sharedWorkspace] frontmostApplication];
    if (!front || front.processIdentifier == getpid()) {
        return 0;
    }
    return static_cast<uint64_t>(front.processIdentifier);
}

void MacSelectionBackend::restoreFocus(uint64_t processId) {
    NSRunningApplication* front = [[NSWorkspace sharedWorkspace] frontmostApplication];
    if (processId == 0 || (front && front.processIdentifier != getpid())) {
        return;
    }
    NSRunningApplication* app = [NSRunningApplication
        runningApplicationWithProcessIdentifier:static_cast<pid_t>(processId)];
    [app activateWithOptions:0];
}

uint64_t MacClipboardAccess::changeCount() {
    return static_cast<uint64_t>([[NSPasteboard generalPasteboard] changeCount]);
}

}  // namespace talvo
