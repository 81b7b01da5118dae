#include "app/platform/shell/accessory_app.h"

namespace talvo {

// The tray icon and a tool-window popup never show in the taskbar.
void becomeAccessoryApplication() {}

}  // namespace talvo
