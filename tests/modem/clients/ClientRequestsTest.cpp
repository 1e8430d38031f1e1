/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Requests of every small client and of the vendor-specific one end to end, from a client process
// through a real proxy. One table over the outcomes a modem can give them (served, service down,
// a failing or refused call, a byte string at its limit, a reply the library makes badly): each
// row's requests must bring exactly its responses, with the error mapped and the value passed on,
// and where the row names the calls, only those must reach the library. Then a modem reboot.

#include <gtest/gtest.h>
#include <modem_sim/ModemSimControl.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ProxyRequestTest.h"
#include "RowName.h"

namespace com::vyr::plim::modem {
namespace {

using aidl::vendor::vyr::plim::modem::IModem;
using modemsim::Control;
using modemsim::ReplyTamper;
using modemsim::State;
using test::Bytes;
using test::bytes;
using test::describeResult;
using test::pattern;
using test::ProxyRequestTest;
using test::response;

using test::operator<<;  // rows print as their names

struct RequestRow {
    const char* name;
    std::function<void()> arrange;  // what the modem is made to do
    std::function<void(IModem&)> requests;
    std::vector<std::string> responses;
    std::optional<std::vector<std::string>> calls;  // what reached the library, in order
    std::function<bool(const State&)> modemHolds;
};

class ClientRequestsTest : public ProxyRequestTest,
                           public ::testing::WithParamInterface<RequestRow> {};

TEST_P(ClientRequestsTest, Request_ForEachOutcome_AnswersOnceWithMappedErrorAndValue) {
    const RequestRow& row = GetParam();
    Control::setImsProfiles({{1, 1}, {1, 2}, {1, 3}});
    Control::editState([](State& s) { s.properties["k"] = "v"; });
    row.arrange();
    daemon_.waitForIdle();
    EXPECT_EQ(row.responses, exchange(row.requests, row.responses.size())) << "wrong answers";
    if (row.calls) {
        EXPECT_EQ(*row.calls, Control::callTexts())
                << "a disconnected service was called, or the calls were not the request's";
    }
    if (row.modemHolds) {
        EXPECT_TRUE(row.modemHolds(Control::state())) << "the modem does not hold what was set";
    }
}

/** Builds a row; the calls are checked only when given. */
RequestRow row(const char* name, std::function<void()> arrange,
               std::function<void(IModem&)> requests, std::vector<std::string> responses,
               std::optional<std::vector<std::string>> calls = std::nullopt,
               std::function<bool(const State&)> modemHolds = nullptr) {
    return {name, arrange, requests, responses, calls, modemHolds};
}

void served() {}

void withKeyOf51() {
    Control::editState([](State& s) { s.properties[std::string(51, 'k')] = "v"; });
}

std::string quoted(size_t length, char c) {
    return '"' + std::string(length, c) + '"';
}

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

std::function<void()> withoutRecord(const char* function) {
    return tampered(function, {{}, {}, {}, true});
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

// Rows by outcome. Answers are compared in order: requests answered on the main looper may share
// a row, but the library's two reply threads answer in no fixed order, so a row holds at most one
// request answered from there, and last.
INSTANTIATE_TEST_SUITE_P(
        Rows, ClientRequestsTest,
        ::testing::Values(
                row(
                        "SmallClientsServed", served,
                        [](IModem& m) {
                            m.setOperatingMode(1, 5);
                            m.getOperatingMode(2);
                            m.setNrNetworkMode(3, 2);
                            m.getNrNetworkMode(4);
                            m.setVonrMode(5, 1);
                            m.getVonrMode(6);
                            m.setSarState(7, 3);
                            m.forceAsdiv(8, -2);
                            m.deleteImsProfile(9);
                        },
                        {response("respondSetOperatingMode", 1, 0),
                         response("respondGetOperatingMode", 2, 0, "int(5)"),
                         response("respondSetNrNetworkMode", 3, 0),
                         response("respondGetNrNetworkMode", 4, 0, "int(2)"),
                         response("respondSetVonrMode", 5, 0),
                         response("respondGetVonrMode", 6, 0, "int(1)"),
                         response("respondSetSarState", 7, 0), response("respondForceAsdiv", 8, 0),
                         response("respondDeleteImsProfile", 9, 0)},
                        {{"modem_set_operating_mode(5)", "modem_get_operating_mode()",
                          "modem_switch_nr_network_mode(2)", "modem_get_nr_network_mode()",
                          "modem_set_vonr_mode(1)", "modem_get_vonr_mode()", "modem_set_sar_dsi(3)",
                          "modem_diag_pan_force_asdiv(-2)", kImsList,
                          "modem_qdp_delete_ims_profile(1, 1)",
                          "modem_qdp_delete_ims_profile(1, 2)",
                          "modem_qdp_delete_ims_profile(1, 3)"}},
                        [](const State& s) {
                            return s.sarState == 3 && s.asdivMode == -2 && s.imsProfiles.empty();
                        }),
                row(
                        "DeleteImsProfilesOfNone", [] { Control::setImsProfiles({}); },
                        [](IModem& m) { m.deleteImsProfile(10); },
                        {response("respondDeleteImsProfile", 10, 0)}, {{kImsList}}),
                // Whole buffers, the subscription an item belongs to, and each synchronous
                // vendor-specific request that no other row serves.
                row(
                        "VsSyncServed", served,
                        [](IModem& m) {
                            m.writeNv(11, 550, 1, 0, pattern(512));
                            m.readNv(12, 550, 1, 0);
                            m.readNv(13, 550, 0, 0);
                            m.writeEfs(14, 40, 0, pattern(10240));
                            m.readEfs(15, 40, 0);
                            m.deleteEfsFile(16, 40, 0);
                            m.deleteEfsDir(17, 2);
                            m.setQstMode(18, 2);
                            m.getSimlockFuseState(19);
                            m.informScreenState(20, true);
                            m.restoreDiffQcn(21);
                        },
                        {response("respondWriteNv", 11, 0),
                         response("respondReadNv", 12, 0, describeResult(pattern(512))),
                         response("respondReadNv", 13, 1, kNoBytes),
                         response("respondWriteEfs", 14, 0),
                         response("respondReadEfs", 15, 0, describeResult(pattern(10240))),
                         response("respondDeleteEfsFile", 16, 0),
                         response("respondDeleteEfsDir", 17, 0),
                         response("respondSetQstMode", 18, 0),
                         response("respondGetSimlockFuseState", 19, 0, describeResult(0)),
                         response("respondInformScreenState", 20, 0),
                         response("respondRestoreDiffQcn", 21, 0)},
                        std::nullopt, [](const State& s) { return s.nvItems.size() == 1; }),
                row("RadioInfoSwitch", served,
                    [](IModem& m) { m.setRadioInfoReportSwitch(22, true); },
                    {response("respondSetRadioInfoReportSwitch", 22, 0)}),
                row("PowerSaveMode", served, [](IModem& m) { m.set5gPowerSaveMode(23, 2); },
                    {response("respondSet5gPowerSaveMode", 23, 0)}),
                row("AbortRrc", served, [](IModem& m) { m.abortRrcConnection(24); },
                    {response("respondAbortRrcConnection", 24, 0)}),
                row(
                        "PowerSaveSwitch", served,
                        [](IModem& m) { m.set5gPowerSaveSwitch(25, true); },
                        {response("respondSet5gPowerSaveSwitch", 25, 0)}, std::nullopt,
                        [](const State& s) { return s.powerSaveSwitch; }),
                row("PowerSaveSwitchReadsOff", served,
                    [](IModem& m) { m.get5gPowerSaveSwitch(26); },
                    {response("respondGet5gPowerSaveSwitch", 26, 0, describeResult(false))}),
                row(
                        "SmallClientsDown",
                        [] {
                            for (int32_t service : {MODEM_API_SERVICE_DMS, MODEM_API_SERVICE_SAR,
                                                    MODEM_API_SERVICE_WDS}) {
                                Control::setServiceAvailable(service, false);
                            }
                        },
                        [](IModem& m) {
                            m.getOperatingMode(31);
                            m.setSarState(32, 1);
                            m.deleteImsProfile(33);
                        },
                        {response("respondGetOperatingMode", 31, 4, "int(0)"),
                         response("respondSetSarState", 32, 4),
                         response("respondDeleteImsProfile", 33, 4)},
                        kNoCalls),
                // The connection is tested before the key's size.
                row(
                        "VsDown", down(MODEM_API_SERVICE_VS),
                        [](IModem& m) {
                            m.deleteModemProperty(34, Bytes(52, 'k'));
                            m.getQstMode(35);
                            m.getBuildId(36);
                            m.getBuildTime(37);
                            m.get5gPowerSaveSwitch(38);
                        },
                        {response("respondDeleteModemProperty", 34, 4),
                         response("respondGetQstMode", 35, 4, describeResult(-1)),
                         response("respondGetBuildId", 36, 4, kNoText),
                         response("respondGetBuildTime", 37, 4, kNoText),
                         response("respondGet5gPowerSaveSwitch", 38, 4, describeResult(false))},
                        kNoCalls),
                row(
                        "SmallClientCallsFail",
                        [] {
                            for (const char* function :
                                 {"modem_get_operating_mode", "modem_switch_nr_network_mode",
                                  "modem_diag_pan_force_asdiv", "modem_qdp_get_ims_profile"}) {
                                Control::failNextCalls(function, 1, -19);
                            }
                        },
                        [](IModem& m) {
                            m.getOperatingMode(41);
                            m.setNrNetworkMode(42, 4);
                            m.forceAsdiv(43, 1);
                            m.deleteImsProfile(44);
                        },
                        {response("respondGetOperatingMode", 41, 1, "int(0)"),
                         response("respondSetNrNetworkMode", 42, 1),
                         response("respondForceAsdiv", 43, 1),
                         response("respondDeleteImsProfile", 44, 1)},
                        {{"modem_get_operating_mode()", "modem_switch_nr_network_mode(4)",
                          "modem_diag_pan_force_asdiv(1)", kImsList}}),
                // The first failure stops the loop: the third profile is not tried.
                row("ImsSecondDeleteFails", fails("modem_qdp_delete_ims_profile", 1),
                    [](IModem& m) { m.deleteImsProfile(45); },
                    {response("respondDeleteImsProfile", 45, 1)},
                    {{kImsList, "modem_qdp_delete_ims_profile(1, 1)",
                      "modem_qdp_delete_ims_profile(1, 2)"}}),
                row(
                        "MbnStartRefused",
                        [] { Control::failNextCalls("modem_api_active_mbn", 1, MODEM_API_BUSY); },
                        [](IModem& m) { m.activateMbnByName(46, bytes("Commercial-A")); },
                        {response("respondActivateMbnByName", 46, 1)},
                        {{"modem_api_active_mbn(\"Commercial-A\", cb, cb)"}}),
                // Byte strings at their limit are refused; one byte less is sent.
                row("MbnNameLimit", served,
                    [](IModem& m) {
                        m.activateMbnByName(50, Bytes(64, 'n'));
                        m.activateMbnByName(51, Bytes(63, 'n'));
                    },
                    {response("respondActivateMbnByName", 50, 3),
                     response("respondActivateMbnByName", 51, 0)},
                    {{"modem_api_active_mbn(" + quoted(63, 'n') + ", cb, cb)"}}),
                row("GetKeyLimit", withKeyOf51,
                    [](IModem& m) {
                        m.getModemProperty(52, Bytes(52, 'k'));
                        m.getModemProperty(53, Bytes(51, 'k'));
                    },
                    {response("respondGetModemProperty", 52, 3, kNoBytes),
                     response("respondGetModemProperty", 53, 0, describeResult(bytes("v")))},
                    {{"modem_api_get_modem_property(" + quoted(51, 'k') + ", cb, cb)"}}),
                row("DeleteKeyLimit", withKeyOf51,
                    [](IModem& m) {
                        m.deleteModemProperty(54, Bytes(52, 'k'));
                        m.deleteModemProperty(55, Bytes(51, 'k'));
                    },
                    {response("respondDeleteModemProperty", 54, 3),
                     response("respondDeleteModemProperty", 55, 0)},
                    {{"modem_api_delete_modem_property_sync(" + quoted(51, 'k') + ")"}}),
                row("SetKeyLimit", served,
                    [](IModem& m) {
                        m.setModemProperty(56, Bytes(52, 'k'), bytes("1"));
                        m.setModemProperty(57, Bytes(51, 'k'), bytes("1"));
                    },
                    {response("respondSetModemProperty", 56, 3),
                     response("respondSetModemProperty", 57, 0)},
                    {{"modem_api_set_modem_property(" + quoted(51, 'k') +
                      ", 51, \"1\", 1, cb, cb)"}}),
                row("SetValueLimit", served,
                    [](IModem& m) {
                        m.setModemProperty(58, Bytes(10, 'k'), Bytes(512, 'v'));
                        m.setModemProperty(59, Bytes(10, 'k'), Bytes(511, 'v'));
                    },
                    {response("respondSetModemProperty", 58, 3),
                     response("respondSetModemProperty", 59, 0)},
                    {{"modem_api_set_modem_property(" + quoted(10, 'k') + ", 10, " +
                      quoted(511, 'v') + ", 511, cb, cb)"}}),
                // Replies that the library makes badly.
                row("PropertyWithoutRecord", withoutRecord("modem_api_get_modem_property"),
                    [](IModem& m) { m.getModemProperty(61, bytes("k")); },
                    {response("respondGetModemProperty", 61, 3, kNoBytes)}),
                row("BuildTimeWithoutRecord", withoutRecord("modem_get_build_time"),
                    [](IModem& m) { m.getBuildTime(62); },
                    {response("respondGetBuildTime", 62, 3, kNoText)}),
                row("BuildIdWithoutRecord", withoutRecord("modem_get_build_id"),
                    [](IModem& m) { m.getBuildId(63); },
                    {response("respondGetBuildId", 63, 3, kNoText)}),
                row("PowerSaveWithoutRecord", withoutRecord("modem_api_get_power_save_mode"),
                    [](IModem& m) { m.get5gPowerSaveSwitch(64); },
                    {response("respondGet5gPowerSaveSwitch", 64, 3, describeResult(false))}),
                row("ReplyServiceNotReady",
                    tampered("modem_api_remove_rat_mask", {8u, {}, {}, false}),
                    [](IModem& m) { m.removeRatMask(65); },
                    {response("respondRemoveRatMask", 65, 4)}),
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

// ---- The vendor-specific client ---------------------------------------------------------------

using VsRequestsTest = ProxyRequestTest;

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

}  // namespace
}  // namespace com::vyr::plim::modem
