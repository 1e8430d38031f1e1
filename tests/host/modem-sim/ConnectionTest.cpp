/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Connections and events: how drops, restarts and connect delays are reported, in which order
// and on which thread.

#include <string>
#include <vector>

#include "ModemSimTest.h"

using modemsim::Control;
using namespace std::chrono_literals;

namespace {

using Strings = std::vector<std::string>;

constexpr auto kDelay = 200ms;     // before a service is reported connected
constexpr auto kDowntime = 300ms;  // of a restart

// ---- A drop is reported at once, whatever caused it; a restart brings back what it dropped ---

struct DropRow {
    const char* name;
    void (*drop)();
    bool restart;  // drops both services, which come back after the downtime and the delay
};

class DropTest : public ModemSimTest<::testing::TestWithParam<DropRow>> {};

TEST_P(DropTest, Drop_WhenConnected_FailsCallsAtOnceReportsEachOnceAndKeepsState) {
    const DropRow& row = GetParam();
    Control::setConnectDelay(kDelay);
    startLibrary();
    auto start = Clock::now();
    connect({MODEM_API_SERVICE_NAS, MODEM_API_SERVICE_DMS});
    EXPECT_GE(Clock::now() - start, kDelay) << "connected before the delay had passed";
    ASSERT_EQ(MODEM_API_SUCCESS, modem_set_operating_mode(5)) << "setting the mode failed";

    start = Clock::now();
    row.drop();
    int mode = -1;
    EXPECT_EQ(MODEM_API_SERVICE_NOT_READY, modem_get_vonr_mode(&mode))
            << "a dropped service must refuse calls as soon as the drop returns";
    Strings events{"connected 3", "connected 2", "disconnected 3"};
    if (row.restart)
        events.push_back("disconnected 2");
    // Not waitForIdle: a restart's downtime must not be needed to see the disconnect.
    ASSERT_EQ(events, EventLog::instance().lines(events.size()))
            << "the drop was not reported, or not once";
    ASSERT_TRUE(Control::waitForIdle()) << "waitForIdle must wait through a restart";
    if (row.restart) {
        EXPECT_GE(Clock::now() - start, kDowntime + kDelay) << "back before downtime and delay";
        events.insert(events.end(), {"connected 3", "connected 2"});
    }
    EXPECT_EQ(events, EventLog::instance().lines())
            << "a restart must drop and return every service once, in request order";
    ASSERT_EQ(MODEM_API_SUCCESS, modem_get_operating_mode(&mode)) << "DMS did not come back";
    EXPECT_EQ(5, mode) << "a restart must keep the modem's settings";
}

const DropRow kDropRows[] = {
        {"Released", [] { modem_api_release_qmi_connection(MODEM_API_SERVICE_NAS); }, false},
        {"MadeUnavailable", [] { Control::setServiceAvailable(MODEM_API_SERVICE_NAS, false); },
         false},
        {"ModemRestarted", [] { Control::restartModem(kDowntime); }, true},
};
INSTANTIATE_TEST_SUITE_P(Causes, DropTest, ::testing::ValuesIn(kDropRows), RowName());

}  // namespace
