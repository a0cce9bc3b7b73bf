#!/usr/bin/env bash
# A vehicle on the desk: a JVM with the sample VAL service that loads libdiag_ara.so, and around it, in processes of
# their own that speak SOME/IP on loopback, a diagnostic tester, an event manager and the data service.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/desk.sh

late_vehicle=
doip=
catalogue=
build=
while [[ $# -gt 0 ]]; do
    case $1 in
        --late-vehicle) late_vehicle=yes ;;
        --doip) doip=yes ;;
        --catalogue) catalogue=yes ;;
        --build)
            [[ -x ${2:-}/bin/tester ]] || {
                echo "demo: --build needs the folder of a finished build, such as build/dev" >&2
                exit 2
            }
            build=$2
            shift
            ;;
        --help | -h)
            cat <<'USAGE'
usage: scripts/demo.sh [--late-vehicle] [--doip] [--build FOLDER]
       scripts/demo.sh --catalogue

Installs what is missing, builds, starts the Java service and everything around it, and shows

  1. the fourteen data identifiers: each is read
  2. the four routines: each is started, asked for its results, stopped and cancelled
  3. the three trouble codes: each is set, cleared, and repeated on demand
  4. the four adaptations: each is read by Java; one changes and Java is told; the data service goes and comes back

and cleans up after itself. Exit code 0 when all of it was seen; the last line of the output counts it.

  --late-vehicle    start the tester's read, the watch of the trouble codes and the data service first, the Java
                    service behind them
  --doip            start the DoIP gateway as well, and read a data identifier through it with scapy, a UDS tester of
                    another make
  --build FOLDER    take the programs of this build, such as build/dev; install and build nothing
  --catalogue       make the page of all messages, check it in a headless browser and print its path; needs no vehicle
                    and no build
  --help            print this

Logs of a run that failed stay in build/demo/.
USAGE
            exit 0
            ;;
        *)
            echo "demo: unknown argument '$1'; see scripts/demo.sh --help" >&2
            exit 2
            ;;
    esac
    shift
done

