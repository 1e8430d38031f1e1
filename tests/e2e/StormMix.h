/*
 * Copyright (C) 2026 The plim-modem developers
 */

// What the storm client sends: a weighted mix of instance 0's requests, cheap reads mostly, each
// serial mapped to one of them so that sender and receiver agree without a table per serial.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Commands.h"

namespace com::vyr::plim::e2e {

/** One request of the mix, its arguments parsed once. */
struct StormRequest {
    const cli::Command* command;
    cli::Args args;
    std::string responseMethod;  // e.g. "respondGetBuildId"
};

class StormMix {
  public:
    /** Parses the mix's rows; aborts on a row the client's table rejects (a bug in the mix). */
    StormMix();

    /** The request that `serial` sends: the same for every caller. */
    const StormRequest& forSerial(int32_t serial) const;
    /** How many distinct requests the mix holds. */
    size_t kinds() const { return requests_.size(); }

  private:
    std::vector<StormRequest> requests_;
    std::vector<uint16_t> slots_;  // one request index per unit of weight
};

}  // namespace com::vyr::plim::e2e
