/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The daemon's command line: which instance id it takes, what makes it refuse to start, and
// that whatever else it finds is passed over rather than ending the scan.

#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <plim/Errno.h>

#include "ModemOptions.h"

namespace com::vyr::plim::modem {
namespace {

class ModemOptionsTest : public ::testing::Test {
  protected:
    void SetUp() override { ModemOptions::clearForTesting(); }
    void TearDown() override { ModemOptions::clearForTesting(); }

    int parse(const std::vector<std::string>& args) {
        storage_ = {"plim-modem"};
        storage_.insert(storage_.end(), args.begin(), args.end());
        argv_.clear();
        for (std::string& arg : storage_) {
            argv_.push_back(arg.data());
        }
        argv_.push_back(nullptr);
        return ModemOptions::parse(static_cast<int>(storage_.size()), argv_.data());
    }

    std::vector<std::string> storage_;
    std::vector<char*> argv_;
};

struct OptionsRow {
    const char* name;
    std::vector<std::string> args;  // after argv[0]
    int result;
    std::optional<int> id;
};

void PrintTo(const OptionsRow& row, std::ostream* os) {
    *os << row.name;
}

class ModemOptionsLineTest : public ModemOptionsTest,
                             public ::testing::WithParamInterface<OptionsRow> {};

TEST_P(ModemOptionsLineTest, Parse_CommandLine_GivesResultAndId) {
    EXPECT_EQ(GetParam().result, parse(GetParam().args))
            << "wrong result: the daemon would start or stop wrongly";
    EXPECT_EQ(GetParam().id, ModemOptions::instanceId()) << "wrong instance id stored";
}

INSTANTIATE_TEST_SUITE_P(
        CommandLines, ModemOptionsLineTest,
        ::testing::Values(
                OptionsRow{"Instance1", {"-i", "1"}, OK, 1},
                // The scan stops at a refused id: the later 0 is not taken.
                OptionsRow{"Instance2RefusedAndScanStops",
                           {"-i", "2", "-i", "0"},
                           INVALID_ARGUMENT,
                           std::nullopt},
                OptionsRow{"InstanceMinus1Refused", {"-i", "-1"}, INVALID_ARGUMENT, std::nullopt},
                OptionsRow{"NotANumberIsZero", {"-i", "abc"}, OK, 0},
                // Ids past int's range must not wrap around to 0 or 1 (the fuzzer's find).
                OptionsRow{"IdWrappingToZeroRefused",
                           {"-i", "4294967296"},
                           INVALID_ARGUMENT,
                           std::nullopt},
                OptionsRow{"IdWrappingToOneRefused",
                           {"-i", "-4294967295"},
                           INVALID_ARGUMENT,
                           std::nullopt},
                OptionsRow{"SecondIdIgnored", {"-i", "1", "-i", "7"}, OK, 1},
                OptionsRow{
                        "UnknownOptionAndMissingArgumentSkipped", {"-x", "-i"}, OK, std::nullopt},
                OptionsRow{"BareWordSkipped", {"word", "-i", "1"}, OK, 1}),
        [](const ::testing::TestParamInfo<OptionsRow>& info) { return info.param.name; });

TEST_F(ModemOptionsTest, Parse_WhenNoArgvOrCount_ReturnsInvalidArgument) {
    char name[] = "plim-modem";
    char* argv[] = {name, nullptr};
    EXPECT_EQ(INVALID_ARGUMENT, ModemOptions::parse(0, argv)) << "argc 0 accepted";
    EXPECT_EQ(INVALID_ARGUMENT, ModemOptions::parse(1, nullptr)) << "null argv accepted";
}

// getopt keeps its position between calls; a parse that did not rewind would start at "1".
TEST_F(ModemOptionsTest, Parse_WhenCalledAgain_RescansFromFirstArgument) {
    ASSERT_EQ(OK, parse({"-x"}));
    ASSERT_EQ(OK, parse({"-i", "1"}));
    EXPECT_EQ(1, ModemOptions::instanceId()) << "the second parse did not rescan from the start";
}

}  // namespace
}  // namespace com::vyr::plim::modem
