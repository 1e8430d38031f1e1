/*
 * Copyright (C) 2026 The plim-modem developers
 */

// HOST ONLY: control of the simulated modem library, for tests and the host daemon.
//
// The simulated library implements <modem_api.h> like a modem, with threads and state of its own:
//
//  - Threads. An event thread delivers every event. Asynchronous calls are processed one at a
//    time in due order, so the modem's state changes in the order of the requests, and answered
//    alternately on two reply threads (by message id parity): replies of different requests may
//    run concurrently and arrive out of order. No callback ever runs on a caller's thread, and no
//    library lock is held while one runs, so a callback may call back into the library (the
//    daemon binds subscriptions from there). The threads start with modem_api_init_pre().
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
//    MODEM_API_INVALID_ARGUMENT), the bound subscriptions, and the vendor-specific (VS, 228)
//    service's NV items, EFS files and directories, properties and switches (see State), and
//    the configuration (PDC, 36) service's configurations.
//  - PDC configurations. modem_pdc_load_configuration() takes a configuration in chunks sent in
//    order, each announcing the total; when the bytes reach the total the configuration is
//    stored under its id (replacing one of that id). One is selected, then activated, by
//    configuration type; modem_pdc_delete_all_mbns() drops every configuration, load, selection
//    and activation. The two PDC queries return 0 and are answered later by an event on the
//    event thread (17 for the active configuration, 18 for one configuration's details), queued
//    with the connection events as the call is made, so answers arrive in call order.
//  - Persistence. When the environment variable PLIM_MODEM_STATE_DIR names a directory as the
//    library is first used, the modem's state (see State; not the bound subscriptions nor loads
//    under way) is read from it then and saved there after every change, atomically, so that a
//    daemon that restarts finds the modem as it left it, as with a real modem. reset() goes back
//    to power-on, and so does the saved state at the next change.
//  - Control channel. When the environment variable PLIM_MODEM_SIM_CONTROL names a socket path
//    as the library is first used, the library listens there (a Unix-domain stream socket, mode
//    0600, replacing a socket left by an earlier process, removed at exit) on a thread of its own,
//    so that a running daemon's modem can be steered from outside (plim-modem-cli's `sim`
//    subcommands). Only processes of the library's own user are served; others are logged on
//    stderr and disconnected. A client sends lines of text (at most 1024 bytes, words separated
//    by spaces, numbers in decimal), as many as it likes; each gets one reply line, "ok" (for
//    state, followed by the summary) or "error: <why>" with nothing changed. An overlong line
//    also ends the connection. The commands call this header's functions:
//      restart <ms>                              restartModem
//      service <id 1..255> up|down               setServiceAvailable
//      fail <function> <count> <result> [skip]   failNextCalls (count 0 cancels)
//      latency <function|*> <microseconds>       setLatency (* = every function)
//      connect-delay <ms>                        setConnectDelay
//      clear-calls                               clearCalls (up to 4096 calls on the heap)
//      state       "ok operatingMode=0 nrNetworkMode=0 vonrMode=0 nv=0 efs=0 efsDirs=2
//                  properties=0 pdcConfigs=0 reboots=0" from state(); nv..pdcConfigs count
//                  the entries State holds
//      memory      "ok heap=<bytes> arena=<bytes> mmapped=<bytes> free=<bytes>" from glibc's
//                  mallinfo2() in this process: heap is in use (uordblks + hblkhd), arena the
//                  main arena's size, mmapped the blocks mapped apart, free what the arena
//                  holds unused. Only the main arena is seen: run with MALLOC_ARENA_MAX=1 for the
//                  whole process
//      help        "ok " and the commands' synopses, "|"-separated
//    Milliseconds go up to an hour, microseconds to a minute; a function is a C name (modem_...).
//  - modem_subsystem_reboot() returns 0, then behaves like restartModem() with the reboot
//    downtime: every service drops at once and comes back after it.
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
//    while the request was pending, the reply says MODEM_API_SERVICE_NOT_READY and the request
//    changes nothing.
//  - VS NV items and EFS files: a write stores 1 to 512 (NV) or 10240 (EFS) bytes, other lengths
//    are MODEM_API_INVALID_ARGUMENT; an NV write stores index 0, so reading another index finds
//    only what editState() planted. Reading or deleting what is not there, or deleting an EFS
//    directory that is not there (1 and 2 exist at power-on), is MODEM_API_INVALID_ARGUMENT. A
//    read whose buffer is too small is MODEM_API_NO_MEMORY: the buffer is left alone and *len
//    says the length needed.
//  - VS texts in fixed-size buffers (property keys: 52 bytes, MBN names: 64) are read up to the
//    buffer's end and no further. One that is empty or fills its buffer without a terminator is
//    MODEM_API_INVALID_ARGUMENT at the call, as is a property record with key_len outside 1..51
//    or value_len over 511. The record stores key_len key bytes and value_len value bytes as
//    given. Getting a missing property is answered with MODEM_API_INVALID_ARGUMENT; deleting one
//    fails with it.
//  - VS replies whose payload holds a text longer than the payload allows (only editState() can
//    make one) cut it to fit: build texts to 536 bytes, property values to 539 and terminator.
//  - PDC configuration ids are texts in buffers of 124 bytes, read like the VS texts: empty or
//    unterminated is MODEM_API_INVALID_ARGUMENT at the call. So is a load chunk that is null or
//    empty, a total of 0, or a chunk longer than its total. A chunk whose total differs from the
//    load under way for its id, or that would take the bytes past the total, fails with
//    MODEM_API_INVALID_ARGUMENT and abandons that load: the configuration is corrupt.
//    Selecting an id that is not stored, activating a type with nothing selected and
//    deactivating a type with nothing active fail with MODEM_API_INVALID_ARGUMENT.
//  - PDC answers are well-formed records of their full size, token_valid 1 and the call's
//    token. Event 17: result 0, info the active configuration's id of that type without
//    terminator, info_len its length (0 when none is active). Event 18 for the id given as len
//    bytes (null or empty is MODEM_API_INVALID_ARGUMENT at the call, with no event): result 0
//    and info "size=<bytes>;state=<stored|selected|active>" (active for any type before selected
//    for any type), or for an unknown id result MODEM_API_INVALID_ARGUMENT and info_len 0. An
//    id planted longer than info (only editState() can make one) is cut to fit. A query refused
//    at the call (a planned fault, arguments, service) is never answered; an answer whose event
//    is not subscribed is dropped.
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
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <modem_api.h>

