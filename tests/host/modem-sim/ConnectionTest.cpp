/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Connections and events: when a service is reported, in which order, on which thread, how
// drops and restarts are reported, and that the callback may call back in.

#include <atomic>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "ModemSimTest.h"

using modemsim::Control;
using namespace std::chrono_literals;

namespace {

using Strings = std::vector<std::string>;

// ---- Connected once every condition holds, whichever comes last ----------------------------

using Step = modem_api_result_type (*)();

// The conditions of a connected event; each case meets all but one, then that one last.
const Step kConditions[] = {
        [] {  // out of id order, so that reporting by id instead of by request shows
            modem_api_result_type result = MODEM_API_SUCCESS;
            for (int32_t service : {17, 1, 3})
                result |= modem_api_init_qmi_connection(service, 0);
            return result;
        },
        modem_api_init_pre,
        [] { return modem_api_set_event_callback(&EventLog::callback); },
        [] { return modem_api_subscribe_event(MODEM_API_EVENT_SERVICE_CONNECTED); },
};

class ConnectGateTest : public ModemSimTest<::testing::TestWithParam<size_t>> {};

TEST_P(ConnectGateTest, Connect_WhenLastConditionArrives_ReportsEachOnceInRequestOrder) {
    for (size_t i = 0; i < std::size(kConditions); ++i) {
        if (i == GetParam())
            continue;
        ASSERT_EQ(MODEM_API_SUCCESS, kConditions[i]()) << "condition " << i << " failed";
        ASSERT_TRUE(Control::waitForIdle()) << "condition " << i << " never settled";
        EXPECT_TRUE(EventLog::instance().lines().empty() &&
                    !Control::isConnected(MODEM_API_SERVICE_NAS))
                << "connected before every condition held (after condition " << i << ")";
    }
    ASSERT_EQ(MODEM_API_SUCCESS, kConditions[GetParam()]()) << "the last condition failed";
    ASSERT_TRUE(Control::waitForIdle()) << "the connections never settled";
    EXPECT_EQ((Strings{"connected 17", "connected 1", "connected 3"}), EventLog::instance().lines())
            << "each service must be reported exactly once, in request order";
}

std::string lastConditionName(const ::testing::TestParamInfo<size_t>& info) {
    const char* names[] = {"RequestLast", "StartLast", "CallbackLast", "SubscribeLast"};
    return names[info.param];
}
INSTANTIATE_TEST_SUITE_P(Orders, ConnectGateTest, ::testing::Range<size_t>(0, 4),
                         lastConditionName);

// ---- A drop is reported at once, whatever caused it ---------------------------------------

struct DropRow {
    const char* name;
    void (*drop)();
};

class DropTest : public ModemSimTest<::testing::TestWithParam<DropRow>> {};

TEST_P(DropTest, Drop_WhenConnected_FailsCallsAtOnceAndReportsDisconnect) {
    startLibrary();
    connect({MODEM_API_SERVICE_NAS});

    GetParam().drop();
    int mode = -1;
    EXPECT_EQ(MODEM_API_SERVICE_NOT_READY, modem_get_vonr_mode(&mode))
            << "a dropped service must refuse calls as soon as the drop returns";
    // Not waitForIdle: a restart's downtime must not be needed to see the disconnect.
    ASSERT_TRUE(EventLog::instance().waitForCount(2)) << "the disconnect was never reported";
    EXPECT_EQ((Strings{"connected 3", "disconnected 3"}), EventLog::instance().lines())
            << "the drop must be reported once";
}

const DropRow kDropRows[] = {
        {"Released", [] { modem_api_release_qmi_connection(MODEM_API_SERVICE_NAS); }},
        {"MadeUnavailable", [] { Control::setServiceAvailable(MODEM_API_SERVICE_NAS, false); }},
        {"ModemRestarted", [] { Control::restartModem(1s); }},
};
INSTANTIATE_TEST_SUITE_P(Causes, DropTest, ::testing::ValuesIn(kDropRows), RowName());

// ---- Single cases ----------------------------------------------------------------------------

class ConnectionTest : public ModemSimTest<> {};

TEST_F(ConnectionTest, ConnectAndRestart_WhenDelaySet_ReportAfterDelayAndKeepState) {
    constexpr auto kDelay = 200ms;
    constexpr auto kDowntime = 100ms;
    Control::setConnectDelay(kDelay);
    startLibrary();
    auto start = Clock::now();
    connect({MODEM_API_SERVICE_NAS, MODEM_API_SERVICE_DMS});
    EXPECT_GE(since(start), kDelay) << "connected before the delay had passed";
    ASSERT_EQ(MODEM_API_SUCCESS, modem_set_operating_mode(5)) << "setting the mode failed";

    start = Clock::now();
    Control::restartModem(kDowntime);
    int mode = -1;
    EXPECT_EQ(MODEM_API_SERVICE_NOT_READY, modem_get_operating_mode(&mode))
            << "a call went through while the modem was down";
    ASSERT_TRUE(Control::waitForIdle()) << "waitForIdle must wait through the restart";
    EXPECT_GE(since(start), kDowntime + kDelay) << "back before downtime and delay had passed";
    EXPECT_EQ((Strings{"connected 3", "connected 2", "disconnected 3", "disconnected 2",
                       "connected 3", "connected 2"}),
              EventLog::instance().lines())
            << "a restart must drop and return every service once, in request order";
    ASSERT_EQ(MODEM_API_SUCCESS, modem_get_operating_mode(&mode)) << "DMS did not come back";
    EXPECT_EQ(5, mode) << "a restart must keep the modem's settings";
}

std::vector<modem_api_result_type> gBinds;  // written on the event thread only

// Binds from inside the callback, as the daemon does once a service connects.
void bindingCallback(modem_api_event_type event, void* data, size_t len) {
    EventLog::callback(event, data, len);
    const std::string line = EventLog::instance().lines().back();
    if (line == "connected 3")
        gBinds.push_back(modem_api_bind_nas_subscription(1));
    if (line == "connected 1")
        gBinds.push_back(modem_api_bind_wds_subscription(1));
}

TEST_F(ConnectionTest, EventCallback_WhenItBindsFromInside_DoesNotDeadlock) {
    gBinds.clear();
    startLibrary(&bindingCallback);
    connect({MODEM_API_SERVICE_NAS, MODEM_API_SERVICE_WDS});
    EXPECT_EQ((std::vector<modem_api_result_type>{MODEM_API_SUCCESS, MODEM_API_SUCCESS}), gBinds)
            << "a bind from the callback must see its service already connected";
    EXPECT_EQ(1, Control::state().nasSubscription) << "the NAS bind was lost";
    EXPECT_EQ(1, Control::state().wdsSubscription) << "the WDS bind was lost";
}

TEST_F(ConnectionTest, SetServiceAvailable_WhenFlippedFromManyThreads_EventsAlternateToFinal) {
    startLibrary();
    connect({MODEM_API_SERVICE_NAS});
    std::atomic<bool> callsDone{false};
    std::atomic<int> oddResults{0};
    std::thread caller([&] {  // calls race the flips as the daemon's would
        int mode = 0;
        while (!callsDone.load()) {
            const modem_api_result_type result = modem_get_nr_network_mode(&mode);
            oddResults += result != MODEM_API_SUCCESS && result != MODEM_API_SERVICE_NOT_READY;
        }
    });
    std::vector<std::thread> flippers;
    for (int t = 0; t < 4; ++t) {
        flippers.emplace_back([t] {
            for (int i = 0; i < 200; ++i)
                Control::setServiceAvailable(MODEM_API_SERVICE_NAS, (i + t) % 2 == 0);
        });
    }
    for (std::thread& flipper : flippers)
        flipper.join();
    callsDone = true;
    caller.join();
    ASSERT_TRUE(Control::waitForIdle()) << "the flips never settled";

    EXPECT_EQ(0, oddResults.load()) << "a call during the flips failed with neither 0 nor 8";
    const Strings events = EventLog::instance().lines();
    for (size_t i = 0; i < events.size(); ++i) {
        ASSERT_EQ(i % 2 == 0 ? "connected 3" : "disconnected 3", events[i])
                << "event " << i << " repeats the state before it: one was lost or doubled";
    }
    EXPECT_EQ(Control::isConnected(MODEM_API_SERVICE_NAS), events.size() % 2 == 1)
            << "the last event reported differs from the final state";
}

TEST_F(ConnectionTest, InjectEvent_WhenNotSubscribed_ReachesCallbackInOrder) {
    startLibrary(&EventLog::callback, false);
    connect({MODEM_API_SERVICE_NAS});

    Control::injectEvent(MODEM_API_EVENT_PDC_CONFIG_INFO, {1, 2, 3});
    // Event 1 is not subscribed: not delivered, yet the service is gone.
    Control::setServiceAvailable(MODEM_API_SERVICE_NAS, false);
    Control::injectEvent(MODEM_API_EVENT_PDC_ACTIVE_CONFIG_INFO, std::vector<uint8_t>(4), true);
    ASSERT_TRUE(Control::waitForIdle()) << "the injected events never settled";

    EXPECT_EQ((Strings{"connected 3", "event 18: 1 2 3", "event 17: null, 4"}),
              EventLog::instance().lines())
            << "injected events must arrive as given and in order, unsubscribed ones not at all";
    EXPECT_FALSE(Control::isConnected(MODEM_API_SERVICE_NAS))
            << "an unsubscribed disconnect must still disconnect";
}

}  // namespace
