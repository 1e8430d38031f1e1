/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The request entry through a real proxy from a client process: every IModem method, when the
// client that owns it is missing, is answered at once, exactly once, on its own response method,
// with error 4 and its default result.

#include <android/binder_host.h>
#include <gtest/gtest.h>

#include <cctype>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <plim/Errno.h>
#include <plim/Log.h>

#include "AidlService.h"
#include "CallbackHolders.h"
#include "LogCapture.h"
#include "TestClient.h"

namespace com::vyr::plim::modem {
namespace {

using aidl::vendor::vyr::plim::modem::IModem;
using test::LogCapture;
using test::TestClient;

constexpr const char* TAG = "modem-impl";

std::string answer(const std::string& method, int serial, int error, const std::string& result) {
    return "client: " + method + " type=0 serial=" + std::to_string(serial) +
           " error=" + std::to_string(error) + (result.empty() ? "" : " result=" + result);
}

const std::string kEmptyText = test::describeResult(std::string());
const std::string kEmptyBytes = test::describeResult(std::vector<uint8_t>());
const std::vector<uint8_t> kFour{1, 2, 3, 4};

constexpr int kSerial = -41;  // negative, so that a sign lost on the way shows

struct EntryRow {
    std::string call;  // as written in the row, "method(arguments)"
    std::function<ndk::ScopedAStatus(IModem&)> send;
    std::string defaultResult;

    std::string method() const { return call.substr(0, call.find('(')); }
};

void PrintTo(const EntryRow& row, std::ostream* os) {
    *os << row.call;
}

/** The service registered without the modem side: every client pointer is empty. */
class ModemImplTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(OK, AidlService::setup(0)) << log_.dump();
        client_.startThreads();
        modem_ = client_.connect(0);
        ASSERT_NE(nullptr, modem_) << "the service is not registered";
        ABinderHost_waitForIdle();
        log_.clear();
    }

    void TearDown() override {
        ABinderHost_waitForIdle();
        EXPECT_EQ(test::texts({}), test::texts(client_.takeCalls()))
                << "responses that no request asked for (or a second answer to a serial)";
        // The holders hear of the client's death on a binder thread: before the process exits.
        client_.kill();
        ABinderHost_waitForIdle();
        EXPECT_EQ(nullptr, CallbackHolders::response().get()) << "the dead client is still held";
    }

    LogCapture log_;
    TestClient client_{"client"};
    std::shared_ptr<IModem> modem_;
};

class ModemImplEntryTest : public ModemImplTest, public ::testing::WithParamInterface<EntryRow> {};

TEST_P(ModemImplEntryTest, Request_WhenClientMissing_AnswersOnceWithInvalidStateAndDefault) {
    const EntryRow& row = GetParam();
    ndk::ScopedAStatus status = client_.run([&] { return row.send(*modem_); });
    EXPECT_TRUE(status.isOk()) << "errors must travel in the response, not the status";
    ASSERT_TRUE(client_.waitForCalls(1)) << "the request was never answered";
    ABinderHost_waitForIdle();

    const std::string method = row.method();
    const std::string respond = "respond" +
                                std::string(1, static_cast<char>(std::toupper(method[0]))) +
                                method.substr(1);
    EXPECT_EQ(std::vector<std::string>{answer(respond, kSerial, INVALID_STATE, row.defaultResult)},
              test::texts(client_.takeCalls()))
            << row.call << " was not answered once, on its own method, with 4 and its default";
    EXPECT_EQ(1u, log_.texts(TAG).size()) << "the request was not logged once";
}

EntryRow row(const char* call, std::function<ndk::ScopedAStatus(IModem&)> send,
             std::string result) {
    return EntryRow{call, std::move(send), std::move(result)};
}

// The row's name and its call come from one token, so they cannot disagree.
#define ROW(call, result) \
    row(                  \
            #call, [](IModem& m) { return m.call; }, result)

INSTANTIATE_TEST_SUITE_P(
        Methods, ModemImplEntryTest,
        ::testing::Values(
                ROW(getBuildTime(kSerial), kEmptyText), ROW(getBuildId(kSerial), kEmptyText),
                ROW(readNv(kSerial, 550, -1, 7), kEmptyBytes),
                ROW(writeNv(kSerial, 551, 1, -128, kFour), ""),
                ROW(readEfs(kSerial, 9, 0), kEmptyBytes), ROW(writeEfs(kSerial, 10, 1, {}), ""),
                ROW(deleteEfsFile(kSerial, 11, 127), ""), ROW(deleteEfsDir(kSerial, -12), ""),
                ROW(getNrNetworkMode(kSerial), "int(-1)"), ROW(setNrNetworkMode(kSerial, 3), ""),
                ROW(getVonrMode(kSerial), "int(-1)"), ROW(setVonrMode(kSerial, 1), ""),
                ROW(getOperatingMode(kSerial), "int(-1)"), ROW(setOperatingMode(kSerial, 4), ""),
                ROW(setRadioInfoReportSwitch(kSerial, true), ""),
                ROW(deleteImsProfile(kSerial), ""), ROW(getActiveMbnInfo(kSerial, 1), kEmptyBytes),
                ROW(getMetaMbnInfo(kSerial, kFour), kEmptyBytes),
                ROW(getMbnList(kSerial), test::describeResult(std::vector<std::string>())),
                ROW(deleteAllMbns(kSerial), ""), ROW(selectMbn(kSerial, 0, kFour), ""),
                ROW(loadMbn(kSerial, kFour), ""), ROW(activateMbn(kSerial, 1), ""),
                ROW(deactivateMbn(kSerial, 0), ""), ROW(activateMbnByName(kSerial, kFour), ""),
                ROW(restoreDiffQcn(kSerial), ""), ROW(rebootModem(kSerial), ""),
                ROW(removeRatMask(kSerial), ""), ROW(getModemProperty(kSerial, kFour), kEmptyBytes),
                ROW(setModemProperty(kSerial, kFour, {}), ""),
                ROW(deleteModemProperty(kSerial, {}), ""),
                ROW(get5gPowerSaveSwitch(kSerial), "bool(false)"),
                ROW(set5gPowerSaveSwitch(kSerial, false), ""),
                ROW(set5gPowerSaveMode(kSerial, -2), ""), ROW(forceAsdiv(kSerial, 2), ""),
                // Unlike the mode getters, the fuse state's default is 0.
                ROW(getSimlockFuseState(kSerial), "int(0)"), ROW(getQstMode(kSerial), "int(-1)"),
                ROW(setQstMode(kSerial, 5), ""), ROW(abortRrcConnection(kSerial), ""),
                ROW(setSarState(kSerial, -1), ""), ROW(informScreenState(kSerial, true), "")),
        [](const ::testing::TestParamInfo<EntryRow>& info) { return info.param.method(); });

#undef ROW

TEST_F(ModemImplTest, SetCallback_WithoutIndication_ClearsItAndSendsNoIndication) {
    client_.run([&] { EXPECT_TRUE(modem_->setCallback(nullptr, nullptr).isOk()); });
    ABinderHost_waitForIdle();
    EXPECT_FALSE(log_.contains(Log::INFO, "modem-ind", "indicateCacheInfo: entry")) << log_.dump();

    client_.run([&] { modem_->getOperatingMode(50); });
    ABinderHost_waitForIdle();
    EXPECT_TRUE(log_.contains(Log::ERROR, "modem-resp",
                              "respondGetOperatingMode: respCb null, can't send response"))
            << "a response reached a client that cleared its callbacks\n"
            << log_.dump();
}

}  // namespace
}  // namespace com::vyr::plim::modem