if [[ $catalogue ]]; then
    scripts/setup.sh python3 chromium chromium-driver
    page=$PWD/build/catalogue
    python3 -B tools/valgen --page "$page" codec/schema/*.val
    echo "demo: checking the page in a browser" >&2
    report=$(cd tools/valgen && python3 -B -m page.page_test "$page/index.html" Catalogue 2>&1) || {
        echo "$report" >&2
        exit 1
    }
    echo "$page/index.html"
    exit 0
fi

patience=60 # seconds that anything is waited for
logs=build/demo/$$

stop() { # PID...: asks them to end, and ends those that haven't within 5 s
    local pid end=$((SECONDS + 5))
    for pid in "$@"; do kill "$pid" 2>/dev/null || true; done
    for pid in "$@"; do
        while [[ $SECONDS -lt $end ]] && kill -0 "$pid" 2>/dev/null; do sleep 0.1; done
        kill -9 "$pid" 2>/dev/null || true
        wait "$pid" 2>/dev/null || true
    done
}

cleanup() {
    local status=$?
    trap - EXIT
    trap '' INT TERM
    # Of all that was started, as an interrupt may come right behind a start.
    stop $(jobs -p)
    if [[ $status -eq 0 ]]; then rm -rf "$logs"; fi
}
trap cleanup EXIT
# The shell takes an interrupt twice, for itself and for the program that it was waiting for: the second one must not end
# the cleaning up, and nor must an impatient user.
trap 'trap "" INT TERM; exit 130' INT
trap 'trap "" INT TERM; exit 143' TERM

give_up() { # TEXT [LOG]...: ends the demo
    local text=$1 log
    shift
    for log in "$@"; do tail -n 20 "$log" >&2; done
    echo "demo: $text; all logs are in $logs" >&2
    exit 1
}

count() { # PATTERN FILE: the lines of it that match
    grep -c -E "$1" "$2" 2>/dev/null || true
}

await() { # NUMBER PATTERN FILE: until so many lines match; false if that doesn't happen
    local end=$((SECONDS + patience))
    until [[ $(count "$2" "$3") -ge $1 ]]; do
        [[ $SECONDS -lt $end ]] || return 1
        sleep 0.05
    done
}

heading() {
    printf '\n== %s\n' "$*"
}

run_tester() { # ARGUMENT...: shows the command and what it says; keeps that in last.txt
    echo "\$ tester $*"
    "$build/bin/tester" "$@" | tee "$logs/last.txt" || true
}

rows_ok() { # the identifiers of the rows of last.txt that ended well
    sed -n 's/^\(0x[0-9A-F]\{4\}\) .* ok *$/\1/p' "$logs/last.txt"
}

type_to_java() { # COMMAND: a line for the Java service
    echo "java> $1"
    echo "$1" >&"$java_input"
}

# The lines that the Java service has printed since the last time.
java_shown=0
show_java() {
    local lines
    lines=$(wc -l <"$logs/java.log")
    sed -n "$((java_shown + 1)),${lines}p" "$logs/java.log" | sed 's/^/      /'
    java_shown=$lines
}

start_vehicle() {
    ARA_LOG_TARGET=file:$logs/vehicle.log \
        java -Djava.library.path="$build/lib" -cp "$build/java/diag-ara-val.jar" \
        zvif.vehicle.services.val.sample.SampleValService <"$logs/java.input" >"$logs/java.log" 2>&1 &
    vm=$!
    local end=$((SECONDS + patience))
    until grep -q '^VAL service is up' "$logs/java.log"; do
        kill -0 "$vm" 2>/dev/null && [[ $SECONDS -lt $end ]] ||
            give_up "the Java service did not come up" "$logs/java.log"
        sleep 0.05
    done
}

start_watch() {
    "$build/bin/tester" dtc watch >"$logs/watch.txt" 2>"$logs/watch.err" &
}

start_data_service() {
    "$build/bin/tester" data-service --values tools/tester/data_service/values.txt >"$logs/data.txt" 2>&1 &
    await 1 'offer' "$logs/data.txt" || give_up "the data service did not start" "$logs/data.txt"
}

show_data_identifiers() {
    heading "Data identifiers"
    if [[ $late_vehicle ]]; then
        echo "\$ tester --wait $patience read all        # nobody answers yet; then the Java service comes"
        "$build/bin/tester" --wait "$patience" read all >"$logs/last.txt" &
        local reader=$!
        sleep 1
        kill -0 "$reader" 2>/dev/null || give_up "the tester did not wait for the vehicle" "$logs/last.txt"
        start_vehicle
        wait "$reader" || true
        cat "$logs/last.txt"
    else
        run_tester read all
    fi
    identifiers=$(rows_ok | wc -l)
}

# Routine and the byte that it ends with, status and result, as the values that came with the service say. The last
# takes a minute: it is stopped.
declare -A ends_with=([0x0687]=31 [0x0688]=31 [0x0689]=32 [0x068A]=40)

show_routines() {
    local -A good
    local routine
    heading "Routines"
    for routine in "${!ends_with[@]}"; do good[$routine]=0; done
    run_tester routine start all
    for routine in $(rows_ok); do ((++good[$routine])); done
    for _ in {1..200}; do # the third takes 200 ms, the first 300
        [[ $("$build/bin/tester" --raw routine results 0x0687 0x0689 2>/dev/null | tr '\n' ' ') != "31 32 " ]] || break
        sleep 0.05
    done
    run_tester routine stop all
    for routine in $(rows_ok); do ((++good[$routine])); done
    run_tester routine results all
    for routine in $(rows_ok); do
        ! grep -q "^$routine .* ${ends_with[$routine]} .* ok *\$" "$logs/last.txt" || ((++good[$routine]))
    done
    run_tester routine cancel all
    for routine in $(rows_ok); do ((++good[$routine])); done
    routines=0
    for routine in "${!good[@]}"; do
        [[ ${good[$routine]} -ne 4 ]] || ((++routines))
    done
}

show_trouble_codes() {
    local code
    heading "Trouble codes"
    await 3 ' subscribed' "$logs/watch.txt" ||
        give_up "the watch did not find the trouble codes" "$logs/watch.txt" "$logs/watch.err"
    codes=0
    for code in 8495840 8495841 8495842; do
        type_to_java "dtc $code failed"
        await 1 "$code .* failed" "$logs/watch.txt" || continue
        type_to_java "dtc $code passed"
        await 1 "$code .* passed" "$logs/watch.txt" || continue
        echo "\$ tester dtc init $code"
        "$build/bin/tester" dtc init "$code" >"$logs/last.txt" || continue
        ! await 2 "$code .* passed" "$logs/watch.txt" || ((++codes))
    done
    echo "\$ tester dtc watch                      # ran beside it"
    cat "$logs/watch.txt"
}

# Adaptation and the value that it is shown with, as Java prints it.
declare -A value_of=([149]="00 00 00 2A" [255]="64 65 2D 44 45" [312]="01" [316]="0A 0B 0C 0D 0E 0F")

show_adaptations() {
    local -A good
    local id
    heading "Adaptations"
    await 1 'data service found' "$logs/java.log" || give_up "Java was not told of the data service" "$logs/data.txt"
    java_shown=$(wc -l <"$logs/java.log")
    grep 'data service found' "$logs/java.log" | sed 's/^/      /'
    type_to_java "adaptation all"
    for id in "${!value_of[@]}"; do
        good[$id]=no
        ! await 1 "adaptation $id: .* ${value_of[$id]} " "$logs/java.log" || good[$id]=read
    done
    show_java

    run_tester data-service set 2640 00 00 00 2B
    ! await 1 'adaptation 149: .* 00 00 00 2B ' "$logs/java.log" ||
        [[ $(count 'adaptation 149 changed' "$logs/java.log") -eq 0 ]] || changed=yes
    show_java

    run_tester data-service play service gone
    type_to_java "adaptation 149"
    ! await 1 'adaptation 149: no value' "$logs/java.log" || gone=yes
    show_java

    run_tester data-service play service back
    await 2 'data service found' "$logs/java.log" || give_up "Java was not told of the data service" "$logs/data.txt"
    value_of[149]="00 00 00 2B"
    type_to_java "adaptation-set all"
    for id in "${!value_of[@]}"; do
        ! await 1 "^ +$id: .* ${value_of[$id]}\$" "$logs/java.log" || [[ ${good[$id]} != read ]] || good[$id]=again
    done
    show_java

    adaptations=0
    for id in "${!good[@]}"; do
        [[ ${good[$id]} != again || ! ${changed:-} || ! ${gone:-} ]] || ((++adaptations))
    done
}

# One data identifier, asked for by a tester that knows nothing of this system but ISO 13400 and ISO 14229.
show_doip() {
    local address=$ARA_COM_ADDRESS identifier=B047 port expected
    heading "DoIP"
    echo "\$ tester doip --bind $address        # ran beside it"
    "$build/bin/tester" doip --bind "$address" --port 0 >"$logs/doip.txt" 2>&1 &
    gateway=$!
    await 1 ' listening by ' "$logs/doip.txt" || give_up "the gateway did not start" "$logs/doip.txt"
    port=$(sed -n "s/.* $address:\([0-9]*\) .* listening by .*/\1/p" "$logs/doip.txt")
    expected=$("$build/bin/tester" read --raw $identifier)
    cat >"$logs/doip.py" <<SCAPY
