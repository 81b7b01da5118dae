# The one place that finds third-party libraries. All of them come from
# Debian packages installed by ./dev (see the package list there).
find_package(PkgConfig REQUIRED)
find_package(SQLite3 3.37 REQUIRED)
find_package(ICU 72 REQUIRED COMPONENTS uc i18n)
find_package(Qt6 6.4 REQUIRED COMPONENTS Core)
find_package(nlohmann_json 3.11 REQUIRED)
find_package(Threads REQUIRED)

if(TALVO_BUILD_TESTS)
  find_package(GTest 1.12 REQUIRED)
endif()
if(TALVO_BUILD_BENCH)
  find_package(benchmark 1.7 REQUIRED)
endif()
