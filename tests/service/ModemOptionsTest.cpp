/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include <gtest/gtest.h>

#include <climits>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
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
    std::vector<LogLine> expectedLines;  // all above DEBUG, in order, after "parsing modem options"
};

OptionsCase row(std::string name, std::vector<std::string> args, int result, std::optional<int> id,
                std::vector<LogLine> lines) {
    return {std::move(name), std::move(args), result, id, std::move(lines)};
}

// Names the row in test output instead of dumping its bytes.
void PrintTo(const OptionsCase& row, std::ostream* os) {
    *os << row.name;
}

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

    LogCapture log_;
    std::vector<std::string> storage_;
    std::vector<char*> argv_;
};

class ModemOptionsLineTest : public ModemOptionsTest,
                             public ::testing::WithParamInterface<OptionsCase> {};

TEST_P(ModemOptionsLineTest, Parse_CommandLine_GivesResultIdAndLogLines) {
    const OptionsCase& c = GetParam();
    EXPECT_EQ(parse(c.args), c.result) << "wrong result: the daemon would start or stop wrongly";
    EXPECT_EQ(ModemOptions::instanceId(), c.id) << "wrong instance id stored";

    std::vector<LogLine> lines;
    for (const LogLine& line : log_.lines()) {
        if (line.priority > Log::DEBUG) {
            lines.push_back(line);
        }
    }
    ASSERT_EQ(lines.size(), c.expectedLines.size() + 1) << "lines missing or extra:\n"
                                                        << log_.dump();
    EXPECT_EQ(lines[0].text, "parse: parsing modem options") << "start of parsing not logged";
    for (size_t i = 0; i < c.expectedLines.size(); ++i) {
        EXPECT_EQ(lines[i + 1].priority, c.expectedLines[i].priority) << "line " << i + 1;
        EXPECT_EQ(lines[i + 1].tag, TAG) << "line " << i + 1;
        EXPECT_EQ(lines[i + 1].text, c.expectedLines[i].text) << "line " << i + 1;
    }
}

LogLine accepted(int id) {
    return {Log::INFO, TAG, "parse: successfully parsed instance id {" + std::to_string(id) + "}"};
}
LogLine refused(int id) {
    return {Log::ERROR, TAG, "parse: invalid instance id {" + std::to_string(id) + "} parsed"};
}
LogLine ignored(int id, const std::string& text) {
    return {Log::WARN, TAG,
            "parse: instance id {" + std::to_string(id) + "} was set before, ignore to parse " +
                    "instance id {" + text + "}"};
}
LogLine skipped(const std::string& shown, int code) {
    return {Log::INFO, TAG, "parse: skip option {" + shown + "(=" + std::to_string(code) + ")}"};
}

INSTANTIATE_TEST_SUITE_P(
        CommandLines, ModemOptionsLineTest,
        ::testing::Values(row("Instance2RefusedAndScanStops", {"-i", "2", "-i", "0"},
                              INVALID_ARGUMENT, std::nullopt, {refused(2)}),
                          row("InstanceMinus1Refused", {"-i", "-1"}, INVALID_ARGUMENT, std::nullopt,
                              {refused(-1)}),
                          row("NotANumberIsZero", {"-i", "abc"}, OK, 0, {accepted(0)}),
                          // Ids past int's range must not wrap around to 0 or 1; the log
                          // line shows them saturated.
                          row("IdWrappingToZeroRefused", {"-i", "4294967296"}, INVALID_ARGUMENT,
                              std::nullopt, {refused(INT_MAX)}),
                          row("IdWrappingToOneRefused", {"-i", "-4294967295"}, INVALID_ARGUMENT,
                              std::nullopt, {refused(INT_MIN)}),
                          // What the daemon fuzzer found: atoi's value of this is 0.
                          row("IdBelowLongRefused", {"-i", "-55555555555555555555"},
                              INVALID_ARGUMENT, std::nullopt, {refused(INT_MIN)}),
                          row("IdPastLongRefused", {"-i", "99999999999999999999"}, INVALID_ARGUMENT,
                              std::nullopt, {refused(INT_MAX)}),
                          row("InvalidSecondIdIgnored", {"-i", "1", "-i", "7"}, OK, 1,
                              {accepted(1), ignored(1, "7")}),
                          row("UnknownOptionAndMissingArgumentSkipped", {"-x", "-i"}, OK,
                              std::nullopt, {skipped("x", 120), skipped("i", 105)}),
                          row("BareWordSkipped", {"word", "-i", "1"}, OK, 1,
                              {skipped("\x01", 1), accepted(1)}),
                          row("NoOptions", {}, OK, std::nullopt, {})),
        [](const ::testing::TestParamInfo<OptionsCase>& info) { return info.param.name; });

TEST_F(ModemOptionsTest, Parse_WhenNoArgvOrCount_ReturnsInvalidArgument) {
    char name[] = "plim-modem";
    char* argv[] = {name, nullptr};
    EXPECT_EQ(ModemOptions::parse(0, argv), INVALID_ARGUMENT) << "argc 0 accepted";
    EXPECT_EQ(ModemOptions::parse(1, nullptr), INVALID_ARGUMENT) << "null argv accepted";
    EXPECT_EQ(log_.count(Log::ERROR, TAG, "parse: invalid argument input, can't parse options"), 2u)
            << log_.dump();
}

// getopt keeps its position between calls; a parse that did not rewind would see nothing.
TEST_F(ModemOptionsTest, Parse_WhenCalledAgain_RescansFromFirstArgumentAndKeepsFirstId) {
    ASSERT_EQ(parse({"-i", "1"}), OK);
    ASSERT_EQ(parse({"-i", "0"}), OK);
    EXPECT_EQ(ModemOptions::instanceId(), 1) << "a later parse replaced the first id";
    EXPECT_TRUE(log_.contains(Log::WARN, TAG, ignored(1, "0").text))
            << "the second parse did not rescan from the first argument: " << log_.dump();
}

}  // namespace
}  // namespace com::vyr::plim::modem
