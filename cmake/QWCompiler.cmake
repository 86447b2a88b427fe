# Compiler settings that hold for every target of the project.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")

set(QW_SANITIZE "" CACHE STRING "Sanitizers to build with, separated by commas (address,undefined or thread)")

find_program(QW_CCACHE ccache)
if(QW_CCACHE)
    # Paths below the clone are hashed as relative ones, so that a second clone hits too; precompiled headers carry
    # time stamps that ccache must be told to look past.
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env
        "CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}" CCACHE_NOHASHDIR=true
        CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime ${QW_CCACHE})
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Werror)
add_compile_definitions(QT_NO_FOREACH QT_NO_CAST_FROM_BYTEARRAY QT_NO_KEYWORDS)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # GCC 12, optimising, takes the inactive members of a std::variant for uninitialised values and the counter of
    # an inlined reference for memory of no size.
    add_compile_options(-Wno-maybe-uninitialized -Wno-stringop-overflow)
    # What is built holds no path of the machine that built it, whichever clone the cache took it from.
    add_compile_options("-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.")
    # ccache's preprocessor then names the precompiled header instead of leaving it out.
    add_compile_options(-fpch-preprocess)
endif()
if(QW_SANITIZE)
    add_compile_options(-fsanitize=${QW_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${QW_SANITIZE})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # GCC's flow analysis reports false positives inside sanitizer instrumentation.
        add_compile_options(-Wno-tsan)
        # Of all that is instrumented most time goes into the optimiser: half of it is saved, and reports name
        # functions and lines still.
        add_compile_options(-Og -g1)
    endif()
endif()
if(QW_BUILD_FUZZERS)
    # What Qt's containers require of their callers is checked too.
    add_compile_definitions(QT_FORCE_ASSERTS)
endif()
