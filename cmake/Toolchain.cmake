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
if(CMAKE_UNITY_BUILD)
    add_compile_options(-Wno-subobject-linkage)  # takes the files of a merged unit for headers
endif()
# Tests run in this mode a hundred times for each time they are debugged.
set(CMAKE_CXX_FLAGS_DEBUG "-O1 -g1")

set(DIAG_ARA_SANITIZE "" CACHE STRING "Sanitizers to build with: 'address,undefined' or 'thread'")
if(DIAG_ARA_SANITIZE)
    add_compile_options(-fsanitize=${DIAG_ARA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${DIAG_ARA_SANITIZE})
endif()

find_program(CCACHE ccache)
if(CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${CCACHE}")
endif()
