#!/usr/bin/env bash
# Installs the Debian 12 packages that the host build and the tests need, if any is missing, and
# any further packages named as arguments (for example gcovr for the coverage report).
set -euo pipefail

packages=(
    cmake ninja-build g++ clang libclang-rt-14-dev
    googletest libgtest-dev libgmock-dev libbenchmark-dev libconcurrentqueue-dev
    android-liblog-dev android-libutils-dev aidl
    python3 blueprint-tools clang-format
    "$@"
)

missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" ||
        missing+=("$package")
done
if [ "${#missing[@]}" -gt 0 ]; then
    echo "installing: ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
