/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The configuration requests end to end, from a client process through a real proxy, over MBN
// trees that the tests make on disk: the walk that lists them, chunked loads and their limits,
// the selection's id limit, the two answers that come back as modem events (malformed ones
// included) and requests while the service is down.

#include <sys/fsuid.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <modem_sim/ModemSimControl.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <plim/Log.h>

#include "PdcQmiClient.h"
#include "ProxyRequestTest.h"
#include "RowName.h"

namespace com::vyr::plim::modem {
namespace {

namespace fs = std::filesystem;
using aidl::vendor::vyr::plim::modem::IModem;
using modemsim::Control;
using modemsim::EventTamper;
using test::Bytes;
using test::bytes;
using test::describeResult;
using test::pattern;
using test::ProxyRequestTest;
using test::response;

using test::operator<<;  // rows print as their names

constexpr const char* TAG = "modem-qmi-pdc";
constexpr int CONFIG_TYPE = 1;

// Static storage without a destructor: the exit handler that removes it runs after the static
// strings are gone.
char gMbnDir[] = "/tmp/plim-mbn-XXXXXX";

/**
 * This process's MBN root, given to the daemon before anything makes its configuration client
 * (which reads the root once); removed at exit.
 */
const std::string& mbnRoot() {
    static const std::string root = [] {
        if (mkdtemp(gMbnDir) == nullptr || chmod(gMbnDir, 0755) != 0) {
            std::abort();
        }
        std::atexit([] {
            std::error_code ignored;
            fs::remove_all(gMbnDir, ignored);
        });
        const std::string generic = std::string(gMbnDir) + "/generic";
        setenv("PLIM_MBN_ROOT", generic.c_str(), 1);
        return generic;
    }();
    return root;
}
[[maybe_unused]] const bool kRootSet = !mbnRoot().empty();

/** Writes `data` to root/relative (making its directories); returns the file's path. */
std::string makeFile(const std::string& relative, const Bytes& data = pattern(10)) {
    const fs::path path = fs::path(mbnRoot()) / relative;
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(data.data()), static_cast<long>(data.size()));
    return path.string();
}

long openDescriptors() {
    return std::distance(fs::directory_iterator("/proc/self/fd"), {});
}

class PdcRequestsTest : public ProxyRequestTest {
  protected:
    void SetUp() override {
        fs::remove_all(mbnRoot());
        fs::create_directories(mbnRoot());
        ProxyRequestTest::SetUp();
    }

