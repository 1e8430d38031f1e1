/*
 * Copyright (C) 2026 The plim-modem developers
 */

// One row per ModemResponse sender: how to call it, and what the client and the log must show.
// Every row with a result has two distinct non-trivial values (variant 0 and 1), so that a
// sender that sends a constant or a stale value is caught.

#pragma once

#include <array>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include <plim/Errno.h>

namespace com::vyr::plim::test {

struct ResponseRow {
    /** The method without its "respond" prefix, e.g. "ReadNv". */
    std::string name;
    /** Calls ModemResponse::respond<name>(serial, err[, value of variant]). */
    std::function<int(int serial, Errno err, size_t variant)> send;
    /** describeResult() of each variant's value; empty for methods without a result. */
    std::array<std::string, 2> result;
    /** What the first log line adds after "err = %d" for each variant. */
    std::array<std::string, 2> logSuffix;

    std::string method() const { return "respond" + name; }
    /** The sender's first log line. */
    std::string requestLine(int serial, int err, size_t variant) const {
        return method() + ": serial = " + std::to_string(serial) +
               ", err = " + std::to_string(err) + logSuffix[variant];
    }
};

// Names the row in test output instead of dumping its callables.
void PrintTo(const ResponseRow& row, std::ostream* os);

/** All 41 senders, in IModemResponse order. */
const std::vector<ResponseRow>& responseRows();

/** The row named `name`; fails the test and returns the first row if there is none. */
const ResponseRow& responseRow(const std::string& name);

}  // namespace com::vyr::plim::test
