#pragma once

#include "app/platform/trust/accessibility_trust.h"

namespace talvo {

class FakeTrust : public AccessibilityTrust {
  public:
    bool isTrusted(bool prompt) override {
        prompts += prompt ? 1 : 0;
        return trusted;
    }
    bool trusted = true;
    int prompts = 0;
};

}  // namespace talvo
