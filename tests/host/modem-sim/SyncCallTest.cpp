/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Which service each call needs (an asynchronous one refused for it is never answered: the
// reply queue's tests), what reads back, the limits most easily got wrong, and how planned
// faults apply.

#include <algorithm>
#include <string>
#include <vector>

#include "ModemSimTest.h"

using modemsim::Control;
using modemsim::State;

namespace {

// ---- Each call against one service down: only its own refuses; the limits hold -------------

constexpr int32_t kDms = MODEM_API_SERVICE_DMS, kNas = MODEM_API_SERVICE_NAS,
                  kWds = MODEM_API_SERVICE_WDS, kVs = MODEM_API_SERVICE_VS;
constexpr int32_t kNone = 0, kAll = -1;  // every service up; every service down
constexpr int32_t kServices[] = {kWds, kDms, kNas, MODEM_API_SERVICE_SAR, kVs};

struct CallRow {
    const char* name;
    int32_t down;  // the service left unconnected, or kNone or kAll
    modem_api_result_type (*call)();
    modem_api_result_type expected;  // 0, 3 (invalid argument) or 8 (service not ready)
};

class CallTest : public ModemSimTest<::testing::TestWithParam<CallRow>> {};

TEST_P(CallTest, Call_WhenGivenServiceIsDown_ReturnsExpected) {
    startLibrary();
    for (int32_t service : kServices) {
        if (GetParam().down != kAll && service != GetParam().down)
            connect({service});
    }
    EXPECT_EQ(GetParam().expected, GetParam().call())
            << "the call depends on the wrong service, or its limit is off";
}

int out;
uint8_t version;
modem_qdp_profile_id profiles[MODEM_QDP_MAX_PROFILES];
uint8_t count = MODEM_QDP_MAX_PROFILES;
const modem_qdp_profile_id kProfile{1, 1};
uint8_t buffer[8];
size_t length = sizeof(buffer);
void ignoreReply(const void*, unsigned long, void*, modem_api_result_type) {}

const CallRow kCallRows[] = {
        {"GetOperatingMode", kDms, [] { return modem_get_operating_mode(&out); }, 8},
        {"SetOperatingMode", kDms, [] { return modem_set_operating_mode(1); }, 8},
        {"GetNrNetworkMode", kNas, [] { return modem_get_nr_network_mode(&out); }, 8},
        {"SwitchNrNetworkMode", kNas, [] { return modem_switch_nr_network_mode(1); }, 8},
        {"GetVonrMode", kNas, [] { return modem_get_vonr_mode(&out); }, 8},
        {"SetVonrMode", kNas, [] { return modem_set_vonr_mode(1); }, 8},
        {"BindNas", kNas, [] { return modem_api_bind_nas_subscription(0); }, 8},
        {"SetSarDsi", MODEM_API_SERVICE_SAR, [] { return modem_set_sar_dsi(1); }, 8},
        {"GetImsProfile", kWds, [] { return modem_qdp_get_ims_profile(profiles, &count); }, 8},
        {"DeleteImsProfile", kWds, [] { return modem_qdp_delete_ims_profile(&kProfile); }, 8},
        {"BindWds", kWds, [] { return modem_api_bind_wds_subscription(0); }, 8},
        {"BindVs", kVs, [] { return modem_api_bind_vs_subscription(0); }, 8},
        {"GetVersion", kVs, [] { return modem_api_get_version(&version); }, 8},
        {"ReadNv", kVs, [] { return modem_read_nv_for_subid(0, 550, 0, buffer, &length); }, 8},
        {"RestoreQcn", kVs, modem_restore_qcn_data, 8},
        {"GetBuildTime", kVs, [] { return modem_get_build_time(nullptr, ignoreReply); }, 8},
        {"ActiveMbn", kVs, [] { return modem_api_active_mbn("mbn_a", nullptr, ignoreReply); }, 8},
        {"ForceAsdivNeedsNone", kAll, [] { return modem_diag_pan_force_asdiv(1); }, 0},
        // The limits most easily got wrong by one.
        {"ServiceIdZero", kNone, [] { return modem_api_init_qmi_connection(0, 0); }, 3},
        {"ServiceId255", kNone, [] { return modem_api_init_qmi_connection(255, 0); }, 0},
        {"ServiceId256", kNone, [] { return modem_api_init_qmi_connection(256, 0); }, 3},
        {"SubscriptionOne", kNone, [] { return modem_api_bind_nas_subscription(1); }, 0},
        {"SubscriptionTwo", kNone, [] { return modem_api_bind_nas_subscription(2); }, 3},
};
INSTANTIATE_TEST_SUITE_P(Calls, CallTest, ::testing::ValuesIn(kCallRows), RowName());

// ---- IMS profiles: the caller's capacity is a hard limit -----------------------------------

class ImsCapacityTest : public ModemSimTest<::testing::TestWithParam<int>> {};

TEST_P(ImsCapacityTest, GetImsProfile_WithCapacity_CopiesNoMoreAndReportsAllFound) {
    startLibrary();
    connect({MODEM_API_SERVICE_WDS});
    const modem_qdp_profile_id kUntouched{0xdead, 0xbeef};
    modem_qdp_profile_id buffer[4] = {kUntouched, kUntouched, kUntouched, kUntouched};
    uint8_t capacity = static_cast<uint8_t>(GetParam());

    ASSERT_EQ(MODEM_API_SUCCESS, modem_qdp_get_ims_profile(buffer, &capacity)) << "call failed";
    EXPECT_EQ(2, capacity) << "*count must say how many profiles the modem has";
    for (uint8_t i = 0; i < 4; ++i) {
        const bool copied = i < std::min(GetParam(), 2);
        EXPECT_EQ(copied ? 1u : 0xdeadu, buffer[i].technology) << "entry " << int(i);
        EXPECT_EQ(copied ? i + 1u : 0xbeefu, buffer[i].index)
                << "entry " << int(i) << (copied ? " not copied" : " written past capacity");
    }
}

INSTANTIATE_TEST_SUITE_P(Capacities, ImsCapacityTest, ::testing::Values(0, 1, 2, 3),
                         [](const auto& info) { return "Capacity" + std::to_string(info.param); });

// ---- Planned faults fail exactly the planned calls -----------------------------------------

struct FaultRow {
    const char* name;
    int count;
    modem_api_result_type result;
    int skip;
    std::vector<modem_api_result_type> expected;  // of successive calls
};

class FaultPlanTest : public ModemSimTest<::testing::TestWithParam<FaultRow>> {};

TEST_P(FaultPlanTest, FailNextCalls_WhenPlanned_FailsExactlyThoseAndChangesNothing) {
    startLibrary();
    connect({MODEM_API_SERVICE_DMS});
    Control::failNextCalls("modem_set_operating_mode", GetParam().count, GetParam().result,
                           GetParam().skip);
    int kept = 0;
    for (size_t i = 0; i < GetParam().expected.size(); ++i) {
        const int mode = static_cast<int>(i) + 1;
        EXPECT_EQ(GetParam().expected[i], modem_set_operating_mode(mode)) << "call " << i;
        if (GetParam().expected[i] == MODEM_API_SUCCESS)
            kept = mode;
        EXPECT_EQ(kept, Control::state().operatingMode) << "after call " << i;
    }
    EXPECT_EQ(GetParam().expected.size(), Control::countCalls("modem_set_operating_mode"))
            << "failed calls must be recorded too";
}

const FaultRow kFaultRows[] = {
        {"NegativeThenRecovers", 2, -7, 0, {-7, -7, 0}},
        {"SkippedPassThenNextFails", 1, MODEM_API_BUSY, 2, {0, 0, MODEM_API_BUSY, 0}},
};
INSTANTIATE_TEST_SUITE_P(Plans, FaultPlanTest, ::testing::ValuesIn(kFaultRows), RowName());

}  // namespace
