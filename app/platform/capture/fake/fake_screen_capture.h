#pragma once

#include "app/platform/capture/screen_capture.h"

namespace talvo {

// Answers every capture with the outcome a test scripted, at once.
class FakeScreenCapture : public ScreenCapture {
  public:
    void capture(std::function<void(CaptureOutcome)> done) override {
        ++captures;
        done(next);
    }

    CaptureOutcome next;
    int captures = 0;
};

}  // namespace talvo
