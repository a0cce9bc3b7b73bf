# Sourced by the scripts that run a vehicle on the desk.

# An address of the loopback network for this run alone, so that any number of runs on one machine may
# overlap: process ids are unique, and so are the addresses made of them.
desk_address() {
    echo "127.$((64 + ($$ >> 16) % 64)).$(($$ >> 8 & 255)).$(($$ & 255))"
}

# Shows on a terminal how far a build has come; swallows the lines.
desk_progress() {
    local line
    while IFS= read -r line; do
        [[ -t 2 && $line == \[* ]] && printf '\r\033[K%s' "${line:0:78}" >&2
    done
    [[ ! -t 2 ]] || printf '\r\033[K' >&2
}

# desk_build PRESET TARGET...: configures once, builds, and prints the log only if something fails.
# The caller has pipefail set.
desk_build() {
    local preset=$1 log
    shift
    mkdir -p build
    log=build/$preset.log
    if ! { [[ -f build/$preset/build.ninja ]] || cmake --preset "$preset"; } >"$log" 2>&1 ||
        ! cmake --build --preset "$preset" --target "$@" 2>&1 | tee -a "$log" | desk_progress; then
        tail -n 40 "$log" >&2
        echo "the build failed; the whole log is $PWD/$log" >&2
        return 1
    fi
}
