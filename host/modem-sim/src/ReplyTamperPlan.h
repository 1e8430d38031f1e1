/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The asynchronous replies tests plan to deliver altered, by the C name of the call answered.
// The sibling of FaultPlan: that one refuses calls, this one spoils the answers of accepted ones.
//
// Threads: none of its own; the modem's lock guards it.

#pragma once

#include <map>
#include <optional>
#include <string>

#include <modem_sim/ModemSimControl.h>

namespace modemsim {

class ReplyTamperPlan {
  public:
    /** After `skip` replies of `function` pass, the next `count` get `tamper`. */
    void tamperNext(const std::string& function, int count, const ReplyTamper& tamper, int skip);
    /** For an accepted call of `function`: the tamper its reply gets, if any. */
    std::optional<ReplyTamper> take(const std::string& function);

  private:
    struct Entry {
        int skip = 0;
        int remaining = 0;
        ReplyTamper tamper;
    };

    std::map<std::string, Entry> mEntries;
};

}  // namespace modemsim
