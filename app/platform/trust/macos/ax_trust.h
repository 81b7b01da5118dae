#pragma once

#include "app/platform/trust/accessibility_trust.h"

namespace talvo {

// AXIsProcessTrusted, with the system's prompt when asked.
// Untested: written from Apple's header documentation, never built here.
class AxTrust : public AccessibilityTrust {
  public:
    bool isTrusted(bool prompt) override;
};

}  // namespace talvo
