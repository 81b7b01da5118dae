#include "app/platform/shell/accessory_app.h"

namespace talvo {

// The status icon and a tool-window popup never show in a taskbar.
void becomeAccessoryApplication() {}

}  // namespace talvo
