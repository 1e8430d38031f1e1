/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Everything the simulated modem and its library hold, from power-on: the library's start-up
// state, the connections, the modem's settings and what tests planned and recorded.
//
// Threads: none of its own; the modem's lock guards it as a whole.

#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <set>
#include <vector>

#include <modem_api.h>
#include <modem_sim/ModemSimControl.h>

#include "FaultPlan.h"
#include "ServiceTable.h"
#include "TamperPlan.h"

namespace modemsim {

struct Device {
    /** An answer the modem made as an event, for the event callback. */
    struct Answer {
        modem_api_event_type event;
        std::vector<uint8_t> data;
    };

    bool started = false;
    modem_api_event_cb callback = nullptr;
    std::set<modem_api_event_type> subscribed;
    // A modem takes a moment to bring a service up after it is asked for; tests that want no
    // wait set 0.
    std::chrono::milliseconds connectDelay{100};
    ServiceTable services;
    // How long modem_subsystem_reboot() keeps the services down: long enough that a daemon sees
    // the drop, short enough for tests.
    std::chrono::milliseconds rebootDowntime{200};
    State settings = powerOnSettings();
    // The most recent calls: a host daemon runs for days, and tests look at a few dozen.
    static constexpr size_t kRecordedCalls = 4096;
    std::deque<Call> calls;
    FaultPlan faults;
    ReplyTamperPlan tampers;
    EventTamperPlan eventTampers;
    // Answers a call made, queued for the event thread before the modem's lock is released, so
    // that they leave in the order of the calls.
    std::vector<Answer> answers;
    uint32_t lastMessageId = 0;

    bool isSubscribed(modem_api_event_type event) const { return subscribed.count(event) != 0; }

    static State powerOnSettings() {
        State state;
        state.imsProfiles = {{1, 1}, {1, 2}};
        state.buildTime = "2026-11-02 09:41:17";
        state.buildId = "PLIM.SIM.1.0-00042";
        // A couple of directories, so that deleting one works on a fresh modem.
        state.efsDirs = {1, 2};
        return state;
    }
};

}  // namespace modemsim
