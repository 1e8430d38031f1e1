/*
 * Copyright (C) 2026 The plim-modem developers
 */

// A storm client's output read back (see StormClient.cpp): its progress while it runs, and once
// it has ended, per serial of its own whether the call was accepted and how often it was answered.

#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace com::vyr::plim::e2e {

class StormReport {
  public:
    struct Own {
        int32_t serial;
        int32_t status;  // 0 accepted, -1 never sent, else the binder status of a refused call
        uint32_t answers;
        uint32_t wrongMethod;
        int32_t error;  // the first answer's, -1 if none
    };

    explicit StormReport(const std::string& out);

    /** The last "progress N": calls made so far. */
    int progress() const { return progress_; }
    /** The summary line, empty until the client finished. */
    const std::string& summary() const { return summary_; }
    const std::vector<Own>& own() const { return own_; }
    /** Serials of other clients answered to this one, with their answer counts. */
    const std::map<int32_t, uint32_t>& others() const { return others_; }

    /** Accepted serials answered other than once, as "serial xN", the first `limit` of them. */
    std::vector<std::string> answeredWrongly(size_t limit) const;
    size_t accepted() const;
    /** How many serials of ours were first answered with each error. */
    std::map<int32_t, size_t> errors() const;

  private:
    int progress_ = 0;
    std::string summary_;
    std::vector<Own> own_;
    std::map<int32_t, uint32_t> others_;
};

/** How often the daemon's log says it answered each serial ("] respondX: serial = N,"). */
std::map<int32_t, uint32_t> responsesLogged(const std::string& log);

}  // namespace com::vyr::plim::e2e