    void TearDown() override {
        daemon_.mainThread().call([] { setfsuid(0); });
        ProxyRequestTest::TearDown();
    }
};

// ---- The walk -----------------------------------------------------------------------------------

TEST_F(PdcRequestsTest, CollectMcfgSwMbnFiles_ForTree_ListsEachDirectoryHoldingAnMbn) {
    for (const char* file : {"mcfg_sw.mbn", "x/mcfg_sw.mbn", "x/y/z/mcfg_sw.mbn",
                             "w/mcfg_sw.mbn.bak", "v/MCFG_SW.MBN", "real/mcfg_sw.mbn",
                             // A directory of that name is walked like any other.
                             "d/mcfg_sw.mbn/e/mcfg_sw.mbn"}) {
        makeFile(file);
    }
    const fs::path root = mbnRoot();
    fs::create_directory_symlink(root / "real", root / "alias");  // followed
    // A dangling link cannot be told from a file: it is listed.
    fs::create_directories(root / "l");
    fs::create_symlink("/nonexistent", root / "l/mcfg_sw.mbn");

    std::vector<std::string> listed{"kept"};
    EXPECT_EQ(OK, PdcQmiClient::collectMcfgSwMbnFiles(mbnRoot(), listed)) << log_.dump();
    EXPECT_EQ("kept", listed.front()) << "the walk must append, not replace";
    listed.erase(listed.begin());
    std::sort(listed.begin(), listed.end());
    EXPECT_EQ((std::vector<std::string>{"/", "/alias/", "/d/mcfg_sw.mbn/e/", "/l/", "/real/", "/x/",
                                        "/x/y/z/"}),
              listed)
            << "wrong directories listed";
}

// Permissions do not hold back root, so the daemon's main thread then reads the file system as
// an unprivileged user (the filesystem user id is the thread's own).
TEST_F(PdcRequestsTest, GetMbnList_WhenASubdirectoryIsUnreadable_DropsWhatWasFound) {
    // Made first: some file systems list the newest entries first, others in hash order; either
    // way some listable directories come before it.
    const fs::path locked = fs::path(mbnRoot()) / "locked";
    fs::create_directories(locked);
    fs::permissions(locked, fs::perms::none);
    for (const char* dir : {"a", "b", "c", "d", "e", "f"}) {
        makeFile(std::string(dir) + "/mcfg_sw.mbn");
    }
    if (geteuid() == 0) {
        daemon_.mainThread().call([] { setfsuid(65534); });
    }

    EXPECT_EQ(response("respondGetMbnList", 1, 1, describeResult(std::vector<std::string>{})),
              ask([](IModem& m) { m.getMbnList(1); }))
            << "a partial list must not be answered";
    EXPECT_TRUE(logged(TAG, "failed to open dir " + locked.string())) << log_.dump();
    EXPECT_TRUE(logged(TAG, "failed to collect files from " + locked.string())) << log_.dump();
    fs::permissions(locked, fs::perms::owner_all);
}

// ---- Loads --------------------------------------------------------------------------------------

/** A path of exactly `length` bytes to an MBN file under the root. */
std::string pathOfLength(size_t length) {
    const std::string fixed = mbnRoot() + "/" + "/mcfg_sw.mbn";
    return makeFile(std::string(length - fixed.size(), 'p') + "/mcfg_sw.mbn");
}

struct LoadRow {
    const char* name;
    std::function<Bytes()> path;  // makes the file, gives its path as a client would
    int error;
    std::vector<std::string> chunks;  // "<length>, <total>" of each load call
    std::string logged;               // a fragment of the client's log
    int refusedChunk;                 // the load call the modem refuses, 0: none
};

class PdcLoadTest : public PdcRequestsTest, public ::testing::WithParamInterface<LoadRow> {};

// Paths come from a client: whatever they hold, one answer, chunks of at most 900 bytes, nothing
// read past a buffer, no descriptor left open.
TEST_P(PdcLoadTest, LoadMbn_ForFileOrPath_SendsChunksAnswersOnceAndLeaksNothing) {
    const LoadRow& row = GetParam();
    const Bytes path = row.path();
    mkfifo((mbnRoot() + "/d/fifo").c_str(), 0600);
    if (row.refusedChunk != 0) {
        Control::failNextCalls("modem_pdc_load_configuration", 1, MODEM_API_BUSY,
                               row.refusedChunk - 1);
    }
    const long descriptors = openDescriptors();

    EXPECT_EQ(response("respondLoadMbn", 1, row.error),
              ask([&](IModem& m) { m.loadMbn(1, path); }));
    // The path ends at its first zero, in the file name and the id alike.
    const std::string opened(path.begin(), std::find(path.begin(), path.end(), 0));
    const std::string id = "MbnApp_" + opened;
    std::vector<std::string> expectedCalls;
    for (const std::string& chunk : row.chunks) {
        expectedCalls.push_back("modem_pdc_load_configuration(\"" + id + "\", " + chunk + ")");
    }
    EXPECT_EQ(expectedCalls, Control::callTexts())
            << "wrong chunks sent, or sent after a refused one";
    EXPECT_TRUE(logged(TAG, row.logged)) << log_.dump();
    EXPECT_EQ(descriptors, openDescriptors()) << "the load left a descriptor open";
    const auto configs = Control::state().pdcConfigs;
    if (row.error == 0 && !row.chunks.empty()) {
        EXPECT_EQ(pattern(fs::file_size(opened)), configs.at(id)) << "the modem holds other bytes";
    } else if (row.refusedChunk == 0) {
        EXPECT_TRUE(configs.empty()) << "a file that was not loaded reached the modem";
    }
}

/** Makes root/made, then gives root/path as a client would send it. */
std::function<Bytes()> afterMaking(const std::string& made, const std::string& path) {
    return [=] {
        makeFile(made);
        return bytes(mbnRoot() + "/" + path);
    };
}

LoadRow load(const char* name, std::function<Bytes()> path, int error,
             std::vector<std::string> chunks, std::string logged, int refusedChunk = 0) {
    return {name, path, error, chunks, logged, refusedChunk};
}

const std::string MBN = "d/mcfg_sw.mbn";

std::function<Bytes()> sized(size_t size) {
    return [=] { return bytes(makeFile(MBN, pattern(size))); };
}

INSTANTIATE_TEST_SUITE_P(
        Loads, PdcLoadTest,
        ::testing::Values(load("Empty", sized(0), 0, {}, "mbnPath = "),
                          load("OneWholeChunk", sized(900), 0, {"900, 900"}, "itor = 1"),
                          load("OneByteMore", sized(901), 0, {"900, 901", "1, 901"}, "itor = 2"),
                          load("SecondChunkRefused", sized(2700), 1, {"900, 2700", "900, 2700"},
                               "failed to load config, itor = 2", 2),
                          load(
                                  "Path116", [] { return bytes(pathOfLength(116)); }, 0, {"10, 10"},
                                  "itor = 1"),
                          load(
                                  "Path117", [] { return bytes(pathOfLength(117)); }, 3, {},
                                  "exceed/reach max size, target size = 117"),
                          load(
                                  "AbsurdlyLong", [] { return Bytes(100000, '/'); }, 3, {},
                                  "exceed/reach max size, target size = 100000"),
                          load("Missing", afterMaking(MBN, "e/mcfg_sw.mbn"), 1, {},
                               "failed to open"),
                          load("ZeroInside", afterMaking(MBN, MBN + '\0' + "junk"), 0, {"10, 10"},
                               "configId = MbnApp_" + mbnRoot() + "/" + MBN),
                          // Not empty, so that its size is not 0 on any file system.
                          load("Directory", afterMaking(MBN, "d"), 1, {}, "failed to read"),
                          // Opened without blocking, a pipe without writer reads as empty.
                          load("Fifo", afterMaking(MBN, "d/fifo"), 0, {}, "mbnPath = ")),
        [](const ::testing::TestParamInfo<LoadRow>& info) { return info.param.name; });

// ---- Selection ----------------------------------------------------------------------------------

TEST_F(PdcRequestsTest, SelectMbn_AtTheIdLimit_CallsTheModemBelowItOnly) {
    // A 116-byte path makes a 123-byte id, the longest that fits.
    const std::string id = "MbnApp_" + pathOfLength(116);
    ASSERT_EQ(response("respondLoadMbn", 1, 0),
              ask([&](IModem& m) { m.loadMbn(1, bytes(id.substr(7))); }));

    EXPECT_EQ(response("respondSelectMbn", 2, 0),
              ask([&](IModem& m) { m.selectMbn(2, CONFIG_TYPE, bytes(id)); }));
    EXPECT_EQ(id, Control::state().pdcSelected[CONFIG_TYPE]) << "the 123-byte id was not selected";
    Control::clearCalls();
    EXPECT_EQ(response("respondSelectMbn", 3, 3),
              ask([&](IModem& m) { m.selectMbn(3, CONFIG_TYPE, bytes(id + "x")); }));
    EXPECT_TRUE(Control::callTexts().empty()) << "a 124-byte id reached the modem";
    EXPECT_TRUE(log_.contains(Log::INFO, TAG,
                              "handleSelectMbnMessage: exceed/reach max size, target size = 124, "
                              "max size = 124"))
            << log_.dump();
}

// ---- Answers that come as events ----------------------------------------------------------------

struct EventRow {
    const char* name;
    modem_api_event_type event;
    EventTamper tamper;  // result, token valid, token, info length, record length
    int error;           // -1: no response
    size_t infoLength;   // of the answered info, all zero bytes
    std::string logged;  // a fragment of the client's log
};

class PdcEventTest : public PdcRequestsTest, public ::testing::WithParamInterface<EventRow> {};

// Nothing is active and the id is unknown, so every info area the modem fills is zeros.
TEST_P(PdcEventTest, GetInfo_WhenAnswerIsMalformed_AnswersAsTheRecordAllows) {
    const EventRow& row = GetParam();
    Control::tamperNextEvents(row.event, 1, row.tamper);
    const bool active = row.event == MODEM_API_EVENT_PDC_ACTIVE_CONFIG_INFO;
    const std::function<void(IModem&)> request = [&](IModem& m) {
        active ? m.getActiveMbnInfo(7, CONFIG_TYPE) : m.getMetaMbnInfo(7, bytes("unknown"));
    };

    std::vector<std::string> expected;  // none when the answer is dropped
    if (row.error >= 0) {
        expected.push_back(response(active ? "respondGetActiveMbnInfo" : "respondGetMetaMbnInfo", 7,
                                    row.error, describeResult(Bytes(row.infoLength, 0))));
    }
    EXPECT_EQ(expected, exchange(request, expected.size()))
            << "a dropped answer was answered, or an answer was wrong";
    EXPECT_TRUE(logged(TAG, row.logged)) << log_.dump();
}

EventRow record(const char* name, modem_api_event_type event, EventTamper tamper, int error,
                size_t infoLength, std::string logged) {
    return {name, event, tamper, error, infoLength, logged};
}

constexpr modem_api_event_type ACTIVE = MODEM_API_EVENT_PDC_ACTIVE_CONFIG_INFO;
constexpr modem_api_event_type META = MODEM_API_EVENT_PDC_CONFIG_INFO;

INSTANTIATE_TEST_SUITE_P(
        Records, PdcEventTest,
        ::testing::Values(
                record("Active139", ACTIVE, {{}, {}, {}, {}, 139}, -1, 0,
                       "processGetActiveMbnInfoAsyncResponse: invalid data input"),
                record("Meta273", META, {{}, {}, {}, {}, 273}, -1, 0,
                       "processGetMetaMbnInfoAsyncResponse: invalid data input"),
                record("TokenNotValid", ACTIVE, {{}, 0, {}, {}, {}}, -1, 0,
                       "NO valid ind_token for response"),
                record("ServiceNotReady", META, {MODEM_API_SERVICE_NOT_READY, {}, {}, 5, {}}, 4, 0,
                       "modem api result = 8"),
                record("ActiveNone", ACTIVE, {0, {}, {}, 0, {}}, 0, 0, "original serial = 7"),
                record("ActiveCountAtArea", ACTIVE, {0, {}, {}, 124, {}}, 0, 124,
                       "original serial = 7"),
                record("ActiveCountPastArea", ACTIVE, {0, {}, {}, 125, {}}, 0, 124,
                       "info size = 125 exceeds the record's 124 bytes"),
                record("MetaCountPastArea", META, {0, {}, {}, 0xFFFFFFFF, {}}, 0, 256,
                       "info size = 4294967295 exceeds the record's 256 bytes")),
        [](const ::testing::TestParamInfo<EventRow>& info) { return info.param.name; });

// ---- While the service is down ------------------------------------------------------------------

TEST_F(PdcRequestsTest, Requests_WhenServiceDisconnected_AnswerInvalidStateWithoutModemCall) {
    const std::string path = makeFile("n/mcfg_sw.mbn");
    Control::setServiceAvailable(MODEM_API_SERVICE_PDC, false);
    daemon_.waitForIdle();
    Control::clearCalls();

    const std::vector<std::string> answers = exchange(
            [&](IModem& m) {
                m.getActiveMbnInfo(1, CONFIG_TYPE);
                m.getMetaMbnInfo(2, bytes("id"));
                m.deleteAllMbns(3);
                m.selectMbn(4, CONFIG_TYPE, Bytes(200, 'i'));
                m.loadMbn(5, bytes(path));
                m.activateMbn(6, CONFIG_TYPE);
                m.deactivateMbn(7, CONFIG_TYPE);
                m.getMbnList(8);
            },
            8);
    const std::vector<std::string> expected{
            response("respondGetActiveMbnInfo", 1, 4, describeResult(Bytes{})),
            response("respondGetMetaMbnInfo", 2, 4, describeResult(Bytes{})),
            response("respondDeleteAllMbns", 3, 4),
            // The connection is tested before the id's size.
            response("respondSelectMbn", 4, 4), response("respondLoadMbn", 5, 4),
            response("respondActivateMbn", 6, 4), response("respondDeactivateMbn", 7, 4),
            // The list needs no modem.
            response("respondGetMbnList", 8, 0, describeResult(std::vector<std::string>{"/n/"}))};
    EXPECT_EQ(expected, answers) << "wrong answers while PDC is down";
    EXPECT_TRUE(Control::callTexts().empty()) << "a request reached the modem while it was down";
}

}  // namespace
}  // namespace com::vyr::plim::modem
