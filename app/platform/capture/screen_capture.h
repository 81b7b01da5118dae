#pragma once

#include <QImage>
#include <QRect>
#include <functional>
#include <vector>

namespace talvo {

// A picture of the screen, or of the region of it the user chose.
struct ScreenPicture {
    QImage image;
    // Where the picture lies on the desktop, in global logical coordinates;
    // empty where the desktop does not say (a portal's picture).
    QRect geometry;
};

struct CaptureOutcome {
    enum class Status {
        Captured,     // `pictures` holds what was taken
        Cancelled,    // the user closed the desktop's own screenshot dialog
        Unavailable,  // nothing on this desktop takes pictures for us
        Failed,       // asked, and got nothing usable
    };
    Status status = Status::Failed;
    // One picture per screen to choose a region on or, where `regionChosen`,
    // the one region the user already picked in the desktop's own dialog.
    std::vector<ScreenPicture> pictures;
    bool regionChosen = false;
};

// Takes pictures of the screen for reading text off it. Main thread only.
class ScreenCapture {
  public:
    virtual ~ScreenCapture() = default;
    // `done` runs once on the main thread, possibly before capture() returns.
    virtual void capture(std::function<void(CaptureOutcome)> done) = 0;
};

}  // namespace talvo
