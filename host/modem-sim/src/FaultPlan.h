/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The faults and latencies tests plan for the library's functions, by C name.
//
// Threads: none of its own; the modem's lock guards it.

#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>

#include <modem_api.h>

namespace modemsim {

class FaultPlan {
  public:
    /** What one call of a function is to suffer. */
    struct Admission {
        std::optional<modem_api_result_type> fault;  // return this, change nothing
        std::chrono::microseconds latency{0};
    };

    /** After `skip` calls of `function` pass, the next `count` fail with `result`. */
    void failNext(const std::string& function, int count, modem_api_result_type result, int skip);
    /** An empty function name sets the latency every function takes on top of its own. */
    void setLatency(const std::string& function, std::chrono::microseconds latency);
    /** Uses up one planned failure of `function`, if any. */
    Admission admit(const std::string& function);

  private:
    struct Failure {
        int skip = 0;
        int remaining = 0;
        modem_api_result_type result = MODEM_API_SUCCESS;
    };

    std::map<std::string, Failure> mFailures;
    std::map<std::string, std::chrono::microseconds> mLatencies;
};

}  // namespace modemsim
