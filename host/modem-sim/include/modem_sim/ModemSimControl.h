/*
 * Copyright (C) 2026 The plim-modem developers
 */

// HOST ONLY: control of the simulated modem library, for tests and the host daemon.
//
// The simulated library implements <modem_api.h> like a modem, with threads and state of its own:
//
//  - Threads. An event thread delivers every event; a reply thread answers asynchronous calls.
//    Neither ever runs on a caller's thread, and no library lock is held while a callback runs,
//    so a callback may call back into the library (the daemon binds subscriptions from there).
//    Both threads start with modem_api_init_pre().
//  - Connections. modem_api_init_qmi_connection(id, 0) requests a service; it may be called
//    before modem_api_init_pre(). A requested service that is available on the modem side is
//    reported connected (event 0, data: the 4-byte id) once the library is started, the event
//    callback is set, event 0 is subscribed and the connect delay has passed since the service
//    became requested and available. When it becomes unavailable, or is released, it is reported
//    disconnected (event 1) at once if event 1 is subscribed. Services are reported in the order
//    they were requested. An event that is not subscribed is not delivered, but the connection
//    state changes all the same.
//  - Calls to a service that is not connected fail with MODEM_API_SERVICE_NOT_READY (8), as a
//    modem's would; modem_diag_pan_force_asdiv needs no service.
//  - State. What is set reads back: operating mode, NR network mode, VoNR mode, SAR state, ASDiv
//    mode, the IMS profile table (deleting a profile that is not in it fails with
//    MODEM_API_INVALID_ARGUMENT), the bound subscriptions.
//
// Where <modem_api.h> leaves a choice, the simulated library makes this one:
//  - The event callback and subscriptions may be set before modem_api_init_pre(). Repeating
//    modem_api_init_pre(), a subscription or a connection request succeeds and changes nothing.
//  - Connecting waits for event 0 to be subscribed; disconnecting does not wait for event 1.
//    The connection state changes when its event is queued, so the callback already sees it.
//  - A call is checked in this order: planned fault, arguments, service. Invalid arguments
//    (MODEM_API_INVALID_ARGUMENT): a null pointer, flags other than 0, a service id outside
//    1..255, releasing a service not requested, an event type <modem_api.h> does not name, a
//    subscription other than 0 or 1. Values that are set are not range-checked.
//  - modem_qdp_get_ims_profile writes the table's size to *count even when fewer entries fit.
//    setImsProfiles() keeps at most 255 entries, what that byte can count.
//  - An asynchronous reply passes the whole record, its size as len. If the service dropped
//    while the request was pending, the reply says MODEM_API_SERVICE_NOT_READY.
//  - A function's own latency adds to the one set for every function.
//  - restartModem() while the modem is down restarts it again: it comes back when the last
//    restart's downtime ends.
//  - Before modem_api_init_pre() nothing runs: injected events wait for it (waitForIdle()
//    returns false meanwhile). reset() drops queued events and unanswered requests.
//  - The library's state lives as long as the process: it is never destroyed and its threads
//    are never joined at exit, so the daemon's static destructors may still call in.
//
// Threads: every function may be called from any thread, except waitForIdle() and
// restartModem() from a library callback (they would wait for themselves; waitForIdle() then
// returns false at once), and reset() from a library callback (it aborts the process).

#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include <modem_api.h>

namespace modemsim {

/** One call of the library's C API, as it was received. */
struct Call {
    std::string function;  // e.g. "modem_set_operating_mode"
    // The arguments in declaration order, ", "-separated, decimal; output pointers are left out,
    // a callback or user data is shown as "cb" or "null". e.g. "2, 0" for
    // modem_api_init_qmi_connection(2, 0); "1, 3" for deleting profile {technology 1, index 3}.
    std::string args;

    /** "function(args)" */
    std::string text() const { return function + "(" + args + ")"; }
};

/** The simulated modem's state, as a snapshot. */
struct State {
    int operatingMode = 0;
    int nrNetworkMode = 0;
    int vonrMode = 0;
    int sarState = 0;
    int asdivMode = 0;
    std::vector<modem_qdp_profile_id> imsProfiles;
    int nasSubscription = -1;  // -1 until bound
    int wdsSubscription = -1;
    int vsSubscription = -1;
};

class Control {
  public:
    Control() = delete;

    /**
     * Back to power-on: library not started, no event callback, no subscriptions, no services
     * requested, every service available, connect delay 100 ms, default state (two IMS profiles),
     * no faults, no latency, nothing recorded. Waits for the library's threads to stop first.
     */
    static void reset();

    /** Makes a service available on the modem side (a requested one then connects) or not. */
    static void setServiceAvailable(int32_t serviceId, bool available);
    /** Every service drops (event 1) now and comes back after `downtime`. Returns at once. */
    static void restartModem(std::chrono::milliseconds downtime);
    /** How long a requested, available service takes to be reported connected. */
    static void setConnectDelay(std::chrono::milliseconds delay);

    /**
     * After `skip` calls of `function` (its C name) have passed, the next `count` fail with
     * `result`, which may be any value, negative ones too. A failing call changes no state; an
     * asynchronous one calls no callback. Calls are still recorded.
     */
    static void failNextCalls(const std::string& function, int count, modem_api_result_type result,
                              int skip = 0);
    /** Every later call of `function` (every function when empty) takes `latency` more. */
    static void setLatency(const std::string& function, std::chrono::microseconds latency);

    /**
     * Delivers `data` as event `event` on the event thread to the event callback, whether the
     * event is subscribed or not: a misbehaving library, for tests of the daemon's checks.
     * `nullData` passes a null pointer with data.size() as the length.
     */
    static void injectEvent(modem_api_event_type event, const std::vector<uint8_t>& data,
                            bool nullData = false);

    /** The calls made so far (the most recent 4096), in order. */
    static std::vector<Call> calls();
    /** calls() rendered with Call::text(), for whole-list comparisons. */
    static std::vector<std::string> callTexts();
    /** Calls of `function` so far. */
    static size_t countCalls(const std::string& function);
    static void clearCalls();

    static State state();
    static void setImsProfiles(const std::vector<modem_qdp_profile_id>& profiles);
    /** Whether the service is currently reported connected. */
    static bool isConnected(int32_t serviceId);

    /**
     * Waits until the library has nothing queued, scheduled (connect delays, restarts) or
     * running on its threads. Returns false if that did not happen within `timeout`.
     */
    static bool waitForIdle(std::chrono::milliseconds timeout = std::chrono::seconds(10));

    /** Whether the calling thread is one of the library's own. */
    static bool isLibraryThread();
};

}  // namespace modemsim
