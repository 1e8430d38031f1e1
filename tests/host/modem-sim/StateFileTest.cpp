/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The modem's state on disk: what is kept and read back exactly, what damaged text gives, and
// that a save cut short leaves the last complete state to be found. A restarted daemon finding
// what was set is an end-to-end test.

#include <unistd.h>

#include <gtest/gtest.h>
#include <modem_sim/ModemSimControl.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "StateFile.h"

namespace modemsim {
namespace {

namespace fs = std::filesystem;

State everyFieldSet() {
    State s;
    s.operatingMode = 4, s.nrNetworkMode = -2, s.vonrMode = 1, s.sarState = 3, s.asdivMode = 2;
    s.imsProfiles = {{7, 9}};
    s.nvItems[{1, 550, 0}] = {0x00, 0xFF, '\n', ' '};
    s.efsFiles[{0, 40}] = std::vector<uint8_t>(10240, 0xA5);
    s.efsDirs = {5};
    s.properties["persist.a b"] = std::string("v\0\n", 3);
    s.buildTime = "";
    s.buildId = "id with spaces";
    s.simlockFuseState = 1, s.qstMode = -1, s.qcnRestores = 2, s.rrcAborts = 3, s.reboots = 4;
    s.screenOn = false, s.radioInfoReportEnabled = true, s.ratMaskRemoved = true;
    s.powerSaveSwitch = true, s.powerSaveMode = 0xFE, s.activeMbn = "Commercial-A";
    s.pdcConfigs["MbnApp_/a/mcfg_sw.mbn"] = {1, 2, 3};
    s.pdcSelected[1] = s.pdcActive[2] = "MbnApp_/a/mcfg_sw.mbn";
    // A daemon's session, not the modem's: not kept.
    s.nasSubscription = 1;
    s.pdcLoads["MbnApp_/b"] = PdcLoad{9, {1}};
    return s;
}

class StateFileTest : public ::testing::Test {
  protected:
    void TearDown() override { fs::remove_all(dir_); }

    static std::string makeDir() {
        char dir[] = "/tmp/plim-state-XXXXXX";
        return mkdtemp(dir) != nullptr ? dir : "";
    }

    const std::string dir_ = makeDir();
};

TEST_F(StateFileTest, FormatThenParse_ForEveryField_KeepsTheModemsStateOnly) {
    const State saved = everyFieldSet();
    const std::optional<State> read = StateFile::parse(StateFile::format(saved));
    ASSERT_TRUE(read.has_value()) << "its own text was refused:\n" << StateFile::format(saved);
    EXPECT_EQ(StateFile::format(saved), StateFile::format(*read)) << "a field changed on the way";
    EXPECT_EQ(saved.properties, read->properties) << "odd bytes in a property did not survive";
    EXPECT_EQ(1u, read->imsProfiles.size()) << "power-on profiles mixed into the saved ones";
    EXPECT_EQ(-1, read->nasSubscription) << "a session's binding was kept";
    EXPECT_TRUE(read->pdcLoads.empty()) << "a load under way was kept";
}

TEST_F(StateFileTest, Parse_WithDamagedText_GivesNothing) {
    const std::string good = StateFile::format(State());
    for (const std::string& text :
         {std::string(), std::string("plim-modem-sim-state 2\n"), good + "unknownKey 1\n",
          good + "operatingMode\n", good + "operatingMode 1 2\n", good + "operatingMode one\n",
          good + "buildId x0\n", good + "buildId xzz\n", good + "nv 1 550 x00\n"}) {
        EXPECT_FALSE(StateFile::parse(text).has_value()) << "damaged text accepted:\n" << text;
    }
}

TEST_F(StateFileTest, Load_AfterASaveCutShort_FindsTheLastCompleteState) {
    StateFile file(dir_);
    State first;
    first.operatingMode = 5;
    ASSERT_TRUE(file.save(first));
    // What a process killed before its rename leaves behind.
    std::ofstream(dir_ + "/modem-state.new") << "plim-modem-sim-state 1\noperatingMo";

    const std::optional<State> loaded = StateFile(dir_).load();
    ASSERT_TRUE(loaded.has_value()) << "the complete state was lost";
    EXPECT_EQ(5, loaded->operatingMode) << "not the last complete state";
}

}  // namespace
}  // namespace modemsim
