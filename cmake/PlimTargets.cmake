# Compile options shared by the project's targets.

# Daemon, framework and host platform code: built as on the device, without exceptions or RTTI.
add_library(plim_daemon_flags INTERFACE)
target_compile_options(plim_daemon_flags INTERFACE
    -fno-exceptions -fno-rtti -Wall -Wextra -Werror
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)

# Tests may throw, but share the daemon's object layout: a test class derived from a daemon class
# would otherwise need type information that the daemon's objects never emit.
add_library(plim_test_flags INTERFACE)
target_compile_options(plim_test_flags INTERFACE -fno-rtti -Wall -Wextra -Werror)

# plim_add_gtest(<name> SOURCES <files...> LIBS <targets...> [LABELS <labels...>]
#                [PROPERTIES <test properties...>])
# One GoogleTest executable; each test case becomes its own CTest test (one process per case,
# so process-wide state starts fresh for every case). PROPERTIES override the default timeout
# of 120 s and add to it.
function(plim_add_gtest name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBS;LABELS;PROPERTIES" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_LIBS} plim_test_flags GTest::gmock GTest::gtest_main)
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
                         PROPERTIES TIMEOUT 120 ${ARG_PROPERTIES})
    # Discovery flattens a list-valued LABELS property to its first item, so the labels are set
    # by a script that CTest runs once the discovered tests exist.
    set(script ${CMAKE_CURRENT_BINARY_DIR}/${name}_labels.cmake)
    file(WRITE ${script}
         "foreach(test IN LISTS ${name}_TESTS)\n"
         "    set_tests_properties(\"\${test}\" PROPERTIES LABELS \"${ARG_LABELS}\")\n"
         "endforeach()\n")
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${script})
endfunction()
