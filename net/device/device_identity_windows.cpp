#include <windows.h>

#include "net/device/device_identity.h"

namespace talvo {

std::optional<std::string> DeviceIdentity::hardwareUUID() {
    char value[64];
    DWORD size = sizeof value;
    // The 64-bit view: a 32-bit build would otherwise read a redirected key.
    LSTATUS status =
        RegGetValueA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Microsoft\\Cryptography", "MachineGuid",
                     RRF_RT_REG_SZ | RRF_SUBKEY_WOW6464KEY, nullptr, value, &size);
    if (status != ERROR_SUCCESS) {
        return std::nullopt;
    }
    return canonicalUuid(value);
}

}  // namespace talvo
