#include "net/device/device_identity.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <QString>
#include <QUuid>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "net/settings/app_settings.h"

namespace talvo {

std::optional<std::string> DeviceIdentity::canonicalUuid(std::string_view text) {
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front()))) {
        text.remove_prefix(1);
    }
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) {
        text.remove_suffix(1);
    }
    std::string hex;
    if (text.size() == 36) {
        for (size_t i = 0; i < text.size(); ++i) {
            bool dashPlace = i == 8 || i == 13 || i == 18 || i == 23;
            if (dashPlace != (text[i] == '-')) {
                return std::nullopt;
            }
            if (!dashPlace) {
                hex += text[i];
            }
        }
    } else if (text.size() == 32) {
        hex = std::string(text);
    } else {
        return std::nullopt;
    }
    bool allZero = true;
    for (char& c : hex) {
        if (!std::isxdigit(static_cast<unsigned char>(c))) {
            return std::nullopt;
        }
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        allZero = allZero && c == '0';
    }
    if (allZero) {
        return std::nullopt;
    }
    return hex.substr(0, 8) + "-" + hex.substr(8, 4) + "-" + hex.substr(12, 4) + "-" +
           hex.substr(16, 4) + "-" + hex.substr(20);
}

std::optional<std::string> DeviceIdentity::uuidFromFiles(const std::vector<std::string>& paths) {
    for (const std::string& path : paths) {
        std::ifstream in(path, std::ios::binary);
        if (!in) {
            continue;
        }
        // A machine id is one line; a large file is not one.
        std::string contents(64, '\0');
        in.read(contents.data(), static_cast<std::streamsize>(contents.size()));
        contents.resize(static_cast<size_t>(in.gcount()));
        if (auto uuid = canonicalUuid(contents)) {
            return uuid;
        }
    }
    return std::nullopt;
}

std::optional<std::string> DeviceIdentity::appSpecificId(std::string_view machineUuid) {
    // Drawn once for Talvo; changing it would make every device a new one.
    static constexpr unsigned char kAppId[16] = {0x24, 0xa4, 0xde, 0x50, 0xa3, 0x5f, 0x4c, 0x12,
                                                 0xa8, 0xc7, 0x0a, 0x39, 0x02, 0x67, 0x00, 0x5b};
    std::optional<std::string> canonical = canonicalUuid(machineUuid);
    if (!canonical) {
        return std::nullopt;
    }
    unsigned char key[16];
    size_t k = 0;
    for (size_t i = 0; i < canonical->size(); i += (*canonical)[i] == '-' ? 1 : 2) {
        if ((*canonical)[i] != '-') {
            key[k++] = static_cast<unsigned char>(std::stoi(canonical->substr(i, 2), nullptr, 16));
        }
    }
    unsigned char mac[EVP_MAX_MD_SIZE];
    unsigned int macLength = 0;
    if (!HMAC(EVP_sha256(), key, sizeof key, kAppId, sizeof kAppId, mac, &macLength) ||
        macLength < 16) {
        return std::nullopt;
    }
    mac[6] = static_cast<unsigned char>((mac[6] & 0x0F) | 0x40);  // version 4
    mac[8] = static_cast<unsigned char>((mac[8] & 0x3F) | 0x80);  // RFC 4122 variant
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string hex;
    for (int i = 0; i < 16; ++i) {
        hex += kHex[mac[i] >> 4];
        hex += kHex[mac[i] & 0x0F];
    }
    return canonicalUuid(hex);
}

std::string DeviceIdentity::persistedFallback(AppSettings& settings) {
    if (auto stored = settings.string(AppSettings::kDeviceFallbackKey)) {
        return *stored;
    }
    std::string fresh = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper().toStdString();
    settings.setString(AppSettings::kDeviceFallbackKey, fresh);
    settings.sync();
    return fresh;
}

std::string DeviceIdentity::deviceId(AppSettings& settings) {
    // Two data folders on one machine (a second profile, a test of sync) are
    // two devices to the server; their log ids must not collide.
    if (const char* forced = std::getenv("TALVO_DEVICE_ID"); forced && *forced) {
        return forced;
    }
    if (auto hw = hardwareUUID()) {
        return *hw;
    }
    return persistedFallback(settings);
}

}  // namespace talvo
