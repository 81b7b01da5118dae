#pragma once

namespace talvo {

// Whether the system lets this program post keystrokes into other programs.
// Only macOS asks; elsewhere the answer is always yes.
class AccessibilityTrust {
  public:
    virtual ~AccessibilityTrust() = default;
    // With `prompt`, the system may show its own request to the user.
    virtual bool isTrusted(bool prompt) = 0;
};

}  // namespace talvo
