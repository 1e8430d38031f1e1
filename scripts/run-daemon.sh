#!/usr/bin/env bash
# Builds the daemon for the host and runs it as instance 0 (or the instance given: 0 or 1).
# Its log lines go to this terminal; stop it with Ctrl-C.
set -euo pipefail
cd "$(dirname "$0")/.."

instance="${1:-0}"
scripts/install-deps.sh
cmake -S . -B build/gcc -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo > /dev/null
ninja -C build/gcc plim-modem plim-modem-cli
# The host daemon's MBN tree: a fresh sample in place of the device's fixed root.
export PLIM_MBN_ROOT="$(scripts/make-mbn-tree.sh "${PWD}/build/gcc/mbn-sample/generic")"
echo "MBN tree: ${PLIM_MBN_ROOT}"
# The simulated modem keeps its state here across daemon restarts, as a real modem would.
export PLIM_MODEM_STATE_DIR="${PWD}/build/gcc/modem-state"
echo "modem state: ${PLIM_MODEM_STATE_DIR}"
# Binder between real processes: clients that use the same directory reach the daemon.
export PLIM_BINDER_SOCKET_DIR="${PLIM_BINDER_SOCKET_DIR:-/tmp/plim-modem-$(id -u)}"
# The simulated modem's control socket, for `plim-modem-cli sim`. The library opens it as it is
# first used, before the binder makes the directory, hence the mkdir.
export PLIM_MODEM_SIM_CONTROL="${PLIM_BINDER_SOCKET_DIR}/modem-sim-${instance}"
mkdir -p -m 0700 "${PLIM_BINDER_SOCKET_DIR}"
echo "binder sockets: ${PLIM_BINDER_SOCKET_DIR}; in another terminal: scripts/modem-cli.sh --help"
echo "starting plim-modem -i ${instance} (Ctrl-C stops it)"
exec build/gcc/service/plim-modem -i "${instance}"
