# qw_add_area(<name> SOURCES <file>... [LINK <target>...])
# One static library, qw_<name>, for an area of src/. LINK names the areas and libraries that it may use.
function(qw_add_area name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
    add_library(qw_${name} STATIC ${ARG_SOURCES})
    target_include_directories(qw_${name} PUBLIC "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src>")
    target_compile_features(qw_${name} PUBLIC cxx_std_20)
    target_link_libraries(qw_${name} PUBLIC Qt6::Core ${ARG_LINK})
    set_property(GLOBAL APPEND PROPERTY QW_AREAS qw_${name}) # for the installation
    target_precompile_headers(qw_${name} PRIVATE "${PROJECT_SOURCE_DIR}/cmake/qw_pch.h")
    set_target_properties(qw_${name} PROPERTIES AUTOMOC ON)
endfunction()

# qw_add_test_suite(<name> SOURCES <file>... [LINK <target>...])
# One test program, test_<name>; ctest lists each of its tests by its own name. Every file is registered here by
# hand, and a test file that is in no list stops the configure step.
function(qw_add_test_suite name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
    add_executable(test_${name} ${ARG_SOURCES} "${PROJECT_SOURCE_DIR}/tests/support/main.cpp")
    target_include_directories(test_${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests")
    target_link_libraries(test_${name} PRIVATE ${ARG_LINK} GTest::gtest GTest::gmock rapidcheck)
    target_precompile_headers(test_${name} PRIVATE "${PROJECT_SOURCE_DIR}/cmake/qw_test_pch.h")
    set(seconds 300)
    if(QW_SANITIZE)
        set(seconds 1200) # under the thread sanitizer some take ten times as long
    endif()
    gtest_discover_tests(test_${name} TEST_PREFIX "${name}: " DISCOVERY_TIMEOUT 60 NO_PRETTY_VALUES PROPERTIES TIMEOUT ${seconds})
    foreach(source ${ARG_SOURCES})
        set_property(GLOBAL APPEND PROPERTY QW_REGISTERED_TESTS "${CMAKE_CURRENT_SOURCE_DIR}/${source}")
    endforeach()
endfunction()

# A test file that no suite lists would never run: stops the configure step and says which. To be called from the
# folder that holds the tests, after the suites.
function(qw_require_every_test_registered)
    file(GLOB_RECURSE found CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/*Test.cpp")
    get_property(registered GLOBAL PROPERTY QW_REGISTERED_TESTS)
    foreach(file ${found})
        if(NOT file IN_LIST registered)
            message(FATAL_ERROR "${file} is in no test suite: list it in its folder's CMakeLists.txt")
        endif()
    endforeach()
endfunction()
