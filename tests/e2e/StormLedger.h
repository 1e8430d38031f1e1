/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The storm client's book of its serials: which calls the daemon accepted and how often each
// serial was answered. Senders write to it from their threads, the response receiver from the
// binder thread; a sender waits on it for room in its window of unanswered requests.

#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <unordered_map>
#include <vector>

namespace com::vyr::plim::e2e {

class StormLedger {
  public:
    /**
     * Serials first .. first + lanes * perLane - 1 are ours; lane i sends the run starting at
     * first + i * perLane.
     */
    StormLedger(int32_t first, int lanes, int perLane);

    int32_t serialOf(int lane, int index) const { return first_ + lane * perLane_ + index; }

    /**
     * Before the call, so that an answer faster than the call's return finds it counted.
     * `method` is the answer's expected method; it must outlive the ledger.
     */
    void sending(int32_t serial, const std::string* method);
    /** The call's outcome: 0 when the daemon accepted it, else the binder status. */
    void sent(int32_t serial, int32_t status);
    /** An answer, ours or another client's (the daemon answers every client's requests to the
     *  one callback it holds), on `method` with `error`. */
    void answered(int32_t serial, const std::string& method, int32_t error);

    /**
     * Waits until the lane has fewer than `window` accepted requests unanswered. False if no
     * answer came to the lane for `stall`: an answer has gone missing, and waiting on is futile.
     */
    bool waitForRoom(int lane, int window, std::chrono::milliseconds stall);
    /** Waits up to `limit` for every accepted request to be answered; whether they all were. */
    bool waitForAll(std::chrono::milliseconds limit);

    /**
     * One line per serial of ours, "own SERIAL STATUS ANSWERS WRONG ERROR" (STATUS the call's, -1
     * if never sent; WRONG the answers on another method than the request's; ERROR the first
     * answer's, -1 if none), then "other SERIAL ANSWERS" for each serial of another client that
     * was answered here.
     */
    void write(std::ostream& out) const;

  private:
    struct Serial {
        std::atomic<int32_t> status{-1};
        std::atomic<uint32_t> answers{0};
        std::atomic<uint32_t> wrongMethod{0};
        std::atomic<const std::string*> method{nullptr};
        std::atomic<int32_t> error{-1};
    };
    struct Lane {
        std::mutex mutex;
        std::condition_variable answeredOne;
        // Under mutex: calls made, less those refused and those answered.
        int64_t unanswered = 0;
    };

    Serial* own(int32_t serial);
    Lane& laneOf(int32_t serial) {
        return *lanes_[static_cast<size_t>((serial - first_) / perLane_)];
    }

    const int32_t first_;
    const int perLane_;
    std::vector<Serial> serials_;
    std::vector<std::unique_ptr<Lane>> lanes_;
    mutable std::mutex othersMutex_;
    std::unordered_map<int32_t, uint32_t> others_;
};

}  // namespace com::vyr::plim::e2e
