/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The configuration service: chunked loads, selection and activation by type, and the queries'
// answers by event and their tampering.

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <numeric>
#include <string>
#include <vector>

#include "ModemSimTest.h"

using modemsim::Control;

namespace {

using Bytes = std::vector<uint8_t>;
using Strings = std::vector<std::string>;
constexpr modem_api_event_type kActive = MODEM_API_EVENT_PDC_ACTIVE_CONFIG_INFO,
                               kInfo = MODEM_API_EVENT_PDC_CONFIG_INFO;
const char kId[] = "MbnApp_/a/mcfg_sw.mbn";
const std::string k123(123, 'i');
uint8_t gImage[2000];
std::mutex gMutex;
Strings gAnswers;  // the PDC answers in arrival order, as described below

// "<event>/<length>: <result> <token_valid> <token> <info as info_len counts it>"
template <typename Record>
std::string describe(modem_api_event_type event, const uint8_t* data, size_t len) {
    Record r{};
    std::memcpy(&r, data, std::min(len, sizeof(r)));
    const size_t shown = std::min<size_t>(r.info_len, sizeof(r.info));
    const bool zerosPast = std::all_of(data + std::min(len, sizeof(r)), data + len,
                                       [](uint8_t byte) { return byte == 0; });
    return std::to_string(event) + "/" + std::to_string(len) + ": " + std::to_string(r.result) +
           " " + std::to_string(r.token_valid) + " " + std::to_string(r.token) + " " +
           std::string(r.info, r.info + shown) + (zerosPast ? "" : " junk past the record");
}

void onEvent(modem_api_event_type event, void* data, size_t len) {
    EventLog::callback(event, data, len);  // keeps the fixture's check of the delivering thread
    const auto* bytes = static_cast<const uint8_t*>(data);
    std::lock_guard<std::mutex> lock(gMutex);
    if (event == kActive)
        gAnswers.push_back(describe<modem_pdc_active_config_info_event>(event, bytes, len));
    if (event == kInfo)
        gAnswers.push_back(describe<modem_pdc_config_info_event>(event, bytes, len));
}

Strings answers() {
    EXPECT_TRUE(Control::waitForIdle()) << "the answers never settled";
    std::lock_guard<std::mutex> lock(gMutex);
    return gAnswers;
}

modem_api_result_type load(const char* id, size_t offset, uint32_t len, uint32_t total) {
    return modem_pdc_load_configuration(id, gImage + offset, len, total);
}
modem_api_result_type getInfo(const char* id, uint32_t token) {
    return modem_pdc_get_config_info(reinterpret_cast<const uint8_t*>(id), strlen(id), token);
}

template <typename Base = ::testing::Test>
class PdcTest : public ModemSimTest<Base> {
  protected:
    /** Starts the library with the answers subscribed and PDC connected. */
    static void start() {
        std::iota(gImage, gImage + sizeof(gImage), uint8_t(5));
        gAnswers.clear();  // no library thread runs before startLibrary()
        ModemSimTest<Base>::startLibrary(&onEvent);
        ASSERT_TRUE(!modem_api_subscribe_event(kActive) && !modem_api_subscribe_event(kInfo))
                << "subscribing the answers failed";
        ModemSimTest<Base>::connect({MODEM_API_SERVICE_PDC});
    }
};

// ---- Chunked loads: stored exactly at the total; a chunk that does not fit abandons the load --

struct Chunk {
    uint32_t len, total;
    modem_api_result_type result;
};
struct LoadRow {
    const char* name;
    std::vector<Chunk> chunks;
    bool stored;
};

class PdcLoadTest : public PdcTest<::testing::TestWithParam<LoadRow>> {};

TEST_P(PdcLoadTest, LoadConfiguration_WithChunks_StoresExactBytesOrAbandonsTheLoad) {
    start();
    size_t offset = 0;
    for (const Chunk& chunk : GetParam().chunks) {
        ASSERT_EQ(chunk.result, load(kId, offset, chunk.len, chunk.total))
                << "chunk at " << offset << " judged wrongly against its total";
        offset += chunk.result == 0 ? chunk.len : 0;
    }
    const modemsim::State state = Control::state();
    EXPECT_EQ(0u, state.pdcLoads.count(kId)) << "a finished or failed load is still under way";
    EXPECT_EQ(GetParam().stored, state.pdcConfigs.count(kId) == 1) << "stored, or not, wrongly";
    if (GetParam().stored) {
        EXPECT_EQ(Bytes(gImage, gImage + offset), state.pdcConfigs.at(kId)) << "not byte for byte";
    }
}

const LoadRow kLoadRows[] = {
        {"ExactInOne", {{1800, 1800, 0}}, true},
        {"ExactInTwo", {{900, 1800, 0}, {900, 1800, 0}}, true},
        {"ExactInThree", {{1, 300, 0}, {298, 300, 0}, {1, 300, 0}}, true},
        {"ChunkOnePastTotal", {{100, 300, 0}, {201, 300, 3}}, false},
        {"TotalChanged", {{100, 300, 0}, {100, 400, 3}}, false},
        {"ChunkOverItsTotal", {{301, 300, 3}}, false},
};
INSTANTIATE_TEST_SUITE_P(Chunks, PdcLoadTest, ::testing::ValuesIn(kLoadRows), RowName());

// ---- Single cases ----------------------------------------------------------------------------

class PdcServiceTest : public PdcTest<> {};

TEST_F(PdcServiceTest, SelectActivateDeactivate_ByType_KeepTypesApartAndDeleteAllClearsAll) {
    start();
    EXPECT_EQ(3, modem_pdc_set_selected_config_info(1, "b")) << "selected what is not stored";
    EXPECT_EQ(3, modem_pdc_activate_config(1)) << "activated with nothing selected";
    ASSERT_TRUE(!load(k123.c_str(), 0, 3, 3) && !load("b", 0, 5, 5) && !load("c", 0, 1, 2) &&
                !modem_pdc_set_selected_config_info(1, k123.c_str()) &&
                !modem_pdc_activate_config(1) && !modem_pdc_set_selected_config_info(1, "b"))
            << "loading, selecting and activating a 123-character id, then selecting b, failed";
    EXPECT_EQ(3, modem_pdc_activate_config(2)) << "type 2 activated from type 1's selection";
    EXPECT_EQ(3, modem_pdc_deactivate_config(2)) << "type 2 deactivated with nothing active";
    modemsim::State state = Control::state();
    EXPECT_EQ((std::map<int, std::string>{{1, "b"}}), state.pdcSelected) << "selection wrong";
    EXPECT_EQ((std::map<int, std::string>{{1, k123}}), state.pdcActive) << "active one moved";
    EXPECT_EQ(0, modem_pdc_deactivate_config(1)) << "deactivating the active one failed";
    EXPECT_EQ(3, modem_pdc_deactivate_config(1)) << "deactivated twice";
    ASSERT_EQ(0, modem_pdc_activate_config(1)) << "activate b";
    ASSERT_EQ(0, modem_pdc_delete_all_mbns()) << "delete all failed";
    state = Control::state();
    EXPECT_TRUE(state.pdcConfigs.empty() && state.pdcLoads.empty() && state.pdcSelected.empty() &&
                state.pdcActive.empty())
            << "delete all left configurations, loads, selections or activations";
}

TEST_F(PdcServiceTest, Queries_WhenAnswered_ComeInCallOrderWellFormedAndOnlyPlannedOneTampered) {
    start();
    ASSERT_TRUE(!load("a", 0, 3, 3) && !load("b", 0, 4, 4) && !load("c", 0, 5, 5) &&
                !modem_pdc_set_selected_config_info(1, "a") && !modem_pdc_activate_config(1) &&
                !modem_pdc_set_selected_config_info(2, "b"))
            << "making a active for type 1 and b selected for type 2 failed";
    modemsim::EventTamper tamper;
    tamper.result = 5, tamper.tokenValid = 0, tamper.token = 99, tamper.infoLen = 8;
    tamper.length = 300;
    // Skips one answer of event 18: neither the refused call nor the answers of 17 count.
    Control::tamperNextEvents(kInfo, 1, tamper, 1);
    Control::failNextCalls("modem_pdc_get_config_info", 1, MODEM_API_BUSY);
    EXPECT_EQ(MODEM_API_BUSY, getInfo("a", 10)) << "the planned fault was not applied";
    ASSERT_TRUE(!modem_pdc_get_activate_config_info(1, 11) && !getInfo("a", 12) &&
                !modem_pdc_get_activate_config_info(2, 13) && !getInfo("b", 14) &&
                !getInfo("c", 15) && !getInfo("d", 16))
            << "a query was refused";
    EXPECT_EQ((Strings{"17/140: 0 1 11 a", "18/272: 0 1 12 size=3;state=active", "17/140: 0 1 13 ",
                       "18/300: 5 0 99 size=4;s", "18/272: 0 1 15 size=5;state=stored",
                       "18/272: 3 1 16 "}),
              answers())
            << "an answer lost, out of call order or wrong, the refused call answered, or the "
               "tamper missed its answer, spilled onto others or left junk past the record";
}

}  // namespace
