#!/usr/bin/env bash
# Builds the fuzzers with clang under AddressSanitizer + UndefinedBehaviorSanitizer (build/fuzz)
# and runs each for the given number of seconds (default 30), side by side, starting from a
# scratch copy of its seeds in fuzz/corpus/<target>/. Any crash, sanitizer report, leak or
# timeout fails the run; the input that caused it is kept in build/fuzz/findings/.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds="${1:-30}"
scripts/install-deps.sh

echo "== fuzz: build"
cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_COMPILER=clang++ \
    -DPLIM_SANITIZE=address,undefined -DPLIM_BUILD_FUZZ=ON -DPLIM_BUILD_TESTS=OFF \
    -DPLIM_BUILD_BENCH=OFF > /dev/null
ninja -C build/fuzz fuzzers

# Scratch corpora and the fuzzers' own files (TMPDIR) go on a tmpfs when there is one: the tree
# fuzzer makes and removes files for every input.
base=/tmp
[ -d /dev/shm ] && [ -w /dev/shm ] && base=/dev/shm
scratch="$(mktemp -d "${base}/plim-fuzz.XXXXXX")"
trap 'rm -rf "${scratch}"' EXIT
export TMPDIR="${scratch}/tmp"
mkdir -p "${TMPDIR}" build/fuzz/findings build/fuzz/logs

export ASAN_OPTIONS=detect_leaks=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1

names=()
pids=()
for fuzzer in build/fuzz/fuzz/*_fuzzer; do
    name="$(basename "${fuzzer}")"
    corpus="${scratch}/${name}"
    mkdir -p "${corpus}"
    if [ -d "fuzz/corpus/${name}" ]; then
        cp fuzz/corpus/"${name}"/* "${corpus}/"
    fi
    echo "== fuzz: ${name} for ${seconds}s"
    "${fuzzer}" -max_total_time="${seconds}" -timeout=10 -print_final_stats=1 \
        -artifact_prefix="build/fuzz/findings/${name}-" "${corpus}" \
        > "build/fuzz/logs/${name}.log" 2>&1 &
    names+=("${name}")
    pids+=("$!")
done

failed=0
for i in "${!pids[@]}"; do
    name="${names[$i]}"
    log="build/fuzz/logs/${name}.log"
    if wait "${pids[$i]}"; then
        echo "== fuzz: ${name}: $(grep -E '^#[0-9]+[[:space:]]+DONE' "${log}" | tail -n 1)"
    else
        failed=1
        echo "== fuzz: ${name} FAILED; the last lines of ${log}:"
        tail -n 60 "${log}"
    fi
done
[ "${failed}" -eq 0 ] || { echo "== fuzz: failures; inputs in build/fuzz/findings/"; exit 1; }
echo "== fuzz: all fuzzers passed"
