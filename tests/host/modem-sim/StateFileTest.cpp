/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The modem's state on disk: what damaged text gives, and that a save cut short leaves the last
// complete state to be found. A restarted daemon finding what was set is an end-to-end test.

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

class StateFileTest : public ::testing::Test {
  protected:
    void TearDown() override { fs::remove_all(dir_); }

    static std::string makeDir() {
        char dir[] = "/tmp/plim-state-XXXXXX";
        return mkdtemp(dir) != nullptr ? dir : "";
    }

    const std::string dir_ = makeDir();
};

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
