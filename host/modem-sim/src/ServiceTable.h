/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The QMI services as the modem and the library see them: which are requested (and in which
// order), which the modem offers, which are connected, and whether the modem is down for a
// restart. Each change of a connection is noted as a transition, in the order it happened, for
// the caller to turn into events.
//
// Threads: none of its own; the modem's lock guards it. Times come from the caller.

#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace modemsim {

class ServiceTable {
  public:
    using Clock = std::chrono::steady_clock;

    struct Transition {
        int32_t serviceId;
        bool connected;
    };

    /** False if the service was requested already (nothing changes then). */
    bool request(int32_t serviceId, Clock::time_point now);
    /** False if the service was not requested. Disconnects it. */
    bool release(int32_t serviceId);
    /** Every service is available until told otherwise. Unavailable disconnects. */
    void setAvailable(int32_t serviceId, bool available, Clock::time_point now);
    /** Disconnects everything; nothing is available again before `backAt`. */
    void restart(Clock::time_point backAt);

    bool isConnected(int32_t serviceId) const;
    /** When a restart ends; in the past when the modem is up. */
    Clock::time_point downUntil() const { return mDownUntil; }

    /**
     * Connects, in request order, every requested and available service whose `delay` has
     * passed by `now` since it became so (and since the modem came back). Returns when the next
     * one falls due, if any is waiting.
     */
    std::optional<Clock::time_point> connectDue(Clock::time_point now, Clock::duration delay);

    /** The transitions since the last call, oldest first. */
    std::vector<Transition> takeTransitions();

  private:
    struct Service {
        bool requested = false;
        bool available = true;
        bool connected = false;
        Clock::time_point requestedAt;
        Clock::time_point availableSince;
    };

    void disconnect(int32_t serviceId, Service& service);

    std::map<int32_t, Service> mServices;
    std::vector<int32_t> mRequestOrder;
    Clock::time_point mDownUntil;
    std::vector<Transition> mTransitions;
};

}  // namespace modemsim
