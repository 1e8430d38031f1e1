/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "RequestStorm.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <vector>

#include "Response.h"

namespace com::vyr::plim::bench {

namespace {

using aidl::vendor::vyr::plim::modem::IModem;
using aidl::vendor::vyr::plim::modem::IModemResponse;

constexpr std::chrono::seconds kPatience(60);
// Planted by ready(), so that reads find data as they would on a device.
constexpr int32_t kNvItem = 550;

// Reads each answered from the daemon's own state or by one call of the modem library.
using Request = void (*)(IModem& modem, int32_t serial);
const Request kMix[] = {
        [](IModem& m, int32_t s) { m.getOperatingMode(s); },
        [](IModem& m, int32_t s) { m.getBuildId(s); },
        [](IModem& m, int32_t s) { m.readNv(s, kNvItem, 0, 0); },
        [](IModem& m, int32_t s) { m.getNrNetworkMode(s); },
        [](IModem& m, int32_t s) { m.getVonrMode(s); },
        [](IModem& m, int32_t s) { m.getBuildTime(s); },
        [](IModem& m, int32_t s) { m.getQstMode(s); },
        [](IModem& m, int32_t s) { m.get5gPowerSaveSwitch(s); },
};
constexpr uint32_t kKinds = sizeof(kMix) / sizeof(kMix[0]);

}  // namespace

RequestStorm::RequestStorm(std::shared_ptr<IModem> modem) : modem_(std::move(modem)) {}

std::shared_ptr<IModemResponse> RequestStorm::receiver() {
    return cli::makeResponseReceiver([this](cli::Reply reply) {
        if (reply.error != 0) {
            failed_.fetch_add(1, std::memory_order_relaxed);
        }
        answered_.fetch_add(1, std::memory_order_release);
    });
}

bool RequestStorm::ready() {
    sent_ = 0;
    answered_ = 0;
    failed_ = 0;
    modem_->writeNv(nextSerial_++, kNvItem, 0, 0, std::vector<uint8_t>(16, 0x5a));
    if (!waitForAnswers(1, std::chrono::steady_clock::now() + kPatience) || failed_ != 0) {
        return false;
    }
    const Outcome outcome = run(1, kKinds, [] { std::this_thread::yield(); });
    return outcome.complete && outcome.failed == 0;
}

bool RequestStorm::waitForAnswers(uint64_t count, std::chrono::steady_clock::time_point deadline) {
    while (answered_.load(std::memory_order_acquire) < count) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

void RequestStorm::send(uint32_t index) {
    kMix[index % kKinds](*modem_, nextSerial_ + static_cast<int32_t>(index));
    sent_.fetch_add(1, std::memory_order_relaxed);
}

RequestStorm::Outcome RequestStorm::run(uint32_t threads, uint32_t requests,
                                        const std::function<void()>& sample) {
    sent_ = 0;
    answered_ = 0;
    failed_ = 0;
    Outcome outcome;
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::thread> senders;
    for (uint32_t t = 0; t < threads; ++t) {
        senders.emplace_back([this, t, threads, requests] {
            for (uint32_t i = t; i < requests; i += threads) {
                send(i);
            }
        });
    }
    const auto deadline = start + kPatience;
    while (std::chrono::steady_clock::now() < deadline) {
        const uint64_t answered = answered_.load(std::memory_order_acquire);
        const uint64_t sent = sent_.load(std::memory_order_relaxed);
        outcome.peakInFlight =
                std::max(outcome.peakInFlight, sent > answered ? sent - answered : 0);
        if (answered >= requests) {
            outcome.complete = true;
            break;
        }
        sample();
    }
    outcome.seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    for (std::thread& sender : senders) {
        sender.join();
    }
    nextSerial_ += static_cast<int32_t>(requests);
    outcome.sent = sent_;
    outcome.answered = answered_;
    outcome.failed = failed_;
    return outcome;
}

}  // namespace com::vyr::plim::bench
