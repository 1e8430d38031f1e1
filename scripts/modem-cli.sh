#!/usr/bin/env bash
# Runs plim-modem-cli against the daemon that scripts/run-daemon.sh started (same binder socket
# directory), building it first if needed. Arguments go to the client: scripts/modem-cli.sh --help
set -euo pipefail
cd "$(dirname "$0")/.."

[ -x build/gcc/cli/plim-modem-cli ] || {
    cmake -S . -B build/gcc -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo > /dev/null
    ninja -C build/gcc plim-modem-cli > /dev/null
}
export PLIM_BINDER_SOCKET_DIR="${PLIM_BINDER_SOCKET_DIR:-/tmp/plim-modem-$(id -u)}"
# `sim` steers instance 0's simulated modem unless told otherwise.
export PLIM_MODEM_SIM_CONTROL="${PLIM_MODEM_SIM_CONTROL:-${PLIM_BINDER_SOCKET_DIR}/modem-sim-0}"
exec build/gcc/cli/plim-modem-cli "$@"
