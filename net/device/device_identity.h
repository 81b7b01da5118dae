#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvo {

class AppSettings;

// The identifier every request to the service carries: the machine's own
// identifier when the platform has one, else a random one made once and kept
// in the user's settings. Stateless; callable from any thread (each thread
// with its own AppSettings).
class DeviceIdentity {
  public:
    // The machine identifier as an upper-case 8-4-4-4-12 UUID, read afresh on
    // every call; absent when the platform gives none.
    //   Linux: systemd's /etc/machine-id, else D-Bus's /var/lib/dbus/machine-id.
    //   macOS: the I/O registry's IOPlatformUUID.
    //   Windows: the MachineGuid of HKLM\SOFTWARE\Microsoft\Cryptography.
    static std::optional<std::string> hardwareUUID();

    // The identifier kept under "talvo.deviceFallbackID", returned as stored,
    // whatever its shape. When there is none, a new random (version 4) UUID
    // in upper case is stored and returned. Never empty unless a stored value
    // is empty.
    static std::string persistedFallback(AppSettings& settings);

    // TALVO_DEVICE_ID when set and not empty (one machine acting as several
    // devices), else hardwareUUID() when present, else persistedFallback().
    static std::string deviceId(AppSettings& settings);

    // 32 hexadecimal digits, bare or grouped 8-4-4-4-12 (surrounding white
    // space allowed), in the upper-case grouped form; absent for anything
    // else, including the all-zero identifier.
    static std::optional<std::string> canonicalUuid(std::string_view text);

    // The first of `paths` that holds a usable identifier (the Linux source,
    // open to tests).
    static std::optional<std::string> uuidFromFiles(const std::vector<std::string>& paths);
};

}  // namespace talvo
