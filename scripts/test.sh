#!/usr/bin/env bash
# Passes every test: sets up, builds with and without sanitizers, runs CTest (JUnit is one of its tests),
# and ends with a line that counts.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/desk.sh

presets=(merged asan-ubsan tsan)
if [[ ${1:-} == --help || ${1:-} == -h ]]; then
    cat <<USAGE
usage: scripts/test.sh [PRESET]...

Installs what is missing, then builds and tests each preset (default: ${presets[*]}).
Reports stay in build/<preset>/Testing/. Exit code 0 when everything passed.
USAGE
    exit 0
fi
[[ $# -gt 0 ]] && presets=("$@")

scripts/setup.sh

passed=0
failed=0
for preset in "${presets[@]}"; do
    started=$SECONDS
    echo "test: building $preset"
    desk_build "$preset" all
    echo "test: running $preset (built in $((SECONDS - started)) s)"
    started=$SECONDS
    report=$PWD/build/$preset/ctest.xml
    rm -rf "$report" "build/$preset/gtest" "build/$preset/java/junit"
    # One test more than there are cores: many only wait.
    ctest --preset "$preset" -j "$(($(nproc) + 1))" --output-junit "$report" >"build/$preset.test.log" 2>&1 || true
    # An entry of CTest may hold many tests, which are counted from its own report.
    read -r good bad < <(python3 scripts/count_tests.py "$report" "build/$preset/gtest" "build/$preset/java/junit")
    [[ $bad -eq 0 ]] || tail -n 100 "build/$preset.test.log"
    echo "test: $preset: $good passed, $bad failed ($((SECONDS - started)) s)"
    passed=$((passed + good))
    failed=$((failed + bad))
done
echo "$passed passed, $failed failed"
[[ $failed -eq 0 && $passed -gt 0 ]]
