#include "net/device/device_identity.h"

namespace talvo {

std::optional<std::string> DeviceIdentity::hardwareUUID() {
    return uuidFromFiles({"/etc/machine-id", "/var/lib/dbus/machine-id"});
}

}  // namespace talvo