from scapy.contrib.automotive.doip import *
from scapy.contrib.automotive.uds import *
for _ in range(10):  # scapy takes all that has come for one frame, and may lose the response
    tester = UDS_DoIPSocket("$address", $port)
    response = tester.sr1(UDS() / UDS_RDBI(identifiers=[0x$identifier]), timeout=2, verbose=False)
    tester.close()
    if response is not None and response.service == 0x62: break
if response is None: raise SystemExit("scapy got no response from the gateway in 10 attempts")
print(bytes(response).hex())
SCAPY
    echo '>>> tester = UDS_DoIPSocket("'"$address"'", '"$port"')'
    echo ">>> bytes(tester.sr1(UDS() / UDS_RDBI(identifiers=[0x$identifier]))).hex()"
    XDG_CACHE_HOME=$logs /usr/bin/python3 "$logs/doip.py" 2>"$logs/doip.err" | tee "$logs/last.txt" ||
        tail -n 5 "$logs/doip.err" >&2
    stop "$gateway"
    sed 's/^/      /' "$logs/doip.txt"
    doips=0
    ! grep -qi "^62$identifier$expected\$" "$logs/last.txt" || doips=1
}

if [[ -z $build ]]; then
    scripts/setup.sh
    echo "demo: building (the first time takes a few minutes)" >&2
    desk_build release diag_ara tester diag_ara_val_jar
    build=build/release
fi
if [[ $doip ]] && ! missing=$(/usr/bin/python3 -c 'import scapy.contrib.automotive.doip' 2>&1); then
    echo "demo: --doip needs scapy at /usr/bin/python3: install Debian's python3-scapy, as scripts/setup.sh does" >&2
    echo "      (${missing##*$'\n'})" >&2
    exit 2
fi
mkdir -p "$logs"
mkfifo "$logs/java.input"
exec {java_input}<>"$logs/java.input"
export ARA_COM_ADDRESS ARA_LOG_TARGET=none
ARA_COM_ADDRESS=$(desk_address)

if [[ $late_vehicle ]]; then
    start_watch
    start_data_service
else
    start_vehicle
    start_watch
    start_data_service
fi
show_data_identifiers
show_routines
show_trouble_codes
show_adaptations
[[ ! $doip ]] || show_doip
echo
result="$identifiers/14 data identifiers, $routines/4 routines, $codes/3 trouble codes, $adaptations/4 adaptations"
all="14/14 data identifiers, 4/4 routines, 3/3 trouble codes, 4/4 adaptations"
if [[ $doip ]]; then
    result+=", $doips/1 by DoIP"
    all+=", 1/1 by DoIP"
fi
[[ $result == "$all" ]] || echo "demo: not all of it was seen; all logs are in $logs" >&2
echo "demo: $result"
[[ $result == "$all" ]]
