# The one place that finds third-party libraries. All of them come from
# Debian packages installed by ./dev (see the package list there).
find_package(PkgConfig REQUIRED)
find_package(SQLite3 3.37 REQUIRED)
find_package(ICU 72 REQUIRED COMPONENTS uc i18n)
find_package(Qt6 6.4 REQUIRED COMPONENTS Core Gui Widgets DBus Network)
find_package(nlohmann_json 3.11 REQUIRED)
find_package(Threads REQUIRED)
find_package(CURL 7.88 REQUIRED)
find_package(Qt6Keychain 0.13 REQUIRED)
find_package(PostgreSQL 15 REQUIRED)
# The server hashes access tokens (SHA-256) and draws them from the system's
# random source.
find_package(OpenSSL 3.0 REQUIRED COMPONENTS Crypto)
# Debian ships cpp-httplib as a compiled library with only a pkg-config file;
# its compile definitions (TLS, compression) must match the library's build
# or the class layouts differ.
pkg_check_modules(HTTPLIB REQUIRED IMPORTED_TARGET cpp-httplib>=0.11)
# Text recognition: Tesseract 5 and Leptonica, whose parallel loops use
# OpenMP (the recogniser turns them off, so it calls the runtime itself); the
# reference glyphs are drawn with FreeType.
pkg_check_modules(TESSERACT REQUIRED IMPORTED_TARGET tesseract>=5 lept)
find_package(OpenMP REQUIRED COMPONENTS CXX)
pkg_check_modules(FREETYPE REQUIRED IMPORTED_TARGET freetype2)

if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  find_package(X11 REQUIRED COMPONENTS Xtst)
  pkg_check_modules(XCB REQUIRED IMPORTED_TARGET xcb xcb-keysyms)
  # Only to list the compositor's globals: which selection protocols it offers.
  pkg_check_modules(WAYLAND_CLIENT REQUIRED IMPORTED_TARGET wayland-client>=1.21)
  # GSettings: the custom shortcuts of GNOME's keyboard settings.
  pkg_check_modules(GIO REQUIRED IMPORTED_TARGET gio-2.0>=2.74)
endif()

if(TALVO_BUILD_TESTS)
  find_package(GTest 1.12 REQUIRED)
endif()
if(TALVO_BUILD_BENCH)
  find_package(benchmark 1.7 REQUIRED)
endif()
