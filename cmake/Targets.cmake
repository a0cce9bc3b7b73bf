# One function per kind of target, so that a target is one to five lines.

# What CTest starts first is what it would otherwise wait for at the end: each takes a minute or so.
set(DIAG_ARA_LONG_COST 100)

# Where the codec's generated headers and sources appear (included as "codec/...").
set(CODEC_GENERATED_DIR "${PROJECT_BINARY_DIR}/generated")

# diag_component(<name> SEES <path>... SOURCES <file>... [LINKS <target>...])
#
# An object library that can include what SEES names and nothing else of this project: its include
# directory is a folder of links to the permitted places (a folder such as `codec`, or one header such
# as `registry/Components.h`). An include path equals the path in the tree. `platform/api` is special,
# as the platform's headers are a stranger's: whoever SEES it includes them as <ara/log/Logger.h>, from the folder
# that DIAG_ARA_PLATFORM_API names.
function(diag_component name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SEES;SOURCES;LINKS")
    add_library(${name} OBJECT ${arg_SOURCES})
    diag_sees(${name} ${arg_SEES})
    target_link_libraries(${name} PUBLIC ${arg_LINKS} Threads::Threads)
endfunction()

# Limits what target `name` can include to the given places of the tree.
function(diag_sees name)
    set(view "${PROJECT_BINARY_DIR}/sees/${name}")
    file(MAKE_DIRECTORY "${view}")
    foreach(place IN LISTS ARGN)
        if(place STREQUAL "platform/api")
            target_include_directories(${name} PRIVATE "${DIAG_ARA_PLATFORM_API}")
            continue()
        endif()
        if(place STREQUAL "codec")
            target_include_directories(${name} PRIVATE "${CODEC_GENERATED_DIR}")
            if(NOT name STREQUAL "codec")
                add_dependencies(${name} codec_generated)
            endif()
        endif()
        cmake_path(GET place PARENT_PATH parent)
        file(MAKE_DIRECTORY "${view}/${parent}")
        file(CREATE_LINK "${PROJECT_SOURCE_DIR}/${place}" "${view}/${place}" SYMBOLIC)
    endforeach()
    target_include_directories(${name} PRIVATE "${view}")
endfunction()

# diag_program(<name> SEES <path>... SOURCES <file>... [LINKS <target>...])
function(diag_program name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SEES;SOURCES;LINKS")
    add_executable(${name} ${arg_SOURCES})
    diag_sees(${name} ${arg_SEES})
    target_link_libraries(${name} PRIVATE ${arg_LINKS} Threads::Threads)
endfunction()

# diag_test_headers(): the headers that cost a test more than its own lines do, compiled once for all tests. Called once,
# before the first test. It is a program and no library, so that it is compiled exactly as tests are.
function(diag_test_headers)
    if(DIAG_ARA_PLATFORM_LIBS)
        return()
    endif()
    file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/test_headers.cpp" CONTENT "int main() {}\n")
    add_executable(test_headers "${PROJECT_BINARY_DIR}/test_headers.cpp")
    target_link_libraries(test_headers PRIVATE GTest::gmock GTest::gtest Threads::Threads)
    target_compile_options(test_headers PRIVATE $<$<CONFIG:Debug>:-O0>)
    target_precompile_headers(test_headers PRIVATE <gmock/gmock.h> <gtest/gtest.h>
        <chrono> <condition_variable> <functional> <future> <map> <memory> <mutex> <string> <thread> <vector>)
endfunction()

# diag_test(<name> SOURCES <file>... [SEES <path>...] [LINKS <target>...] [LABELS <label>...] [TIMEOUT <s>]
#           [ENVIRONMENT <name=value>...] [NO_TSAN] [OWN_ADDRESS] [LONG])
#
# One GoogleTest binary. It has one CTest entry per test case; under a sanitizer, where every start of a process
# costs, one entry for all with a report in gtest/. Without SEES it sees the whole tree. NO_TSAN leaves it out of the
# thread sanitizer's preset, for code without threads or without instrumentation. OWN_ADDRESS gives each process a
# loopback address of its own to offer the services at. LONG lets CTest start it before others.
function(diag_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "NO_TSAN;OWN_ADDRESS;LONG" "TIMEOUT" "SEES;SOURCES;LINKS;LABELS;ENVIRONMENT")
    add_executable(${name} ${arg_SOURCES})
    if(DIAG_ARA_PLATFORM_LIBS)  # there is nothing to test it with
        set_target_properties(${name} PROPERTIES EXCLUDE_FROM_ALL TRUE)
        return()
    endif()
    if(arg_OWN_ADDRESS)
        target_sources(${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests/support/Own_address.cpp")
    endif()
    if(arg_SEES)
        diag_sees(${name} ${arg_SEES})
    else()
        target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}/platform/api"
                                                   "${CODEC_GENERATED_DIR}")
        if("codec" IN_LIST folders AND (NOT DIAG_ARA_ONLY OR "codec" IN_LIST DIAG_ARA_ONLY))
            add_dependencies(${name} codec_generated)
        endif()
    endif()
    target_link_libraries(${name} PRIVATE ${arg_LINKS} GTest::gmock GTest::gtest GTest::gtest_main Threads::Threads)
    # A test is compiled more often than it is run: what it tests is optimised, it is not.
    target_compile_options(${name} PRIVATE $<$<CONFIG:Debug>:-O0>)
    target_precompile_headers(${name} REUSE_FROM test_headers)
    set_target_properties(${name} PROPERTIES UNITY_BUILD_BATCH_SIZE 6)
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 120)
    endif()
    set(cost 0)
    if(arg_LONG)
        set(cost ${DIAG_ARA_LONG_COST})
    endif()
    if(arg_NO_TSAN AND DIAG_ARA_SANITIZE MATCHES "thread")
        set_target_properties(${name} PROPERTIES EXCLUDE_FROM_ALL TRUE)
    elseif(DIAG_ARA_SANITIZE)
        add_test(NAME ${name} COMMAND ${name} "--gtest_output=xml:${PROJECT_BINARY_DIR}/gtest/${name}.xml")
        set_tests_properties(${name} PROPERTIES TIMEOUT 600 COST ${cost} LABELS "${arg_LABELS}" ENVIRONMENT "${arg_ENVIRONMENT}")
    else()
        gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 NO_PRETTY_VALUES
            PROPERTIES TIMEOUT ${arg_TIMEOUT} COST ${cost} LABELS "${arg_LABELS}" ENVIRONMENT "${arg_ENVIRONMENT}")
    endif()
endfunction()
