# Every library that the project stands on, named once. Why each: docs/architecture.md.
find_package(Qt6 6.4 REQUIRED COMPONENTS Core Gui Network Widgets)
find_package(SQLite3 REQUIRED)
find_package(ICU REQUIRED COMPONENTS uc i18n)
find_package(PkgConfig REQUIRED)
pkg_check_modules(PLIST REQUIRED IMPORTED_TARGET libplist-2.0)
find_package(GIF 5.1 REQUIRED)
pkg_check_modules(OPENJPEG REQUIRED IMPORTED_TARGET libopenjp2)
find_package(CURL 7.88 REQUIRED)
find_package(Boost 1.74 REQUIRED) # the headers only
find_package(Qt6Keychain 0.13 REQUIRED) # the example host's window alone

if(QW_BUILD_TESTS)
    find_package(GTest REQUIRED)
    find_package(Qt6 6.4 REQUIRED COMPONENTS Test)
    find_package(rapidcheck QUIET)
    if(NOT rapidcheck_FOUND)
        # Debian's package brings the library without its CMake files.
        find_path(RAPIDCHECK_INCLUDE_DIR rapidcheck.h REQUIRED)
        find_library(RAPIDCHECK_LIBRARY rapidcheck REQUIRED)
        add_library(rapidcheck UNKNOWN IMPORTED)
        set_target_properties(rapidcheck PROPERTIES IMPORTED_LOCATION "${RAPIDCHECK_LIBRARY}"
                              INTERFACE_INCLUDE_DIRECTORIES "${RAPIDCHECK_INCLUDE_DIR}")
    endif()
endif()
if(QW_BUILD_BENCHMARKS)
    find_package(Qt6 6.4 REQUIRED COMPONENTS Sql)
endif()
