/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <plim/Errno.h>
#include <plim/Log.h>

#include "LogCapture.h"
#include "ModemOptions.h"

namespace com::vyr::plim::modem {
namespace {

using test::LogCapture;
using test::LogLine;

constexpr const char* TAG = "modem-options";

struct OptionsCase {
    std::string name;
    std::vector<std::string> args;  // after argv[0]
    int result;
    std::optional<int> id;
    std::vector<LogLine> expectedLines;  // all of them, in order, after "parsing modem options"
};

// Names the row in test output instead of dumping its bytes.
void PrintTo(const OptionsCase& row, std::ostream* os) {
    *os << row.name;
}

class ModemOptionsTest : public ::testing::TestWithParam<OptionsCase> {
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

    LogCapture log_;
    std::vector<std::string> storage_;
    std::vector<char*> argv_;
};

TEST_P(ModemOptionsTest, Parse_CommandLine_GivesResultIdAndLogLines) {
    const OptionsCase& c = GetParam();
    EXPECT_EQ(parse(c.args), c.result) << "wrong result";
    EXPECT_EQ(ModemOptions::instanceId(), c.id) << "wrong instance id stored";

    std::vector<LogLine> lines = log_.lines();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines[0].text, "parse: parsing modem options");
    ASSERT_EQ(lines.size(), c.expectedLines.size() + 1) << log_.dump();
    for (size_t i = 0; i < c.expectedLines.size(); ++i) {
        EXPECT_EQ(lines[i + 1].priority, c.expectedLines[i].priority) << "line " << i + 1;
        EXPECT_EQ(lines[i + 1].tag, TAG) << "line " << i + 1;
        EXPECT_EQ(lines[i + 1].text, c.expectedLines[i].text) << "line " << i + 1;
    }
}

LogLine parsedAs(const std::string& text, int id) {
    return {Log::DEBUG, TAG,
            "parse: input instance id {" + text + "} is parsed as {" + std::to_string(id) + "}"};
}
LogLine accepted(int id) {
    return {Log::INFO, TAG, "parse: successfully parsed instance id {" + std::to_string(id) + "}"};
}
LogLine refused(int id) {
    return {Log::ERROR, TAG, "parse: invalid instance id {" + std::to_string(id) + "} parsed"};
}
LogLine skipped(const std::string& shown, int code) {
    return {Log::INFO, TAG, "parse: skip option {" + shown + "(=" + std::to_string(code) + ")}"};
}

INSTANTIATE_TEST_SUITE_P(
        CommandLines, ModemOptionsTest,
        ::testing::Values(
                OptionsCase{"Instance0", {"-i", "0"}, OK, 0, {parsedAs("0", 0), accepted(0)}},
                OptionsCase{"Instance1Joined", {"-i1"}, OK, 1, {parsedAs("1", 1), accepted(1)}},
                OptionsCase{"Instance2",
                            {"-i", "2"},
                            INVALID_ARGUMENT,
                            std::nullopt,
                            {parsedAs("2", 2), refused(2)}},
                OptionsCase{"InstanceMinus1",
                            {"-i", "-1"},
                            INVALID_ARGUMENT,
                            std::nullopt,
                            {parsedAs("-1", -1), refused(-1)}},
                OptionsCase{"NotANumberIsZero",
                            {"-i", "abc"},
                            OK,
                            0,
                            {parsedAs("abc", 0), accepted(0)}},
                OptionsCase{"TrailingTextIgnored",
                            {"-i", "1x"},
                            OK,
                            1,
                            {parsedAs("1x", 1), accepted(1)}},
                OptionsCase{"SecondIdIgnored",
                            {"-i", "0", "-i", "1"},
                            OK,
                            0,
                            {parsedAs("0", 0),
                             accepted(0),
                             {Log::WARN, TAG,
                              "parse: instance id {0} was set before, ignore to parse instance "
                              "id {1}"}}},
                OptionsCase{"InvalidSecondIdIgnoredToo",
                            {"-i", "1", "-i", "7"},
                            OK,
                            1,
                            {parsedAs("1", 1),
                             accepted(1),
                             {Log::WARN, TAG,
                              "parse: instance id {1} was set before, ignore to parse instance "
                              "id {7}"}}},
                OptionsCase{"UnknownOptionSkipped",
                            {"-x", "-i", "1"},
                            OK,
                            1,
                            {skipped("x", 120), parsedAs("1", 1), accepted(1)}},
                OptionsCase{"BareWordSkipped",
                            {"word", "-i", "0"},
                            OK,
                            0,
                            {skipped("\x01", 1), parsedAs("0", 0), accepted(0)}},
                OptionsCase{
                        "MissingArgumentSkipped", {"-i"}, OK, std::nullopt, {skipped("i", 105)}},
                OptionsCase{"NoOptions", {}, OK, std::nullopt, {}},
                OptionsCase{"FailureStopsScan",
                            {"-i", "5", "-i", "0"},
                            INVALID_ARGUMENT,
                            std::nullopt,
                            {parsedAs("5", 5), refused(5)}}),
        [](const ::testing::TestParamInfo<OptionsCase>& info) { return info.param.name; });

class ModemOptionsInputTest : public ::testing::Test {
  protected:
    void SetUp() override { ModemOptions::clearForTesting(); }
    LogCapture log_;
};

TEST_F(ModemOptionsInputTest, Parse_WhenNoArgvOrCount_ReturnsInvalidArgument) {
    char name[] = "plim-modem";
    char* argv[] = {name, nullptr};
    EXPECT_EQ(ModemOptions::parse(0, argv), INVALID_ARGUMENT) << "argc 0 accepted";
    EXPECT_EQ(ModemOptions::parse(1, nullptr), INVALID_ARGUMENT) << "null argv accepted";
    EXPECT_EQ(log_.count(Log::ERROR, TAG, "parse: invalid argument input, can't parse options"), 2u)
            << log_.dump();
}

TEST_F(ModemOptionsInputTest, Parse_WhenCalledAgain_StartsScanOverAndKeepsFirstId) {
    char name[] = "plim-modem";
    char flag[] = "-i";
    char one[] = "1";
    char zero[] = "0";
    char* first[] = {name, flag, one, nullptr};
    char* second[] = {name, flag, zero, nullptr};
    ASSERT_EQ(ModemOptions::parse(3, first), OK);
    ASSERT_EQ(ModemOptions::parse(3, second), OK);
    EXPECT_EQ(ModemOptions::instanceId(), 1) << "a later parse replaced the first id";
    EXPECT_TRUE(
            log_.contains(Log::WARN, TAG,
                          "parse: instance id {1} was set before, ignore to parse instance id {0}"))
            << "the second parse did not rescan from the first argument: " << log_.dump();
}

}  // namespace
}  // namespace com::vyr::plim::modem
