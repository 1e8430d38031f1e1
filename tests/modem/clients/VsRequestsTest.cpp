/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The vendor-specific requests end to end, from a client process through a real proxy: what
// they pass to the modem at the buffers' ends, the byte-string limits at their boundaries, a
// refused start, a modem reboot, and a storm of them from several threads while the modem's
// services drop and come back: every serial is answered exactly once.

#include <gtest/gtest.h>
#include <modem_sim/ModemSimControl.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <iterator>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <plim/Log.h>

#include "ProxyRequestTest.h"

namespace com::vyr::plim::modem {
namespace {

using aidl::vendor::vyr::plim::modem::IModem;
using modemsim::Control;
using modemsim::State;
using test::Bytes;
using test::bytes;
using test::describeResult;
using test::pattern;
using test::ProxyRequestTest;
using test::response;

using VsRequestsTest = ProxyRequestTest;

// Whole buffers, and the subscription an item belongs to.
TEST_F(VsRequestsTest, NvAndEfs_OfWholeBuffer_ReachTheModemAndReadBackOnce) {
    const std::vector<std::pair<std::function<void(IModem&)>, std::string>> steps{
            {[](IModem& m) { m.writeNv(1, 550, 1, 0, pattern(512)); },
             response("respondWriteNv", 1, 0)},
            {[](IModem& m) { m.readNv(2, 550, 1, 0); },
             response("respondReadNv", 2, 0, describeResult(pattern(512)))},
            {[](IModem& m) { m.readNv(3, 550, 0, 0); },
             response("respondReadNv", 3, 1, describeResult(Bytes{}))},
            {[](IModem& m) { m.writeEfs(4, 40, 0, pattern(10240)); },
             response("respondWriteEfs", 4, 0)},
            {[](IModem& m) { m.readEfs(5, 40, 0); },
             response("respondReadEfs", 5, 0, describeResult(pattern(10240)))}};
    for (const auto& [request, answer] : steps) {
        EXPECT_EQ(answer, ask(request)) << "wrong answer, or the modem lost the step before";
    }
}

TEST_F(VsRequestsTest, RebootModem_WhenServicesComeBack_RebindsAndServesAgain) {
    Control::setRebootDowntime(std::chrono::milliseconds(20));
    EXPECT_EQ(response("respondRebootModem", 31, 0), ask([](IModem& m) { m.rebootModem(31); }));
    daemon_.waitForIdle();
    for (const char* bind : {"modem_api_bind_nas_subscription", "modem_api_bind_vs_subscription",
                             "modem_api_bind_wds_subscription"}) {
        EXPECT_EQ(1u, Control::countCalls(bind)) << bind << " not called again after the reboot";
    }
    EXPECT_EQ(response("respondGetQstMode", 32, 0, describeResult(0)),
              ask([](IModem& m) { m.getQstMode(32); }))
            << "a request after the reboot was not served";
}

TEST_F(VsRequestsTest, AsyncRequest_WhenLibraryRefusesTheStart_AnswersFailedAtOnce) {
    Control::failNextCalls("modem_api_active_mbn", 1, MODEM_API_BUSY);
    EXPECT_EQ(response("respondActivateMbnByName", 72, 1),
              ask([](IModem& m) { m.activateMbnByName(72, bytes("Commercial-A")); }));
    EXPECT_TRUE(log_.contains(Log::ERROR, "modem-qmi-vs",
                              "handleActivateMbnByNameMessage: failed to send async request"))
            << log_.dump();
    EXPECT_FALSE(logged("modem-qmi-vs", "modemApiAsyncCallback"))
            << "a refused request was answered a second time from a callback";
}

// ---- Limits -------------------------------------------------------------------------------------

struct LimitRow {
    const char* name;
    size_t limit;  // the shortest length refused
    std::function<void(IModem&, int serial, size_t length)> request;
    const char* call;  // the library function the request reaches when it is sent
    std::function<std::string(int serial, bool sent)> response;
};

class VsLimitTest : public VsRequestsTest, public ::testing::WithParamInterface<LimitRow> {};

TEST_P(VsLimitTest, Request_AtLimit_IsRefusedOneBelowIsSent) {
    const LimitRow& row = GetParam();
    // Keys of 51 bytes exist, so that a sent request succeeds.
    Control::editState([](State& s) { s.properties[std::string(51, 'k')] = "v"; });
    for (const size_t length : {row.limit - 1, row.limit}) {
        const bool sent = length < row.limit;
        const int serial = static_cast<int>(length);
        EXPECT_EQ(row.response(serial, sent),
                  ask([&](IModem& m) { row.request(m, serial, length); }))
                << "the limit is off by one or answered wrongly at length " << length;
        EXPECT_EQ(sent ? 1u : 0u, Control::countCalls(row.call))
                << (sent ? "a request within its limit did not reach the modem"
                         : "a request past its limit reached the modem");
        Control::clearCalls();
    }
}

/** The answer of a request without result: OK when sent, INVALID_ARGUMENT when refused. */
std::function<std::string(int, bool)> plain(const char* method) {
    return [=](int serial, bool sent) { return response(method, serial, sent ? 0 : 3); };
}

INSTANTIATE_TEST_SUITE_P(
        Vs, VsLimitTest,
        ::testing::Values(
                LimitRow{"MbnName", 64,
                         [](IModem& m, int s, size_t n) { m.activateMbnByName(s, Bytes(n, 'n')); },
                         "modem_api_active_mbn", plain("respondActivateMbnByName")},
                LimitRow{"GetKey", 52,
                         [](IModem& m, int s, size_t n) { m.getModemProperty(s, Bytes(n, 'k')); },
                         "modem_api_get_modem_property",
                         [](int serial, bool sent) {
                             return response("respondGetModemProperty", serial, sent ? 0 : 3,
                                             describeResult(sent ? bytes("v") : Bytes{}));
                         }},
                LimitRow{
                        "DeleteKey", 52,
                        [](IModem& m, int s, size_t n) { m.deleteModemProperty(s, Bytes(n, 'k')); },
                        "modem_api_delete_modem_property_sync",
                        plain("respondDeleteModemProperty")},
                LimitRow{"SetKey", 52,
                         [](IModem& m, int s, size_t n) {
                             m.setModemProperty(s, Bytes(n, 'k'), bytes("1"));
                         },
                         "modem_api_set_modem_property", plain("respondSetModemProperty")},
                LimitRow{"SetValue", 512,
                         [](IModem& m, int s, size_t n) {
                             m.setModemProperty(s, Bytes(10, 'k'), Bytes(n, 'v'));
                         },
                         "modem_api_set_modem_property", plain("respondSetModemProperty")}),
        [](const ::testing::TestParamInfo<LimitRow>& info) { return info.param.name; });

// ---- The storm ----------------------------------------------------------------------------------

/** Request number `i` of the mix, with `serial`: every kind but the reboot, synchronous and
 * asynchronous ones mixed. */
void sendMixed(IModem& modem, int serial, int i) {
    const Bytes key{'k', static_cast<uint8_t>('0' + i % 4)};
    using Send = void (*)(IModem&, int serial, int i, const Bytes& key);
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
            [](IModem& m, int s, int, auto&) { m.getBuildId(s); },
            [](IModem& m, int s, int i, auto&) { m.writeEfs(s, i % 8, 0, {uint8_t(i)}); },
            [](IModem& m, int s, int i, auto&) { m.set5gPowerSaveSwitch(s, i % 2 == 0); },
            [](IModem& m, int s, int i, auto&) { m.readEfs(s, i % 8, 0); },
            [](IModem& m, int s, int, auto&) { m.removeRatMask(s); },
            [](IModem& m, int s, int i, auto&) { m.deleteEfsFile(s, i % 8, 0); },
            [](IModem& m, int s, int i, auto&) { m.set5gPowerSaveMode(s, int8_t(i)); },
            [](IModem& m, int s, int i, auto&) { m.deleteEfsDir(s, i % 8); },
            [](IModem& m, int s, int i, auto&) { m.setRadioInfoReportSwitch(s, i % 2 == 0); },
            [](IModem& m, int s, int, auto&) { m.getSimlockFuseState(s); },
            [](IModem& m, int s, int, auto&) { m.restoreDiffQcn(s); },
    };
    kMix[i % std::size(kMix)](modem, serial, i, key);
}

using VsStormTest = ProxyRequestTest;

// Answered on the looper and on two library reply threads, while the modem restarts or its VS
// service drops and comes back at random.
TEST_F(VsStormTest, MixedRequests_WhileServicesDropAndReturn_AreEachAnsweredOnce) {
    constexpr int kSenders = 4;
    constexpr int kRequestsPerSender = 5000;
    constexpr int kRequests = kSenders * kRequestsPerSender;
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
