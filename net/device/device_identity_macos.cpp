#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

#include "net/device/device_identity.h"

namespace talvo {

std::optional<std::string> DeviceIdentity::hardwareUUID() {
    io_service_t service = IOServiceGetMatchingService(kIOMainPortDefault,
                                                       IOServiceMatching("IOPlatformExpertDevice"));
    if (!service) {
        return std::nullopt;
    }
    CFTypeRef property =
        IORegistryEntryCreateCFProperty(service, CFSTR("IOPlatformUUID"), kCFAllocatorDefault, 0);
    IOObjectRelease(service);
    if (!property) {
        return std::nullopt;
    }
    std::optional<std::string> result;
    if (CFGetTypeID(property) == CFStringGetTypeID()) {
        char buffer[128];
        if (CFStringGetCString(static_cast<CFStringRef>(property), buffer, sizeof buffer,
                               kCFStringEncodingUTF8)) {
            // The registry's own string, as it stands.
            result = std::string(buffer);
        }
    }
    CFRelease(property);
    return result;
}

}  // namespace talvo
