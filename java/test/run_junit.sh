#!/bin/sh
# Runs the tests in a JVM of their own:
#   run_junit.sh JAVA CONSOLE_JAR LIBRARY_FOLDER APP_JAR TEST_JAR REPORT_FOLDER [CONSOLE_OPTION]...
# JVM_PRELOAD is preloaded into that JVM alone (a sanitizer's runtime); CODEC_OUTCOMES is what codec_outcomes wrote.
set -eu
java=$1 console=$2 libraries=$3 app=$4 tests=$5 reports=$6
shift 6

# An address of this run's own; the three behind it are for the JVMs that the tests start.
ARA_COM_ADDRESS=127.$((128 + ($$ >> 14 & 63))).$(($$ >> 6 & 255)).$((($$ & 63) * 4))
rm -rf "$reports"
mkdir -p "$reports"
export ARA_COM_ADDRESS ARA_LOG_TARGET="file:$reports/ara.log"

# A fixed set of JVM threads and a heap that is there from the start: what then grows is a leak of the library.
exec env ${JVM_PRELOAD:+LD_PRELOAD="$JVM_PRELOAD"} "$java" -Xcheck:jni \
    -XX:+UseSerialGC -XX:-UseDynamicNumberOfCompilerThreads -Xms64m -Xmx64m -XX:+AlwaysPreTouch \
    -Djava.library.path="$libraries" -Dcodec.vectors="$(dirname "$0")/../../codec/vectors" \
    -Dcodec.agreed="$(dirname "$0")/../../codec/catalogue/agreed.txt" -Dcodec.outcomes="$CODEC_OUTCOMES" -jar "$console" \
    -cp "$app:$tests" --scan-classpath "$tests" --disable-banner --disable-ansi-colors --details=tree \
    --config junit.jupiter.execution.timeout.default=90s \
    --config junit.jupiter.execution.timeout.thread.mode.default=separate_thread \
    --fail-if-no-tests --reports-dir "$reports" "$@"