namespace modemsim {

/** The environment variable naming the directory the modem's state is kept in. */
inline constexpr const char* kStateDirVariable = "PLIM_MODEM_STATE_DIR";
/** The environment variable naming the control channel's socket (see the top of this file). */
inline constexpr const char* kControlSocketVariable = "PLIM_MODEM_SIM_CONTROL";

/** One call of the library's C API, as it was received. */
struct Call {
    std::string function;  // e.g. "modem_set_operating_mode"
    // The arguments in declaration order, ", "-separated, decimal; output pointers are left out,
    // a callback or user data is shown as "cb" or "null". e.g. "2, 0" for
    // modem_api_init_qmi_connection(2, 0); "1, 3" for deleting profile {technology 1, index 3}.
    // A buffer the library reads is shown as its length; an in/out length as the value passed in;
    // a key or name as its text between double quotes, unescaped, as far as its buffer allows; a
    // property record as key, key_len, value, value_len; a null pointer as "null". e.g.
    //   modem_read_nv_for_subid(0, 550, 0, buf, &len) with len 512   "0, 550, 0, 512"
    //   modem_write_efs_for_subid(1, 7, data, 100)                    "1, 7, 100"
    //   modem_api_get_modem_property("persist.x", &ud, cb)            "\"persist.x\", cb, cb"
    //   modem_api_set_modem_property(&record, nullptr, cb)  "\"persist.x\", 9, \"on\", 2, null, cb"
    std::string args;

    /** "function(args)" */
    std::string text() const { return function + "(" + args + ")"; }
};

/** A configuration being loaded: the total its chunks announced and the bytes so far. */
struct PdcLoad {
    uint32_t total = 0;
    std::vector<uint8_t> bytes;
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

