#include "app/platform/shell/accessory_app.h"

#import <AppKit/AppKit.h>

namespace talvo {

// Untested: written from Apple's documentation, never built here.
void becomeAccessoryApplication() {
    [NSApp setActivationPolicy:NSApplicationActivationPolicyAccessory];
}

}  // namespace talvo
