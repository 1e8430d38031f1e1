#!/usr/bin/env bash
# Builds and runs every test: source checks, then the whole suite with GCC, then again with
# clang under AddressSanitizer + UndefinedBehaviorSanitizer, then the concurrency tests under
# ThreadSanitizer, then a short run of every fuzzer. Any failure or sanitizer report fails the run.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
jobs="$(nproc)"

echo "== source checks"
bpfmt -d Android.bp | tee /tmp/plim-bpfmt.diff
[ ! -s /tmp/plim-bpfmt.diff ] || { echo "Android.bp is not bpfmt-formatted"; exit 1; }
git ls-files '*.cpp' '*.h' | xargs clang-format --dry-run --Werror

run_suite() {
    local name="$1"; shift
    local label="$1"; shift
    echo "== ${name}: build"
    cmake -S . -B "build/${name}" -G Ninja "$@" > /dev/null
    ninja -C "build/${name}"
    echo "== ${name}: test"
    (cd "build/${name}" && ctest -j "${jobs}" --output-on-failure --timeout 300 ${label:+-L "$label"})
}

export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1:atexit_sleep_ms=0

run_suite gcc "" -DCMAKE_BUILD_TYPE=RelWithDebInfo
run_suite asan "" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_COMPILER=clang++ \
    -DPLIM_SANITIZE=address,undefined -DPLIM_BUILD_BENCH=OFF
run_suite tsan concurrency -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_COMPILER=clang++ \
    -DPLIM_SANITIZE=thread -DPLIM_BUILD_BENCH=OFF
scripts/run-fuzzers.sh 20
echo "== all suites passed"
