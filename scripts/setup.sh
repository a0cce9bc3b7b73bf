#!/usr/bin/env bash
# Installs what is missing from Debian's packages, of all or of those that are named; touches nothing when all is there.
set -euo pipefail

packages=(
    g++ cmake ninja-build python3 git
    openjdk-17-jdk-headless junit5
    libasio-dev nlohmann-json3-dev libcli11-dev
    libdlt-dev dlt-daemon dlt-tools
    libgtest-dev libgmock-dev python3-scapy tshark
    clang-14 libclang-rt-14-dev clang-format-14 binutils iproute2
    chromium chromium-driver
)
[[ $# -eq 0 ]] || packages=("$@")

missing=()
for package in "${packages[@]}"; do
    [[ $(dpkg-query -W -f='${db:Status-Abbrev}' "$package" 2>/dev/null) == ii* ]] || missing+=("$package")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

as_root=()
if [[ $EUID -ne 0 ]]; then
    command -v sudo >/dev/null || {
        echo "setup: these Debian packages are missing, and neither root nor sudo is to be had: ${missing[*]}" >&2
        exit 1
    }
    as_root=(sudo)
fi

echo "setup: installing ${missing[*]}" >&2
log=$(mktemp)
trap 'rm -f "$log"' EXIT
apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 -q)
if ! { "${apt[@]}" update && "${apt[@]}" install -y --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
    tail -n 20 "$log" >&2
    echo "setup: apt-get failed; install by hand: ${missing[*]}" >&2
    exit 1
fi
