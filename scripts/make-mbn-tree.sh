#!/usr/bin/env bash
# Makes a small sample MBN tree for the host daemon under the directory given (created, and
# emptied first): a few configuration directories, each with a fake mcfg_sw.mbn of plain text,
# and some files that are not listed. Usage: scripts/make-mbn-tree.sh DIR
set -euo pipefail
root="${1:?usage: $0 DIR}"

rm -rf "${root}"
mbn() {  # mbn RELATIVE-DIR SIZE: a fake configuration file of SIZE bytes
    mkdir -p "${root}/$1"
    head -c "$2" < <(yes "plim sample configuration $1") > "${root}/$1/mcfg_sw.mbn"
}
mbn row/carrier-a 2500   # three chunks: 900, 900, 700
mbn row/carrier-b 900    # exactly one chunk
mbn lab/test-sim 1       # one byte
mkdir -p "${root}/lab/empty"
echo "not a configuration" > "${root}/row/README"
echo "${root}"
