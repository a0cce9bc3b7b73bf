# Everything the build takes from the system; scripts/setup.sh installs it.
find_package(Threads REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(CLI11 REQUIRED)
find_package(automotive-dlt REQUIRED)
find_package(GTest REQUIRED)
include(GoogleTest)
find_package(Python3 REQUIRED COMPONENTS Interpreter)

find_path(ASIO_INCLUDE_DIR asio.hpp REQUIRED)
add_library(asio INTERFACE)
target_include_directories(asio SYSTEM INTERFACE "${ASIO_INCLUDE_DIR}")
# Left to itself, this Asio allocates with malloc in one unit and with new in another, by what was included before it,
# and frees across them.
target_compile_definitions(asio INTERFACE ASIO_STANDALONE ASIO_NO_DEPRECATED ASIO_DISABLE_STD_ALIGNED_ALLOC)
# The thread sanitizer knows no fences, and GCC refuses them there; Asio's locks order its handlers without.
if(DIAG_ARA_SANITIZE STREQUAL "thread")
    target_compile_definitions(asio INTERFACE ASIO_DISABLE_FENCED_BLOCK)
endif()
target_link_libraries(asio INTERFACE Threads::Threads)

# FindJNI guesses wrong where two JDKs stand side by side: the JDK is the one that javac belongs to.
find_program(JAVAC javac REQUIRED)
file(REAL_PATH "${JAVAC}" JAVAC_REAL)
cmake_path(GET JAVAC_REAL PARENT_PATH JDK_BIN)
cmake_path(GET JDK_BIN PARENT_PATH JDK_HOME)
set(JAVA_HOME "${JDK_HOME}")
set(ENV{JAVA_HOME} "${JDK_HOME}")
find_package(JNI REQUIRED COMPONENTS JVM)
find_package(Java 17 REQUIRED COMPONENTS Development)
include(UseJava)
set(JUNIT_CONSOLE "/usr/share/java/junit-platform-console-standalone.jar" CACHE FILEPATH "JUnit 5 console launcher")