    // The vendor-specific service. NV items by (subscription, id, index), EFS files by
    // (subscription, id).
    std::map<std::tuple<uint8_t, int32_t, uint8_t>, std::vector<uint8_t>> nvItems;
    std::map<std::pair<uint8_t, int32_t>, std::vector<uint8_t>> efsFiles;
    std::set<int32_t> efsDirs;
    std::map<std::string, std::string> properties;
    std::string buildTime;
    std::string buildId;
    int simlockFuseState = 0;
    int qstMode = 0;
    bool screenOn = true;
    bool radioInfoReportEnabled = false;
    bool ratMaskRemoved = false;
    bool powerSaveSwitch = false;  // modem_api_{get,set}_power_save_mode
    uint8_t powerSaveMode = 0;     // modem_api_set_power_save_status
    std::string activeMbn;
    int qcnRestores = 0;
    int rrcAborts = 0;
    int reboots = 0;

    // The configuration (PDC) service: complete configurations by id, loads under way by id, and
    // the selected and the active configuration by configuration type.
    std::map<std::string, std::vector<uint8_t>> pdcConfigs;
    std::map<std::string, PdcLoad> pdcLoads;
    std::map<int, std::string> pdcSelected;
    std::map<int, std::string> pdcActive;
};

/**
 * How an asynchronous reply reaches the daemon instead of as the modem made it: a misbehaving
 * library, for tests of the daemon's checks. Unset fields keep the modem's own.
 */
struct ReplyTamper {
    std::optional<uint32_t> result;  // the record's result word and the callback's argument
    // The payload from offset 8, zero-padded or cut to MODEM_API_ASYNC_PAYLOAD_SIZE.
    std::optional<std::vector<uint8_t>> payload;
    // The length passed; beyond 548 bytes the record is extended with zero bytes.
    std::optional<size_t> length;
    bool nullRecord = false;  // a null record, with the length as above
};

/**
 * How a PDC answer (event 17 or 18) reaches the daemon instead of as the modem made it. Unset
 * fields keep the modem's own.
 */
struct EventTamper {
    std::optional<int32_t> result;
    std::optional<uint8_t> tokenValid;
    std::optional<uint32_t> token;
    std::optional<uint32_t> infoLen;  // the count word, whatever the info area holds
    std::optional<size_t> length;     // the length passed; beyond the record, zero bytes follow
};

class Control {
  public:
    Control() = delete;

    /**
     * Back to power-on: library not started, no event callback, no subscriptions, no services
     * requested, every service available, connect delay 100 ms, default state (two IMS profiles,
     * EFS directories 1 and 2, a build time and id, nothing else of VS, no PDC configurations),
     * reboot downtime 200 ms, no faults, no tampers, no latency, nothing recorded. Waits for the
     * library's threads to stop first.
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
    /**
     * Changes the modem's state in place (plants an NV item, a build id, ...). `edit` runs under
     * the library's lock: it must not call into the library.
     */
    static void editState(const std::function<void(State&)>& edit);
    static void setImsProfiles(const std::vector<modem_qdp_profile_id>& profiles);

    /**
     * After `skip` accepted calls of the asynchronous `function` have been answered as the
     * modem makes it, the next `count` replies are delivered with `tamper` applied. Which reply
     * is tampered is decided as the call is accepted, in call order. The modem's state changes
     * as for an untampered reply. A count of 0 or less cancels the plan.
     */
    static void tamperNextReplies(const std::string& function, int count, const ReplyTamper& tamper,
                                  int skip = 0);
    /**
     * After `skip` answers of `event` (17 or 18) as the modem made them, the next `count` are
     * delivered with `tamper` applied; decided in call order. An answer dropped for want of a
     * subscription counts too; a refused call makes none. The state changes as untampered.
     * count <= 0 cancels.
     */
    static void tamperNextEvents(modem_api_event_type event, int count, const EventTamper& tamper,
                                 int skip = 0);
    /** How long modem_subsystem_reboot() keeps every service down; 200 ms from power-on. */
    static void setRebootDowntime(std::chrono::milliseconds downtime);
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
