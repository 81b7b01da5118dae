#include "net/device/device_identity.h"

namespace talvo {

std::optional<std::string> DeviceIdentity::hardwareUUID() {
    // machine-id(5): programs derive their own identifier from it and never
    // show the id itself.
    if (auto machine = uuidFromFiles({"/etc/machine-id", "/var/lib/dbus/machine-id"})) {
        return appSpecificId(*machine);
    }
    return std::nullopt;
}

}  // namespace talvo
