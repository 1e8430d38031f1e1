/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Requests of every small client and of the vendor-specific one end to end, over the outcomes a
// modem can give them: served, service down, a failing call, a reply the library makes badly.
// Each row's requests must bring exactly its responses, with the error mapped and the value
// passed on, and reach the library with exactly its calls.

#include <gtest/gtest.h>
#include <modem_sim/ModemSimControl.h>

#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ProxyRequestTest.h"

namespace com::vyr::plim::modem {
namespace {

using aidl::vendor::vyr::plim::modem::IModem;
using modemsim::Control;
using modemsim::ReplyTamper;
using test::Bytes;
using test::bytes;
using test::describeResult;
using test::ProxyRequestTest;
using test::response;

struct RequestRow {
    const char* name;
    std::function<void()> arrange;  // what the modem is made to do
    std::function<void(IModem&)> requests;
    std::vector<std::string> responses;
    std::optional<std::vector<std::string>> calls = std::nullopt;  // reaching the library
};

class ClientRequestsTest : public ProxyRequestTest,
                           public ::testing::WithParamInterface<RequestRow> {};

TEST_P(ClientRequestsTest, Request_ForEachOutcome_AnswersOnceWithMappedErrorAndValue) {
    const RequestRow& row = GetParam();
    Control::setImsProfiles({{1, 1}, {1, 2}, {1, 3}});
    Control::editState([](modemsim::State& s) { s.properties["k"] = "v"; });
    row.arrange();
    daemon_.waitForIdle();
    EXPECT_EQ(row.responses, exchange(row.requests, row.responses.size())) << "wrong answers";
    if (row.calls) {
        EXPECT_EQ(*row.calls, Control::callTexts())
                << "a disconnected service was called, or the calls were not the request's";
    }
}

/** Builds a row; the calls are checked only when given. */
RequestRow row(const char* name, std::function<void()> arrange,
               std::function<void(IModem&)> requests, std::vector<std::string> responses,
               std::optional<std::vector<std::string>> calls = std::nullopt) {
    return RequestRow{name, std::move(arrange), std::move(requests), std::move(responses),
                      std::move(calls)};
}

void served() {}

std::function<void()> down(int32_t service) {
    return [=] { Control::setServiceAvailable(service, false); };
}

/** The next call of `function` fails, after `passing` calls of it that do not. */
std::function<void()> fails(const char* function, int passing = 0) {
    return [=] { Control::failNextCalls(function, 1, -19, passing); };
}

std::function<void()> tampered(const char* function, ReplyTamper tamper) {
    return [=] { Control::tamperNextReplies(function, 1, tamper); };
}

std::function<void()> payload(const char* function, Bytes payload) {
    return tampered(function, {{}, std::move(payload), {}, false});
}

/** A reply payload: a build text's length word, then `text`. */
Bytes buildText(uint32_t length, const std::string& text) {
    Bytes payload(sizeof(length) + text.size());
    std::memcpy(payload.data(), &length, sizeof(length));
    std::memcpy(payload.data() + sizeof(length), text.data(), text.size());
    return payload;
}

const std::string kNoBytes = describeResult(Bytes{});
const std::string kNoText = describeResult(std::string());
const std::string kText255(255, 't');
const std::vector<std::string> kNoCalls;
const char* const kImsList = "modem_qdp_get_ims_profile(24)";

INSTANTIATE_TEST_SUITE_P(
        Rows, ClientRequestsTest,
        ::testing::Values(
                row("NasModes", served,
                    [](IModem& m) {
                        m.setNrNetworkMode(1, 2);
                        m.getNrNetworkMode(2);
                        m.setVonrMode(3, 1);
                        m.getVonrMode(4);
                    },
                    {response("respondSetNrNetworkMode", 1, 0),
                     response("respondGetNrNetworkMode", 2, 0, "int(2)"),
                     response("respondSetVonrMode", 3, 0),
                     response("respondGetVonrMode", 4, 0, "int(1)")},
                    {{"modem_switch_nr_network_mode(2)", "modem_get_nr_network_mode()",
                      "modem_set_vonr_mode(1)", "modem_get_vonr_mode()"}}),
                row("SarState", served, [](IModem& m) { m.setSarState(3, 3); },
                    {response("respondSetSarState", 3, 0)}, {{"modem_set_sar_dsi(3)"}}),
                row("ForceAsdiv", served, [](IModem& m) { m.forceAsdiv(4, -2); },
                    {response("respondForceAsdiv", 4, 0)}, {{"modem_diag_pan_force_asdiv(-2)"}}),
                row("DeleteImsProfiles", served, [](IModem& m) { m.deleteImsProfile(5); },
                    {response("respondDeleteImsProfile", 5, 0)},
                    {{kImsList, "modem_qdp_delete_ims_profile(1, 1)",
                      "modem_qdp_delete_ims_profile(1, 2)", "modem_qdp_delete_ims_profile(1, 3)"}}),
                row(
                        "DeleteImsProfilesOfNone", [] { Control::setImsProfiles({}); },
                        [](IModem& m) { m.deleteImsProfile(6); },
                        {response("respondDeleteImsProfile", 6, 0)}, {{kImsList}}),
                row(
                        "DmsDown", down(MODEM_API_SERVICE_DMS),
                        [](IModem& m) { m.getOperatingMode(21); },
                        {response("respondGetOperatingMode", 21, 4, "int(0)")}, kNoCalls),
                row(
                        "SarDown", down(MODEM_API_SERVICE_SAR),
                        [](IModem& m) { m.setSarState(23, 1); },
                        {response("respondSetSarState", 23, 4)}, kNoCalls),
                row(
                        "WdsDown", down(MODEM_API_SERVICE_WDS),
                        [](IModem& m) { m.deleteImsProfile(24); },
                        {response("respondDeleteImsProfile", 24, 4)}, kNoCalls),
                row("DmsReadFails", fails("modem_get_operating_mode"),
                    [](IModem& m) { m.getOperatingMode(25); },
                    {response("respondGetOperatingMode", 25, 1, "int(0)")},
                    {{"modem_get_operating_mode()"}}),
                row("NasSwitchFails", fails("modem_switch_nr_network_mode"),
                    [](IModem& m) { m.setNrNetworkMode(26, 4); },
                    {response("respondSetNrNetworkMode", 26, 1)},
                    {{"modem_switch_nr_network_mode(4)"}}),
                row("DiagFails", fails("modem_diag_pan_force_asdiv"),
                    [](IModem& m) { m.forceAsdiv(27, 1); }, {response("respondForceAsdiv", 27, 1)},
                    {{"modem_diag_pan_force_asdiv(1)"}}),
                row("ImsListFails", fails("modem_qdp_get_ims_profile"),
                    [](IModem& m) { m.deleteImsProfile(28); },
                    {response("respondDeleteImsProfile", 28, 1)}, {{kImsList}}),
                // The first failure stops the loop: the third profile is not tried.
                row("ImsSecondDeleteFails", fails("modem_qdp_delete_ims_profile", 1),
                    [](IModem& m) { m.deleteImsProfile(29); },
                    {response("respondDeleteImsProfile", 29, 1)},
                    {{kImsList, "modem_qdp_delete_ims_profile(1, 1)",
                      "modem_qdp_delete_ims_profile(1, 2)"}}),
                // The connection is tested before the key's size.
                row(
                        "VsDownKeyPastLimit", down(MODEM_API_SERVICE_VS),
                        [](IModem& m) { m.deleteModemProperty(52, Bytes(52, 'k')); },
                        {response("respondDeleteModemProperty", 52, 4)}, kNoCalls),
                row(
                        "VsDownSyncRead", down(MODEM_API_SERVICE_VS),
                        [](IModem& m) { m.getQstMode(53); },
                        {response("respondGetQstMode", 53, 4, describeResult(-1))}, kNoCalls),
                row(
                        "VsDownAsyncRead", down(MODEM_API_SERVICE_VS),
                        [](IModem& m) { m.getBuildId(54); },
                        {response("respondGetBuildId", 54, 4, kNoText)}, kNoCalls),
                row("ReplyWithoutRecord",
                    tampered("modem_api_get_modem_property", {{}, {}, {}, true}),
                    [](IModem& m) { m.getModemProperty(63, bytes("k")); },
                    {response("respondGetModemProperty", 63, 3, kNoBytes)}),
                row("ReplyServiceNotReady",
                    tampered("modem_api_remove_rat_mask", {8u, {}, {}, false}),
                    [](IModem& m) { m.removeRatMask(64); },
                    {response("respondRemoveRatMask", 64, 4)}),
                row("BuildTimeOf255", payload("modem_get_build_time", buildText(255, kText255)),
                    [](IModem& m) { m.getBuildTime(67); },
                    {response("respondGetBuildTime", 67, 0, describeResult(kText255))}),
                row("BuildTimeOf256",
                    payload("modem_get_build_time", buildText(256, kText255 + "t")),
                    [](IModem& m) { m.getBuildTime(68); },
                    {response("respondGetBuildTime", 68, 3, kNoText)}),
                row("BuildIdWithZeroInside",
                    payload("modem_get_build_id",
                            buildText(20, std::string("ABCDE\0GHIJKLMNOPQRST", 20))),
                    [](IModem& m) { m.getBuildId(69); },
                    {response("respondGetBuildId", 69, 0, describeResult(std::string("ABCDE")))}),
                row("PropertyWithoutTerminator",
                    payload("modem_api_get_modem_property",
                            Bytes(MODEM_API_ASYNC_PAYLOAD_SIZE, 'p')),
                    [](IModem& m) { m.getModemProperty(70, bytes("k")); },
                    {response("respondGetModemProperty", 70, 0, describeResult(Bytes(511, 'p')))}),
                row("PowerSaveByteTwo", payload("modem_api_get_power_save_mode", {2}),
                    [](IModem& m) { m.get5gPowerSaveSwitch(71); },
                    {response("respondGet5gPowerSaveSwitch", 71, 0, describeResult(true))})),
        [](const ::testing::TestParamInfo<RequestRow>& info) { return info.param.name; });

}  // namespace
}  // namespace com::vyr::plim::modem
