/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "StormLedger.h"

namespace com::vyr::plim::e2e {

StormLedger::StormLedger(int32_t first, int lanes, int perLane)
    : first_(first), perLane_(perLane), serials_(static_cast<size_t>(lanes) * perLane) {
    for (int i = 0; i < lanes; ++i) {
        lanes_.push_back(std::make_unique<Lane>());
    }
}

StormLedger::Serial* StormLedger::own(int32_t serial) {
    const int64_t index = static_cast<int64_t>(serial) - first_;
    return index >= 0 && index < static_cast<int64_t>(serials_.size())
                   ? &serials_[static_cast<size_t>(index)]
                   : nullptr;
}

void StormLedger::sending(int32_t serial, const std::string* method) {
    own(serial)->method.store(method, std::memory_order_release);
    Lane& lane = laneOf(serial);
    std::lock_guard<std::mutex> lock(lane.mutex);
    ++lane.unanswered;
}

void StormLedger::sent(int32_t serial, int32_t status) {
    Serial& entry = *own(serial);
    entry.status.store(status, std::memory_order_release);
    if (status != 0 && entry.answers.load() == 0) {
        // Refused: no answer will come to free its place in the window.
        Lane& lane = laneOf(serial);
        std::lock_guard<std::mutex> lock(lane.mutex);
        --lane.unanswered;
    }
}

void StormLedger::answered(int32_t serial, const std::string& method, int32_t error) {
    Serial* entry = own(serial);
    if (entry == nullptr) {
        std::lock_guard<std::mutex> lock(othersMutex_);
        ++others_[serial];
        return;
    }
    const std::string* expected = entry->method.load(std::memory_order_acquire);
    if (expected == nullptr || *expected != method) {
        ++entry->wrongMethod;
    }
    if (entry->answers.fetch_add(1) != 0) {
        return;  // a second answer: recorded, but it frees no place in the window
    }
    entry->error.store(error);
    Lane& lane = laneOf(serial);
    {
        std::lock_guard<std::mutex> lock(lane.mutex);
        --lane.unanswered;
    }
    lane.answeredOne.notify_all();
}

bool StormLedger::waitForRoom(int lane, int window, std::chrono::milliseconds stall) {
    Lane& l = *lanes_[static_cast<size_t>(lane)];
    std::unique_lock<std::mutex> lock(l.mutex);
    while (l.unanswered >= window) {
        const int64_t before = l.unanswered;
        // Any answer to the lane within `stall` keeps it waiting; none means one is lost.
        if (!l.answeredOne.wait_for(lock, stall, [&] { return l.unanswered < before; })) {
            return false;
        }
    }
    return true;
}

bool StormLedger::waitForAll(std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (const auto& lane : lanes_) {
        std::unique_lock<std::mutex> lock(lane->mutex);
        if (!lane->answeredOne.wait_until(lock, deadline, [&] { return lane->unanswered <= 0; })) {
            return false;
        }
    }
    return true;
}

void StormLedger::write(std::ostream& out) const {
    for (size_t i = 0; i < serials_.size(); ++i) {
        const Serial& entry = serials_[i];
        out << "own " << first_ + static_cast<int64_t>(i) << ' ' << entry.status.load() << ' '
            << entry.answers.load() << ' ' << entry.wrongMethod.load() << ' ' << entry.error.load()
            << '\n';
    }
    std::lock_guard<std::mutex> lock(othersMutex_);
    for (const auto& [serial, answers] : others_) {
        out << "other " << serial << ' ' << answers << '\n';
    }
}

}  // namespace com::vyr::plim::e2e
