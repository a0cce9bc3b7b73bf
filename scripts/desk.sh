# Sourced by the scripts that run a vehicle on the desk.

# An address of the loopback network for this run alone, so that any number of runs on one machine may
# overlap: process ids are unique, and so are the addresses made of them.
desk_address() {
    echo "127.$((64 + ($$ >> 16) % 128)).$((($$ >> 8) % 256)).$((1 + $$ % 254))"
}

# desk_build PRESET TARGET...: configures once, builds, and prints the log only if something fails.
desk_build() {
    local preset=$1 log
    shift
    mkdir -p build
    log=build/$preset.log
    if ! { [[ -f build/$preset/build.ninja ]] || cmake --preset "$preset"; } >"$log" 2>&1 ||
        ! cmake --build --preset "$preset" --target "$@" >>"$log" 2>&1; then
        tail -n 40 "$log" >&2
        echo "the build failed; the whole log is $PWD/$log" >&2
        return 1
    fi
}
