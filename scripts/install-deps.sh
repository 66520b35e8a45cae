#!/usr/bin/env bash
# Installs the Debian packages that building, testing, fuzzing and the
# benchmarks need, skipping what is already there.
set -euo pipefail

packages=(cmake ninja-build g++ make pkg-config libgtest-dev libgmock-dev libbenchmark-dev
          clang libclang-rt-14-dev libspdlog-dev nlohmann-json3-dev rapidjson-dev python3)
missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "installing: ${missing[*]}"
    sudo_cmd=""
    [ "$(id -u)" -eq 0 ] || sudo_cmd="sudo"
    export DEBIAN_FRONTEND=noninteractive
    $sudo_cmd apt-get update -qq
    $sudo_cmd apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
