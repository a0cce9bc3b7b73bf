# Language level, warnings and sanitizers: the same for every target.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")

if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Debug)
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Werror)
if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-Wno-subobject-linkage)  # takes the files of a merged unit for headers
endif()
# Tests run in this mode a hundred times for each time they are debugged.
set(CMAKE_CXX_FLAGS_DEBUG "-O1 -g1")

# The address sanitizer's code is compiled by the other compiler: it sees what the first one doesn't, and is twice as
# fast here. An optimiser makes that code hardly faster, but doubles the compiler's work. Under the other's thread sanitizer
# the log's tests take too long: that one stays with the first compiler.
set(DIAG_ARA_SANITIZE "" CACHE STRING "Sanitizers to build with: 'address,undefined' or 'thread'")
if(DIAG_ARA_SANITIZE)
    add_compile_options(-fsanitize=${DIAG_ARA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${DIAG_ARA_SANITIZE})
    if(DIAG_ARA_SANITIZE STREQUAL "thread")
        add_compile_definitions(DIAG_ARA_SANITIZED_THREAD) # for tests that measure or count
    else()
        add_compile_definitions(DIAG_ARA_SANITIZED_ADDRESS)
        set(CMAKE_CXX_FLAGS_DEBUG "-O0 -g1")
        # Shared libraries need the shared runtime, which has to come first in a process that isn't sanitized itself,
        # such as the JVM. It looks for what throws when it starts, so the C++ library has to be there by then.
        set(DIAG_ARA_PRELOAD)
        foreach(library libclang_rt.asan-${CMAKE_SYSTEM_PROCESSOR}.so libstdc++.so)
            execute_process(COMMAND "${CMAKE_CXX_COMPILER}" -print-file-name=${library}
                            OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
            list(APPEND DIAG_ARA_PRELOAD "${path}")
        endforeach()
        list(GET DIAG_ARA_PRELOAD 0 path)
        cmake_path(GET path PARENT_PATH path)
        add_link_options(-shared-libsan "LINKER:-rpath,${path}")
        list(JOIN DIAG_ARA_PRELOAD ":" DIAG_ARA_PRELOAD)
    endif()
endif()

find_program(CCACHE ccache)
if(CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${CCACHE}")
endif()
