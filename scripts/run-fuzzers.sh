#!/usr/bin/env bash
# Builds the fuzzers with clang under AddressSanitizer + UndefinedBehaviorSanitizer (build/fuzz)
# and runs each for the given number of seconds (default 30), starting from a scratch copy of its
# seeds in fuzz/corpus/<target>/. They run in PLIM_FUZZ_JOBS lanes side by side (default 2, one
# per core of the CI machine), one target after another in each lane, so that every target gets
# a whole core for its time: the run takes about ceil(targets / lanes) x seconds. Any crash,
# sanitizer report, leak or timeout fails the run; the input that caused it is kept in
# build/fuzz/findings/.
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

lanes="${PLIM_FUZZ_JOBS:-2}"
# By source, so that a binary left in build/fuzz by a target since removed is not run.
targets=()
for source in fuzz/*_fuzzer.cpp; do
    targets+=("build/fuzz/fuzz/$(basename "${source}" .cpp)")
done
status="${scratch}/status"
mkdir -p "${status}"

# Runs one target; its exit status goes to ${status}/<target>.
run_one() {
    local fuzzer="$1"
    local name
    name="$(basename "${fuzzer}")"
    local corpus="${scratch}/${name}"
    mkdir -p "${corpus}"
    if [ -d "fuzz/corpus/${name}" ]; then
        cp fuzz/corpus/"${name}"/* "${corpus}/"
    fi
    echo "== fuzz: ${name} for ${seconds}s"
    local rc=0
    "${fuzzer}" -max_total_time="${seconds}" -timeout=10 -print_final_stats=1 \
        -artifact_prefix="build/fuzz/findings/${name}-" "${corpus}" \
        > "build/fuzz/logs/${name}.log" 2>&1 || rc=$?
    echo "${rc}" > "${status}/${name}"
}

pids=()
for ((lane = 0; lane < lanes; ++lane)); do
    (
        for ((i = lane; i < ${#targets[@]}; i += lanes)); do
            run_one "${targets[$i]}"
        done
    ) &
    pids+=("$!")
done
wait "${pids[@]}"

failed=0
for fuzzer in "${targets[@]}"; do
    name="$(basename "${fuzzer}")"
    log="build/fuzz/logs/${name}.log"
    if [ "$(cat "${status}/${name}" 2>/dev/null)" = "0" ]; then
        echo "== fuzz: ${name}: $(grep -E '^#[0-9]+[[:space:]]+DONE' "${log}" | tail -n 1)"
    else
        failed=1
        echo "== fuzz: ${name} FAILED; the last lines of ${log}:"
        tail -n 60 "${log}"
    fi
done
[ "${failed}" -eq 0 ] || { echo "== fuzz: failures; inputs in build/fuzz/findings/"; exit 1; }
echo "== fuzz: all fuzzers passed"
