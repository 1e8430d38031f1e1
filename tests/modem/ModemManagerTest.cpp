/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The modem manager over the simulated modem library: which clients each instance gets, what it
// asks of the library and in which order, how a failing client stops start-up, and the
// library's events that no client can take.

#include <gtest/gtest.h>
#include <modem_sim/ModemSimControl.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <plim/Errno.h>
#include <plim/Log.h>

#include "LogCapture.h"
#include "LoopThread.h"
#include "ModemManager.h"
#include "NasQmiClient.h"
#include "RowName.h"

namespace com::vyr::plim::modem {
namespace {

using modemsim::Control;
using test::LogCapture;
using test::LoopThread;

using test::operator<<;  // rows print as their names

constexpr const char* TAG = "modem-manager";

/** Which client pointers are set, as "diag dms nas pdc sar vs wds" with "-" for an empty one. */
std::string madeClients() {
    using M = ModemManager;
    const bool made[] = {M::diagClient != nullptr, M::dmsClient != nullptr, M::nasClient != nullptr,
                         M::pdcClient != nullptr,  M::sarClient != nullptr, M::vsClient != nullptr,
                         M::wdsClient != nullptr};
    const char* const names[] = {"diag", "dms", "nas", "pdc", "sar", "vs", "wds"};
    std::string text;
    for (size_t i = 0; i < 7; ++i) {
        text += std::string(i == 0 ? "" : " ") + (made[i] ? names[i] : "-");
    }
    return text;
}

std::vector<uint8_t> idBytes(int32_t id) {
    std::vector<uint8_t> bytes(sizeof(id));
    std::memcpy(bytes.data(), &id, sizeof(id));
    return bytes;
}

class ModemManagerTest : public ::testing::Test {
  protected:
    ModemManagerTest() { Control::setConnectDelay(std::chrono::milliseconds(0)); }

    void TearDown() override {
        EXPECT_TRUE(Control::waitForIdle()) << "the modem library never went idle";
        main_.call([] {});  // drained
    }

    /** ModemManager::init on the main thread, as the entry point runs it. */
    int init(int instanceId) {
        const int err = main_.call([instanceId] { return ModemManager::init(instanceId); });
        EXPECT_TRUE(Control::waitForIdle()) << "the modem library never went idle";
        return err;
    }

