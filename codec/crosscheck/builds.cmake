# The codec as other compilers and levels of optimisation make it, each as one unit without debugging information, and
# the program that tells what each makes of random payloads.

set(units Primitives.cpp TextForm.cpp)
list(TRANSFORM units PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/")
list(APPEND units ${cpp_sources})
list(TRANSFORM units REPLACE "(.+)" "#include \"\\1\"\n" OUTPUT_VARIABLE includes)
list(JOIN includes "" includes)
set(out "${CMAKE_CURRENT_BINARY_DIR}/crosscheck")
set(unit "${out}/codec.cpp")
file(CONFIGURE OUTPUT "${unit}" CONTENT "${includes}")

function(codec_build name compiler level)
    set(object "${out}/${name}.o")
    add_custom_command(OUTPUT "${object}"
        COMMAND ${CMAKE_CXX_COMPILER_LAUNCHER} "${compiler}" -std=c++20 -g0 -fPIC ${level} -Wall -Wextra -Wconversion
                -Werror -DDIAG_ARA_ACCEPT_ASSUMED_LAYOUTS -I "${PROJECT_SOURCE_DIR}" -I "${CODEC_GENERATED_DIR}"
                -c "${unit}" -o "${object}"
        DEPENDS "${unit}" ${units} ${cpp_headers} "${CMAKE_CURRENT_SOURCE_DIR}/Primitives.h"
                "${CMAKE_CURRENT_SOURCE_DIR}/TextForm.h" "${CMAKE_CURRENT_SOURCE_DIR}/MessageFrame.h"
                "${CMAKE_CURRENT_SOURCE_DIR}/Assumed.h"
        COMMENT "Building the codec as ${name}" VERBATIM)
    # The objects alone, not the libraries: those would bring the codec along that everybody else uses.
    add_executable(codec_outcomes_${name} "${object}" $<TARGET_OBJECTS:codec_outcomes_objects> $<TARGET_OBJECTS:codec_describe>)
endfunction()

codec_build(house_O0 "${CMAKE_CXX_COMPILER}" -O0)
codec_build(house_O2 "${CMAKE_CXX_COMPILER}" -O2)
set(programs codec_outcomes_house_O0 codec_outcomes_house_O2)
if(OTHER_COMPILER)
    codec_build(other_O0 "${OTHER_COMPILER}" -O0)
    codec_build(other_O2 "${OTHER_COMPILER}" -O2)
    list(APPEND programs codec_outcomes_other_O0 codec_outcomes_other_O2)
endif()
list(TRANSFORM programs REPLACE "(.+)" "$<TARGET_FILE:\\1>" OUTPUT_VARIABLE files)
add_test(NAME codec.compilers
    COMMAND "${Python3_EXECUTABLE}" -B "${CMAKE_CURRENT_SOURCE_DIR}/crosscheck/compilers_test.py" ${files})
set_tests_properties(codec.compilers PROPERTIES LABELS codec TIMEOUT 300)
