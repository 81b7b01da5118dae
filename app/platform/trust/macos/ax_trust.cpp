#include "app/platform/trust/macos/ax_trust.h"

#include <ApplicationServices/ApplicationServices.h>

namespace talvo {

bool AxTrust::isTrusted(bool prompt) {
    if (!prompt) {
        return AXIsProcessTrusted();
    }
    const void* keys[] = {kAXTrustedCheckOptionPrompt};
    const void* values[] = {kCFBooleanTrue};
    CFDictionaryRef options =
        CFDictionaryCreate(kCFAllocatorDefault, keys, values, 1,
                           &kCFCopyStringDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    bool trusted = AXIsProcessTrustedWithOptions(options);
    CFRelease(options);
    return trusted;
}

}  // namespace talvo
