/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "StormMix.h"

#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <sstream>

namespace com::vyr::plim::e2e {

namespace {

struct Row {
    const char* line;  // the subcommand and its arguments, as on the CLI's command line
    int weight;
};

// Reads and idempotent settings mostly. A setting that changes the modem's state makes the
// simulated modem save it (an fsync under its lock), so changes of value are kept rare; the
// counters that grow with every call (QCN restores, RRC aborts) rarer still. Rows that fail in
// the modem (missing items, unknown configurations) stay in: an error is an answer too. The
// modem's reboot and loading MBN files are left out: the test restarts the modem itself, and a
// load reads files on the daemon's main thread.
const Row kRows[] = {
        {"get-operating-mode", 90},
        {"get-nr-network-mode", 80},
        {"get-vonr-mode", 50},
        {"get-build-id", 90},
        {"get-build-time", 70},
        {"get-qst-mode", 40},
        {"get-simlock-fuse-state", 40},
        {"get-5g-power-save-switch", 40},
        {"get-modem-property --key persist.storm", 40},
        {"read-nv --nv-id 550 --sub-id 0 --index 0", 50},
        {"read-efs --efs-id 40 --sub-id 0", 30},
        {"get-active-mbn-info --type 1", 40},
        {"get-meta-mbn-info --id MbnApp_/storm/none", 20},
        {"force-asdiv --mode 1", 30},
        {"set-sar-state --state 1", 30},
        {"inform-screen-state on", 20},
        {"set-radio-info-report-switch on", 20},
        {"set-nr-network-mode --mode 2", 10},
        {"set-vonr-mode --mode 1", 10},
        {"set-qst-mode --mode 3", 10},
        {"set-operating-mode --mode 0", 10},
        {"set-5g-power-save-switch on", 10},
        {"set-5g-power-save-mode --mode 2", 10},
        {"set-modem-property --key persist.storm --value on", 10},
        {"write-nv --nv-id 550 --sub-id 0 --index 0 --data 01", 10},
        {"write-efs --efs-id 40 --sub-id 0 --data 0102", 10},
        {"delete-modem-property --key persist.gone", 5},
        {"delete-efs-file --efs-id 41 --sub-id 0", 5},
        {"delete-efs-dir --efs-id 99", 5},
        {"delete-ims-profile", 5},
        {"remove-rat-mask", 5},
        {"select-mbn --type 1 --id MbnApp_/storm/none", 5},
        {"activate-mbn --type 1", 5},
        {"deactivate-mbn --type 1", 5},
        {"activate-mbn-by-name --name storm", 5},
        {"delete-all-mbns", 2},
        {"get-mbn-list", 2},
        {"restore-diff-qcn", 1},
        {"abort-rrc-connection", 1},
};

std::vector<std::string> words(const char* line) {
    std::istringstream in(line);
    return {std::istream_iterator<std::string>(in), std::istream_iterator<std::string>()};
}

}  // namespace

StormMix::StormMix() {
    for (const Row& row : kRows) {
        std::vector<std::string> tokens = words(row.line);
        const cli::Command* command = cli::findCommand(tokens[0]);
        tokens.erase(tokens.begin());
        StormRequest request{command, {}, {}};
        bool help = false;
        std::string why;
        if (command == nullptr || !cli::parseArgs(*command, tokens, &request.args, &help, &why)) {
            std::fprintf(stderr, "storm mix: bad row '%s': %s\n", row.line, why.c_str());
            std::abort();
        }
        request.responseMethod = cli::responseMethod(*command);
        slots_.insert(slots_.end(), static_cast<size_t>(row.weight),
                      static_cast<uint16_t>(requests_.size()));
        requests_.push_back(std::move(request));
    }
}

const StormRequest& StormMix::forSerial(int32_t serial) const {
    // Scrambled, so that neighbouring serials (one thread's run) differ in kind.
    const uint32_t mixed = static_cast<uint32_t>(serial) * 2654435761u;
    return requests_[slots_[(mixed >> 8) % slots_.size()]];
}

}  // namespace com::vyr::plim::e2e