    LogCapture log_;
    LoopThread main_;
};

struct InstanceRow {
    const char* name;
    int instanceId;
    std::string clients;
    std::vector<std::string> mainCalls;
    std::vector<std::string> onConnected;  // from the event thread, sorted
};

class ModemManagerInstanceTest : public ModemManagerTest,
                                 public ::testing::WithParamInterface<InstanceRow> {};

TEST_P(ModemManagerInstanceTest, Init_ForEachInstance_MakesItsClientsThenStartsTheLibraryOnce) {
    ASSERT_EQ(OK, init(GetParam().instanceId)) << log_.dump();

    EXPECT_EQ(GetParam().clients, madeClients()) << "the instance got the wrong client set";
    // Connections are requested before the callback exists and the library reports them once it
    // is set and subscribed to event 0. Each connected NAS, VS and WDS client then binds its
    // subscription from the event thread (instance 0's VS client also asks for the library's
    // version), racing the main thread's remaining subscriptions.
    std::vector<std::string> mainCalls;
    std::vector<std::string> onConnected;
    size_t firstBind = SIZE_MAX;
    size_t connectedSubscribed = SIZE_MAX;
    const std::vector<std::string> calls = Control::callTexts();
    for (size_t i = 0; i < calls.size(); ++i) {
        if (calls[i].rfind("modem_api_bind_", 0) == 0 || calls[i] == "modem_api_get_version()") {
            onConnected.push_back(calls[i]);
            firstBind = std::min(firstBind, i);
        } else {
            mainCalls.push_back(calls[i]);
        }
        if (calls[i] == "modem_api_subscribe_event(0)")
            connectedSubscribed = i;
    }
    std::sort(onConnected.begin(), onConnected.end());
    EXPECT_EQ(GetParam().mainCalls, mainCalls) << "wrong start-up calls or order";
    EXPECT_EQ(GetParam().onConnected, onConnected)
            << "each connected NAS, VS and WDS client binds once; only instance 0 asks the version";
    EXPECT_LT(connectedSubscribed, firstBind) << "a client bound before the library reported it";
    EXPECT_TRUE(log_.contains(Log::INFO, TAG, "init done")) << log_.dump();
    for (int32_t service : {MODEM_API_SERVICE_NAS, MODEM_API_SERVICE_WDS}) {
        EXPECT_TRUE(Control::isConnected(service)) << "service " << service << " not connected";
    }
    EXPECT_TRUE(ModemManager::nasClient->isConnected()) << "NAS never heard it is connected";

    Control::clearCalls();
    EXPECT_EQ(INVALID_STATE, init(1 - GetParam().instanceId)) << "a second init must be refused";
    EXPECT_EQ(GetParam().clients, madeClients()) << "the second init changed the clients";
    EXPECT_TRUE(Control::callTexts().empty()) << "the second init called the library";
}

INSTANTIATE_TEST_SUITE_P(
        Instances, ModemManagerInstanceTest,
        ::testing::Values(
                InstanceRow{
                        "Instance0",
                        0,
                        "diag dms nas pdc sar vs wds",
                        {"modem_api_init_qmi_connection(3, 0)",
                         "modem_api_init_qmi_connection(228, 0)",
                         "modem_api_init_qmi_connection(1, 0)",
                         "modem_api_init_qmi_connection(2, 0)",
                         "modem_api_init_qmi_connection(36, 0)",
                         "modem_api_init_qmi_connection(17, 0)", "modem_api_init_pre()",
                         "modem_api_set_event_callback(cb)", "modem_api_subscribe_event(0)",
                         "modem_api_subscribe_event(1)", "modem_api_subscribe_event(17)",
                         "modem_api_subscribe_event(18)"},
                        {"modem_api_bind_nas_subscription(0)", "modem_api_bind_vs_subscription(0)",
                         "modem_api_bind_wds_subscription(0)", "modem_api_get_version()"}},
                InstanceRow{
                        "Instance1",
                        1,
                        "- - nas - - vs wds",
                        {"modem_api_init_qmi_connection(3, 0)",
                         "modem_api_init_qmi_connection(228, 0)",
                         "modem_api_init_qmi_connection(1, 0)", "modem_api_init_pre()",
                         "modem_api_set_event_callback(cb)", "modem_api_subscribe_event(0)",
                         "modem_api_subscribe_event(1)"},
                        {"modem_api_bind_nas_subscription(1)", "modem_api_bind_vs_subscription(1)",
                         "modem_api_bind_wds_subscription(1)"}}),
        [](const ::testing::TestParamInfo<InstanceRow>& info) { return info.param.name; });

struct SetupFailureRow {
    const char* name;
    int passingSetups;  // setups that succeed before the failing one
    std::string clients;
    const char* tag;
    const char* service;
};

class ModemManagerSetupFailureTest : public ModemManagerTest,
                                     public ::testing::WithParamInterface<SetupFailureRow> {};

TEST_P(ModemManagerSetupFailureTest, Init_WhenClientSetupFails_StopsBeforeTheLibraryStarts) {
    const SetupFailureRow& row = GetParam();
    Control::failNextCalls("modem_api_init_qmi_connection", 1, -2, row.passingSetups);

    EXPECT_EQ(FAILED, init(0)) << "a failed setup must stop start-up with FAILED";

    EXPECT_EQ(row.clients, madeClients()) << "the failed client must stay, no later one made";
    EXPECT_EQ(static_cast<size_t>(row.passingSetups + 1), Control::calls().size())
            << "the library was started although start-up failed";
    EXPECT_TRUE(
            log_.contains(Log::ERROR, row.tag,
                          std::string("setup: failed to setup ") + row.service + " qmi notifier"))
            << log_.dump();
    EXPECT_FALSE(log_.contains(Log::INFO, TAG, "init done")) << log_.dump();
}

INSTANTIATE_TEST_SUITE_P(
        Clients, ModemManagerSetupFailureTest,
        ::testing::Values(SetupFailureRow{"Nas", 0, "- - nas - - - -", "modem-qmi-nas", "NAS"},
                          // Instance 0's own clients come after the shared ones, DMS before PDC.
                          SetupFailureRow{"Pdc", 4, "diag dms nas pdc - vs wds", "modem-qmi-pdc",
                                          "PDC"}),
        [](const ::testing::TestParamInfo<SetupFailureRow>& info) { return info.param.name; });

struct EventRow {
    const char* name;
    modem_api_event_type event;
    std::vector<uint8_t> data;
    bool nullData;
    std::vector<std::string> lines;  // the manager's lines after "event = <n>"
};

class ModemManagerEventTest : public ModemManagerTest,
                              public ::testing::WithParamInterface<EventRow> {};

// Without init: no client exists, as for the services that instance 1 lacks.
TEST_P(ModemManagerEventTest, EventCallback_WithUnusableEvent_LogsAndReachesNoClient) {
    const EventRow& row = GetParam();
    std::vector<uint8_t> data = row.data;
    ModemManager::modemApiEventCallback(row.event, row.nullData ? nullptr : data.data(),
                                        data.size());

    std::vector<std::string> expected{"modemApiEventCallback: event = " +
                                      std::to_string(row.event)};
    for (const std::string& line : row.lines) {
        expected.push_back("modemApiEventCallback: " + line);
    }
    EXPECT_EQ(expected, log_.texts(TAG)) << "wrong handling of the event";
    EXPECT_TRUE(Control::callTexts().empty()) << "the event reached the library";
}

EventRow event(const char* name, modem_api_event_type event, std::vector<uint8_t> data,
               std::vector<std::string> lines, bool nullData = false) {
    return EventRow{name, event, std::move(data), nullData, std::move(lines)};
}

const std::vector<uint8_t> kNoData;
const char* const kBadConnected = "invalid data or len input for qmi connected event";

INSTANTIATE_TEST_SUITE_P(
        Events, ModemManagerEventTest,
        ::testing::Values(
                event("ConnectedWithThreeBytes", 0, {1, 0, 0}, {kBadConnected}),
                event("ConnectedWithFiveBytes", 0, std::vector<uint8_t>(5, 0), {kBadConnected}),
                event("DisconnectedWithNullData", 1, idBytes(3),
                      {"invalid data or len input for qmi disconnected event"}, true),
                event("ConnectedUnknownService", 0, idBytes(5),
                      {"UNKNOWN qmi service is connected",
                       "no client for qmi service 5, ignore qmi connected event"}),
                event("DisconnectedServiceWithoutClient", 1, idBytes(2),
                      {"DMS qmi service is disconnected",
                       "no client for qmi service 2, ignore qmi disconnected event"}),
                event("ActiveMbnAnswer", 17, std::vector<uint8_t>(140, 0),
                      {"received async response for get_active_mbn_info",
                       "can't process such async response for null PDC qmi client"}),
                event("MetaMbnAnswer", 18, std::vector<uint8_t>(272, 0),
                      {"received async response for get_meta_mbn_info",
                       "can't process such async response for null PDC qmi client"}),
                event("UnknownEvent", -1, kNoData, {"unsupported modem api event = -1"}, true)),
        [](const ::testing::TestParamInfo<EventRow>& info) { return info.param.name; });

}  // namespace
}  // namespace com::vyr::plim::modem
