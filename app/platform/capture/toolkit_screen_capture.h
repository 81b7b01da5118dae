#pragma once

#include "app/platform/capture/screen_capture.h"

namespace talvo {

// Every screen as the toolkit grabs it from the window system (X11, macOS,
// Windows): one picture per screen in device pixels, with its geometry.
// Answers at once.
class ToolkitScreenCapture : public ScreenCapture {
  public:
    void capture(std::function<void(CaptureOutcome)> done) override;
};

}  // namespace talvo
