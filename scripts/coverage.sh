#!/usr/bin/env bash
# Builds the host tree with GCC coverage instrumentation (build/coverage), runs the whole test
# suite, and prints the line and branch coverage of the daemon's own code: service/, framework/,
# binder/ and modem/ (not the host stand-ins, the CLI, tests or generated code). The HTML report
# goes to build/coverage/html/index.html.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh gcovr
build=build/coverage

echo "== coverage: build"
cmake -S . -B "${build}" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DPLIM_BUILD_BENCH=OFF \
    -DCMAKE_CXX_FLAGS=--coverage -DCMAKE_EXE_LINKER_FLAGS=--coverage \
    -DCMAKE_SHARED_LINKER_FLAGS=--coverage > /dev/null
ninja -C "${build}"

echo "== coverage: test"
# Counts from an earlier run would inflate this one.
find "${build}" -name '*.gcda' -delete
(cd "${build}" && ctest -j "$(nproc)" --output-on-failure --timeout 300)

echo "== coverage: report"
mkdir -p "${build}/html"
# Branches the compiler adds on its own (exception paths, unreachable code) are left out, so that
# the branch figure counts decisions in our code.
gcovr --root . --object-directory "${build}" \
    --filter "$PWD/service/" --filter "$PWD/framework/" --filter "$PWD/binder/" \
    --filter "$PWD/modem/" --exclude-throw-branches --exclude-unreachable-branches \
    --exclude-directories "${build}/CMakeFiles" \
    --html-details "${build}/html/index.html" --txt "${build}/coverage.txt" --print-summary
echo "== coverage: files by line coverage in ${build}/coverage.txt, report in ${build}/html/index.html"
