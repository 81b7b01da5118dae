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
    //   Linux: derived (appSpecificId) from systemd's /etc/machine-id, else
    //   D-Bus's /var/lib/dbus/machine-id; the id itself never leaves the machine.
    //   macOS: the I/O registry's IOPlatformUUID.
    //   Windows: the MachineGuid of HKLM\SOFTWARE\Microsoft\Cryptography.
    static std::optional<std::string> hardwareUUID();

    // The identifier kept under "talvo.deviceFallbackID", returned as stored,
    // whatever its shape. When there is none, a new random (version 4) UUID
    // in upper case is stored and returned. Never empty unless a stored value
    // is empty.
    static std::string persistedFallback(AppSettings& settings);

    // TALVO_DEVICE_ID when set and not empty (one machine acting as several
    // devices), else the machine identifier when present (on Linux in its
    // application-specific form, below), else persistedFallback().
    static std::string deviceId(AppSettings& settings);

    // Talvo's own identifier derived from a machine identifier, as systemd's
    // sd_id128_get_machine_app_specific() derives one: HMAC-SHA256 keyed
    // with the machine id's 16 bytes over Talvo's application id, the first
    // 16 bytes made a version 4 UUID. Stable, the same in every request, and
    // the machine id cannot be recovered from it: machine-id(5) asks that the
    // id itself never be shown to anyone. Absent for a `machineUuid` that is
    // not a UUID.
    static std::optional<std::string> appSpecificId(std::string_view machineUuid);

    // 32 hexadecimal digits, bare or grouped 8-4-4-4-12 (surrounding white
    // space allowed), in the upper-case grouped form; absent for anything
    // else, including the all-zero identifier.
    static std::optional<std::string> canonicalUuid(std::string_view text);

    // The first of `paths` that holds a usable identifier (the Linux source,
    // open to tests).
    static std::optional<std::string> uuidFromFiles(const std::vector<std::string>& paths);
};

}  // namespace talvo
