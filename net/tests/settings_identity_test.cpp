#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstdlib>
#include <fstream>

#include "core/tests/fixture_dict.h"
#include "net/device/device_identity.h"
#include "net/settings/app_settings.h"
#include "net/settings/token_store.h"

using namespace talvo;
using namespace talvo::testing;

namespace {

void writeFile(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

std::string readAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// A keychain that works, or is missing, as the test says.
class FakeKeychain final : public SecretKeychain {
  public:
    explicit FakeKeychain(bool available) : m_available(available) {}
    ReadStatus read(std::string& secret) override {
        if (!m_available) {
            return ReadStatus::unavailable;
        }
        if (!m_secret) {
            return ReadStatus::notFound;
        }
        secret = *m_secret;
        return ReadStatus::found;
    }
    bool write(const std::string& secret) override {
        if (m_available) {
            m_secret = secret;
        }
        return m_available;
    }
    RemoveStatus remove() override {
        if (!m_available) {
            return RemoveStatus::unreachable;
        }
        m_secret.reset();
        return RemoveStatus::removed;
    }

  private:
    bool m_available;
    std::optional<std::string> m_secret;
};

}  // namespace

TEST(DeviceIdentity, MachineIdsBecomeUpperCaseUuids) {
    EXPECT_EQ(DeviceIdentity::canonicalUuid("0f3c9a1e2b4d4c6e8a0b1c2d3e4f5a6b\n"),
              "0F3C9A1E-2B4D-4C6E-8A0B-1C2D3E4F5A6B");
    EXPECT_EQ(DeviceIdentity::canonicalUuid("0f3c9a1e-2b4d-4c6e-8a0b-1c2d3e4f5a6b"),
              "0F3C9A1E-2B4D-4C6E-8A0B-1C2D3E4F5A6B");
    for (const char* bad :
         {"", "uninitialized", "0f3c9a1e2b4d4c6e8a0b1c2d3e4f5a6",
          "g"
          "f3c9a1e2b4d4c6e8a0b1c2d3e4f5a6b",
          "00000000000000000000000000000000", "0f3c9a1e2b4d-4c6e-8a0b-1c2d3e4f5a6b0"}) {
        EXPECT_FALSE(DeviceIdentity::canonicalUuid(bad).has_value()) << bad;
    }
    TempDir dir;
    writeFile(dir.file("empty"), "");
    writeFile(dir.file("dbus"), "aabbccddeeff00112233445566778899\n");
    EXPECT_EQ(
        DeviceIdentity::uuidFromFiles({dir.file("none"), dir.file("empty"), dir.file("dbus")}),
        "AABBCCDD-EEFF-0011-2233-445566778899");
    EXPECT_FALSE(DeviceIdentity::uuidFromFiles({dir.file("empty")}).has_value());
}

TEST(DeviceIdentity, TheWireCarriesAnIdDerivedFromTheMachineIdNeverTheIdItself) {
    // The value systemd-id128 gives for this machine id and our application id
    // (`systemd-id128 machine-id --app-specific=24a4de50…`), computed apart.
    const std::string machine = "0f3c9a1e2b4d4c6e8a0b1c2d3e4f5a6b";
    EXPECT_EQ(DeviceIdentity::appSpecificId(machine), "ABC67FB6-98F9-4075-9D0A-3DD1D889C586");
    EXPECT_EQ(DeviceIdentity::appSpecificId("0F3C9A1E-2B4D-4C6E-8A0B-1C2D3E4F5A6B"),
              DeviceIdentity::appSpecificId(machine));
    EXPECT_FALSE(DeviceIdentity::appSpecificId("not a machine id").has_value());
#ifdef __linux__
    if (auto raw = DeviceIdentity::uuidFromFiles({"/etc/machine-id"})) {
        ASSERT_TRUE(DeviceIdentity::hardwareUUID().has_value());
        EXPECT_NE(*DeviceIdentity::hardwareUUID(), *raw);
        EXPECT_EQ(DeviceIdentity::hardwareUUID(), DeviceIdentity::appSpecificId(*raw));
    }
#endif
}

TEST(DeviceIdentity, FallbackIsMadeOnceAndKeptAsStored) {
    TempDir dir;
    std::string first;
    {
        AppSettings settings(dir.file("Talvo.conf"));
        first = DeviceIdentity::persistedFallback(settings);
        EXPECT_TRUE(DeviceIdentity::canonicalUuid(first).has_value());
        EXPECT_EQ(first, DeviceIdentity::canonicalUuid(first)) << "already upper-case grouped";
        EXPECT_EQ(first[14], '4') << "a version 4 UUID";
        EXPECT_EQ(DeviceIdentity::persistedFallback(settings), first);
    }
    AppSettings later(dir.file("Talvo.conf"));  // as in a later launch
    EXPECT_EQ(DeviceIdentity::persistedFallback(later), first);

    later.setString(AppSettings::kDeviceFallbackKey, "legacy id, any shape");
    EXPECT_EQ(DeviceIdentity::persistedFallback(later), "legacy id, any shape");

    // A second data folder on the same machine syncs as its own device.
    ::setenv("TALVO_DEVICE_ID", "LAPTOP-B", 1);
    EXPECT_EQ(DeviceIdentity::deviceId(later), "LAPTOP-B");
    ::setenv("TALVO_DEVICE_ID", "", 1);
    EXPECT_NE(DeviceIdentity::deviceId(later), "");
    EXPECT_NE(DeviceIdentity::deviceId(later), "LAPTOP-B");
    ::unsetenv("TALVO_DEVICE_ID");
}

TEST(TokenStore, FileFallbackIsPrivateAndHoldsOnlyTheToken) {
    TempDir dir;
    std::string path = dir.file("config/Mirelo/sync-token");
    TokenStore store(path, nullptr);
    EXPECT_FALSE(store.load().has_value());

    ASSERT_EQ(store.save("tok-A1.b2_c3"), TokenStore::Location::file);
    struct stat st {};
    ASSERT_EQ(::stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    ASSERT_EQ(::stat(dir.file("config/Mirelo").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0077, 0u) << "a folder made for it is private too";
    EXPECT_EQ(readAll(path), "tok-A1.b2_c3\n");
    EXPECT_EQ(store.load(), "tok-A1.b2_c3");

    ASSERT_EQ(store.save("second"), TokenStore::Location::file);
    EXPECT_EQ(TokenStore(path, nullptr).load(), "second");
    EXPECT_EQ(store.remove(), TokenStore::RemoveOutcome::removed);
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(store.remove(), TokenStore::RemoveOutcome::removed) << "removing nothing is fine";

    for (const char* bad : {"", "two words", "line\nbreak", "tab\t", "é"}) {
        EXPECT_FALSE(store.save(bad).has_value()) << bad;
    }
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(TokenStore::trimmedToken("  abc\r\n"), "abc");
}

TEST(TokenStore, KeychainIsPreferredAndTheFileTakesOverWithoutOne) {
    TempDir dir;
    std::string path = dir.file("sync-token");
    writeFile(path, "old-file-token\n");
    TokenStore withKeychain(path, std::make_unique<FakeKeychain>(true));
    EXPECT_EQ(withKeychain.load(), "old-file-token") << "a file left from a headless run";
    EXPECT_EQ(withKeychain.save("new-token"), TokenStore::Location::keychain);
    EXPECT_FALSE(std::filesystem::exists(path)) << "no stale copy stays on disk";
    EXPECT_EQ(withKeychain.load(), "new-token");

    TokenStore headless(path, std::make_unique<FakeKeychain>(false));
    EXPECT_EQ(headless.save("headless-token"), TokenStore::Location::file);
    EXPECT_EQ(headless.load(), "headless-token");
    EXPECT_EQ(headless.remove(), TokenStore::RemoveOutcome::keychainUnreachable);
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(withKeychain.remove(), TokenStore::RemoveOutcome::removed);
    EXPECT_FALSE(withKeychain.load().has_value());
}

TEST(TokenStore, RealKeychainWithoutSessionFallsBackToTheFile) {
    // No QCoreApplication here: the system keychain is unavailable, as on a
    // headless machine, and the file must take the token.
    TempDir dir;
    TokenStore store(dir.file("sync-token"), std::make_unique<QtSecretKeychain>());
    EXPECT_EQ(store.save("headless"), TokenStore::Location::file);
    EXPECT_EQ(store.load(), "headless");
}
