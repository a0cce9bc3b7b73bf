#!/usr/bin/env bash
# A vehicle on the desk: a JVM with the sample VAL service that loads libdiag_ara.so, and a diagnostic
# tester in a process of its own that reads all fourteen data identifiers over SOME/IP on loopback.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/desk.sh

if [[ ${1:-} == --help || ${1:-} == -h ]]; then
    cat <<'USAGE'
usage: scripts/demo.sh

Installs what is missing, builds, starts the Java service and the tester, prints a row per data
identifier, and cleans up after itself. Exit code 0 when all fourteen were read.
Logs of a run that failed stay in build/demo/.
USAGE
    exit 0
fi
[[ $# -eq 0 ]] || { echo "demo: unknown argument '$1'; see scripts/demo.sh --help" >&2; exit 2; }

vm=
logs=build/demo/$$
cleanup() {
    local status=$?
    trap - EXIT INT TERM
    if [[ -n $vm ]] && kill -0 "$vm" 2>/dev/null; then
        kill "$vm" 2>/dev/null || true
        for _ in {1..50}; do kill -0 "$vm" 2>/dev/null || break; sleep 0.1; done
        kill -9 "$vm" 2>/dev/null || true
        wait "$vm" 2>/dev/null || true
    fi
    [[ $status -ne 0 ]] || rm -rf "$logs"
}
trap cleanup EXIT
trap 'cleanup; exit 130' INT
trap 'cleanup; exit 143' TERM

scripts/setup.sh
echo "demo: building (the first time takes a few minutes)" >&2
desk_build release diag_ara tester diag_ara_val_jar

build=build/release
mkdir -p "$logs"
export ARA_COM_ADDRESS ARA_LOG_TARGET=none
ARA_COM_ADDRESS=$(desk_address)

ARA_LOG_TARGET=file:$logs/vehicle.log \
    java -Djava.library.path="$build/lib" -cp "$build/java/diag-ara-val.jar" \
    zvif.vehicle.services.val.sample.SampleValService >"$logs/java.log" 2>&1 &
vm=$!
for _ in {1..300}; do
    grep -q '^VAL service is up' "$logs/java.log" && break
    kill -0 "$vm" 2>/dev/null || break
    sleep 0.1
done
if ! grep -q '^VAL service is up' "$logs/java.log"; then
    cat "$logs/java.log" >&2
    echo "demo: the Java service did not come up; its log is $logs/vehicle.log" >&2
    exit 1
fi

status=0
"$build/bin/tester" read all | tee "$logs/table.txt" || status=$?
read_count=$(grep -c '^0x[0-9A-F]\{4\} .* ok *$' "$logs/table.txt" || true)
echo "demo: $read_count/14 data identifiers"
[[ $status -eq 0 && $read_count -eq 14 ]]
