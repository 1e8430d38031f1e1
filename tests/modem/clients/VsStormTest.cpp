/*
 * Copyright (C) 2026 The plim-modem developers
 */

// A storm of vendor-specific requests from several client threads at once, synchronous and
// asynchronous mixed, answered on the looper and on two library reply threads, while the modem's
// services drop and come back at random: every serial is answered exactly once.

#include <gtest/gtest.h>
#include <modem_sim/ModemSimControl.h>

#include <atomic>
#include <chrono>
#include <map>
#include <random>
#include <sstream>
#include <thread>
#include <vector>

#include "ProxyRequestTest.h"

namespace com::vyr::plim::modem {
namespace {

using modemsim::Control;
using test::ProxyRequestTest;

constexpr int kSenders = 4;
constexpr int kRequestsPerSender = 5000;
constexpr int kRequests = kSenders * kRequestsPerSender;

using IModem = aidl::vendor::vyr::plim::modem::IModem;
using test::Bytes;

/** Request number `i` of the mix, with `serial`: synchronous and asynchronous ones alternate. */
void sendMixed(IModem& modem, int serial, int i) {
    const std::vector<uint8_t> key{'k', static_cast<uint8_t>('0' + i % 4)};
    using Send = void (*)(IModem&, int serial, int i, const std::vector<uint8_t>& key);
    static const Send kMix[] = {
            [](IModem& m, int s, int, auto&) { m.getBuildTime(s); },
            [](IModem& m, int s, int i, auto&) { m.writeNv(s, i % 8, 0, 0, {uint8_t(i)}); },
            [](IModem& m, int s, int i, auto&) { m.readNv(s, i % 8, 0, 0); },
            [](IModem& m, int s, int, auto& k) { m.setModemProperty(s, k, {'v'}); },
            [](IModem& m, int s, int, auto& k) { m.getModemProperty(s, k); },
            [](IModem& m, int s, int, auto& k) { m.deleteModemProperty(s, k); },
            [](IModem& m, int s, int, auto&) { m.get5gPowerSaveSwitch(s); },
            [](IModem& m, int s, int i, auto&) { m.setQstMode(s, i % 3); },
            [](IModem& m, int s, int, auto&) { m.getQstMode(s); },
            [](IModem& m, int s, int, auto&) { m.abortRrcConnection(s); },
            [](IModem& m, int s, int i, auto&) { m.activateMbnByName(s, Bytes(i % 70, 'n')); },
            [](IModem& m, int s, int i, auto&) { m.informScreenState(s, i % 2 == 0); },
    };
    kMix[i % 12](modem, serial, i, key);
}

class VsStormTest : public ProxyRequestTest {};

TEST_F(VsStormTest, MixedRequests_WhileServicesDropAndReturn_AreEachAnsweredOnce) {
    std::atomic<bool> sending{true};
    std::thread disruptor([&] {
        std::mt19937 random(20261123);
        while (sending.load()) {
            if (random() % 4 == 0) {
                Control::restartModem(std::chrono::milliseconds(random() % 3));
            } else {
                Control::setServiceAvailable(MODEM_API_SERVICE_VS, false);
                std::this_thread::sleep_for(std::chrono::microseconds(random() % 2000));
                Control::setServiceAvailable(MODEM_API_SERVICE_VS, true);
            }
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
        }
    });
    std::vector<std::thread> senders;
    for (int s = 0; s < kSenders; ++s) {
        senders.emplace_back([this, s] {
            client_.run([&] {
                for (int i = 0; i < kRequestsPerSender; ++i) {
                    sendMixed(*modem_, s * kRequestsPerSender + i, i);
                }
            });
        });
    }
    for (std::thread& sender : senders) {
        sender.join();
    }
    sending = false;
    disruptor.join();

    ASSERT_TRUE(client_.waitForCalls(kRequests, std::chrono::minutes(3)))
            << "requests were never answered";
    daemon_.waitForIdle();
    std::map<int32_t, int> answers;
    for (const test::RecordedCall& call : client_.takeCalls()) {
        ++answers[call.info.serial];
    }
    std::ostringstream wrong;
    for (int serial = 0; serial < kRequests; ++serial) {
        const int count = answers.count(serial) != 0 ? answers[serial] : 0;
        if (count != 1) {
            wrong << " serial " << serial << " x" << count;
        }
    }
    EXPECT_EQ("", wrong.str()) << "serials not answered exactly once";
    EXPECT_EQ(static_cast<size_t>(kRequests), answers.size()) << "answers to serials never sent";
}

}  // namespace
}  // namespace com::vyr::plim::modem
