/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The DMS, NAS, SAR, WDS and diagnostic requests end to end: a client process calls the daemon's
// IModem through a proxy, the request crosses the main looper and the simulated modem library,
// and exactly one response per serial comes back with the error and the modem's value.

#include <gtest/gtest.h>
#include <modem_sim/ModemSimControl.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ProxyRequestTest.h"

namespace com::vyr::plim::modem {
namespace {

using aidl::vendor::vyr::plim::modem::IModem;
using modemsim::Control;
using test::ProxyRequestTest;
using test::response;

struct RequestRow {
    const char* name;
    std::function<void(IModem&)> requests;
    std::vector<std::string> responses;
    std::vector<std::string> calls;  // what reached the modem library, in order
    std::function<bool(const modemsim::State&)> modemHolds;
};

void PrintTo(const RequestRow& row, std::ostream* os) {
    *os << row.name;
}

class ClientRequestsRowTest : public ProxyRequestTest,
                              public ::testing::WithParamInterface<RequestRow> {};

TEST_P(ClientRequestsRowTest, Request_WhenServiceConnected_AnswersWithModemValue) {
    const RequestRow& row = GetParam();
    EXPECT_EQ(row.responses, exchange(row.requests, row.responses.size())) << "wrong answers";
    EXPECT_EQ(row.calls, Control::callTexts()) << "wrong calls to the modem library";
    EXPECT_TRUE(row.modemHolds(Control::state())) << "the modem does not hold what was set";
}

INSTANTIATE_TEST_SUITE_P(
        Requests, ClientRequestsRowTest,
        ::testing::Values(
                RequestRow{"OperatingMode",
                           [](IModem& m) {
                               m.setOperatingMode(1, 5);
                               m.getOperatingMode(2);
                           },
                           {response("respondSetOperatingMode", 1, 0),
                            response("respondGetOperatingMode", 2, 0, "int(5)")},
                           {"modem_set_operating_mode(5)", "modem_get_operating_mode()"},
                           [](const modemsim::State& s) { return s.operatingMode == 5; }},
                RequestRow{"NrNetworkMode",
                           [](IModem& m) {
                               m.setNrNetworkMode(3, 2);
                               m.getNrNetworkMode(4);
                           },
                           {response("respondSetNrNetworkMode", 3, 0),
                            response("respondGetNrNetworkMode", 4, 0, "int(2)")},
                           {"modem_switch_nr_network_mode(2)", "modem_get_nr_network_mode()"},
                           [](const modemsim::State& s) { return s.nrNetworkMode == 2; }},
                RequestRow{"VonrMode",
                           [](IModem& m) {
                               m.setVonrMode(5, 1);
                               m.getVonrMode(6);
                           },
                           {response("respondSetVonrMode", 5, 0),
                            response("respondGetVonrMode", 6, 0, "int(1)")},
                           {"modem_set_vonr_mode(1)", "modem_get_vonr_mode()"},
                           [](const modemsim::State& s) { return s.vonrMode == 1; }},
                RequestRow{"SarState",
                           [](IModem& m) { m.setSarState(7, 3); },
                           {response("respondSetSarState", 7, 0)},
                           {"modem_set_sar_dsi(3)"},
                           [](const modemsim::State& s) { return s.sarState == 3; }},
                RequestRow{"ForceAsdiv",
                           [](IModem& m) { m.forceAsdiv(8, -2); },
                           {response("respondForceAsdiv", 8, 0)},
                           {"modem_diag_pan_force_asdiv(-2)"},
                           [](const modemsim::State& s) { return s.asdivMode == -2; }},
                RequestRow{"DeleteImsProfiles",
                           [](IModem& m) { m.deleteImsProfile(9); },
                           {response("respondDeleteImsProfile", 9, 0)},
                           {"modem_qdp_get_ims_profile(24)", "modem_qdp_delete_ims_profile(1, 1)",
                            "modem_qdp_delete_ims_profile(1, 2)"},
                           [](const modemsim::State& s) { return s.imsProfiles.empty(); }}),
        [](const ::testing::TestParamInfo<RequestRow>& info) { return info.param.name; });

struct FailureRow {
    const char* name;
    int32_t unavailableService;  // 0: none
    const char* failingCall;     // nullptr: none
    int passingCalls;            // calls of failingCall that pass before it fails
    std::function<void(IModem&)> request;
    std::string response;
    std::vector<std::string> calls;
};

void PrintTo(const FailureRow& row, std::ostream* os) {
    *os << row.name;
}

class ClientFailuresTest : public ProxyRequestTest,
                           public ::testing::WithParamInterface<FailureRow> {};

TEST_P(ClientFailuresTest, Request_WhenServiceDownOrCallFails_AnswersWithError) {
    const FailureRow& row = GetParam();
    Control::setImsProfiles({{1, 1}, {1, 2}, {1, 3}});
    if (row.unavailableService != 0) {
        Control::setServiceAvailable(row.unavailableService, false);
        daemon_.waitForIdle();
    }
    if (row.failingCall != nullptr) {
        Control::failNextCalls(row.failingCall, 1, -19, row.passingCalls);
    }
    EXPECT_EQ(std::vector<std::string>{row.response}, exchange(row.request, 1))
            << "wrong error answered";
    EXPECT_EQ(row.calls, Control::callTexts())
            << "a disconnected service was called, or a failing call was not made";
}

FailureRow down(const char* name, int32_t service, std::function<void(IModem&)> request,
                std::string response) {
    return FailureRow{name, service, nullptr, 0, std::move(request), std::move(response), {}};
}

FailureRow fails(const char* name, const char* call, int passing,
                 std::function<void(IModem&)> request, std::string response,
                 std::vector<std::string> calls) {
    return FailureRow{
            name, 0, call, passing, std::move(request), std::move(response), std::move(calls)};
}

INSTANTIATE_TEST_SUITE_P(
        Failures, ClientFailuresTest,
        ::testing::Values(
                down(
                        "DmsDown", MODEM_API_SERVICE_DMS, [](IModem& m) { m.getOperatingMode(21); },
                        response("respondGetOperatingMode", 21, 4, "int(0)")),
                down(
                        "NasDown", MODEM_API_SERVICE_NAS, [](IModem& m) { m.getVonrMode(22); },
                        response("respondGetVonrMode", 22, 4, "int(0)")),
                down(
                        "SarDown", MODEM_API_SERVICE_SAR, [](IModem& m) { m.setSarState(23, 1); },
                        response("respondSetSarState", 23, 4)),
                down(
                        "WdsDown", MODEM_API_SERVICE_WDS, [](IModem& m) { m.deleteImsProfile(24); },
                        response("respondDeleteImsProfile", 24, 4)),
                fails("DmsReadFails", "modem_get_operating_mode", 0,
                      [](IModem& m) { m.getOperatingMode(25); },
                      response("respondGetOperatingMode", 25, 1, "int(0)"),
                      {"modem_get_operating_mode()"}),
                fails("NasSwitchFails", "modem_switch_nr_network_mode", 0,
                      [](IModem& m) { m.setNrNetworkMode(26, 4); },
                      response("respondSetNrNetworkMode", 26, 1),
                      {"modem_switch_nr_network_mode(4)"}),
                fails("DiagFails", "modem_diag_pan_force_asdiv", 0,
                      [](IModem& m) { m.forceAsdiv(27, 1); }, response("respondForceAsdiv", 27, 1),
                      {"modem_diag_pan_force_asdiv(1)"}),
                fails("ImsListFails", "modem_qdp_get_ims_profile", 0,
                      [](IModem& m) { m.deleteImsProfile(28); },
                      response("respondDeleteImsProfile", 28, 1),
                      {"modem_qdp_get_ims_profile(24)"}),
                // The first failure stops the loop: the third profile is not tried.
                fails("ImsSecondDeleteFails", "modem_qdp_delete_ims_profile", 1,
                      [](IModem& m) { m.deleteImsProfile(29); },
                      response("respondDeleteImsProfile", 29, 1),
                      {"modem_qdp_get_ims_profile(24)", "modem_qdp_delete_ims_profile(1, 1)",
                       "modem_qdp_delete_ims_profile(1, 2)"})),
        [](const ::testing::TestParamInfo<FailureRow>& info) { return info.param.name; });

TEST_F(ProxyRequestTest, DeleteImsProfile_WhenModemHasNone_AnswersOkWithoutDeleting) {
    Control::setImsProfiles({});
    EXPECT_EQ(std::vector<std::string>{response("respondDeleteImsProfile", 31, 0)},
              exchange([](IModem& m) { m.deleteImsProfile(31); }, 1));
    EXPECT_EQ(std::vector<std::string>{"modem_qdp_get_ims_profile(24)"}, Control::callTexts())
            << "a delete was tried with no profile to delete";
}

TEST_F(ProxyRequestTest, ForceAsdiv_WhenEveryServiceDown_StillReachesTheLibrary) {
    for (int32_t service : {1, 2, 3, 17, 36, 228}) {
        Control::setServiceAvailable(service, false);
    }
    daemon_.waitForIdle();
    EXPECT_EQ(std::vector<std::string>{response("respondForceAsdiv", 32, 0)},
              exchange([](IModem& m) { m.forceAsdiv(32, 6); }, 1));
    EXPECT_EQ(std::vector<std::string>{"modem_diag_pan_force_asdiv(6)"}, Control::callTexts())
            << "the diagnostic call waited for a service it does not need";
}

}  // namespace
}  // namespace com::vyr::plim::modem
