/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <plim/Log.h>
#include <plim/SerialBoolParam.h>
#include <plim/SerialByteArrayParam.h>
#include <plim/SerialByteParam.h>
#include <plim/SerialIntParam.h>
#include <plim/SerialVoidParam.h>

#include "LogCapture.h"

namespace com::vyr::plim::test {
namespace {

const std::vector<const std::string*>& allTags() {
    static const std::vector<const std::string*> tags = {
            &Param::RTTI_TYPE,
            &SerialParam::RTTI_TYPE,
            &SerialVoidParam::RTTI_TYPE,
            &SerialIntParam::RTTI_TYPE,
            &SerialBoolParam::RTTI_TYPE,
            &SerialByteParam::RTTI_TYPE,
            &SerialByteArrayParam::RTTI_TYPE,
    };
    return tags;
}

struct TagCase {
    std::string name;
    std::function<std::shared_ptr<Param>()> make;
    std::vector<const std::string*> is;  // every other tag of allTags() must answer false
};

// Names the row in test output instead of dumping its bytes.
void PrintTo(const TagCase& row, std::ostream* os) {
    *os << row.name;
}

class ParamTagTest : public ::testing::TestWithParam<TagCase> {};

TEST_P(ParamTagTest, IsType_AlongClassChain_TrueForItselfAndBasesOnly) {
    std::shared_ptr<Param> param = GetParam().make();
    for (const std::string* tag : allTags()) {
        bool expected = false;
        for (const std::string* own : GetParam().is) {
            expected = expected || own == tag;
        }
        EXPECT_EQ(param->isType(*tag), expected)
                << GetParam().name << " answered wrongly for tag " << *tag;
    }
}

INSTANTIATE_TEST_SUITE_P(
        Chains, ParamTagTest,
        ::testing::Values(
                TagCase{"Param", [] { return std::make_shared<Param>(); }, {&Param::RTTI_TYPE}},
                TagCase{"SerialVoid",
                        [] { return std::make_shared<SerialVoidParam>(1); },
                        {&Param::RTTI_TYPE, &SerialParam::RTTI_TYPE, &SerialVoidParam::RTTI_TYPE}},
                TagCase{"SerialInt",
                        [] { return std::make_shared<SerialIntParam>(1, 2); },
                        {&Param::RTTI_TYPE, &SerialParam::RTTI_TYPE, &SerialIntParam::RTTI_TYPE}},
                TagCase{"SerialBool",
                        [] { return std::make_shared<SerialBoolParam>(1, true); },
                        {&Param::RTTI_TYPE, &SerialParam::RTTI_TYPE, &SerialBoolParam::RTTI_TYPE}},
                TagCase{"SerialByte",
                        [] { return std::make_shared<SerialByteParam>(1, 0xff); },
                        {&Param::RTTI_TYPE, &SerialParam::RTTI_TYPE, &SerialByteParam::RTTI_TYPE}},
                TagCase{"SerialByteArray",
                        [] {
                            return std::make_shared<SerialByteArrayParam>(
                                    1, std::vector<uint8_t>{1, 2});
                        },
                        {&Param::RTTI_TYPE, &SerialParam::RTTI_TYPE,
                         &SerialByteArrayParam::RTTI_TYPE}}),
        [](const ::testing::TestParamInfo<TagCase>& info) { return info.param.name; });

class RttiContextTest : public ::testing::Test {};

TEST_F(RttiContextTest, IsType_WhenSameTextInAnotherString_ComparesWholeText) {
    SerialIntParam param(1, 2);
    EXPECT_TRUE(param.isType(std::string(SerialIntParam::RTTI_TYPE)))
            << "tags must compare by text, not by address";
    EXPECT_FALSE(param.isType("SerialInt")) << "a prefix of a tag must not match";
    EXPECT_FALSE(param.isType(SerialIntParam::RTTI_TYPE + "X")) << "a longer text must not match";
    EXPECT_FALSE(param.isType("")) << "the empty text is no tag";
}

TEST_F(RttiContextTest, EnableRtti_WhenChainDeeperThanCapacity_RefusesAndLogs) {
    static const std::vector<std::string> names = {"a", "b", "c", "d", "e", "f", "g", "h", "i"};
    LogCapture log;
    RttiContext context;
    for (const std::string& name : names) {
        context.enableRtti(name);
    }
    for (size_t i = 0; i < RttiContext::MAX_TYPE_NAMES; ++i) {
        EXPECT_TRUE(context.isType(names[i])) << "tag " << names[i] << " within capacity lost";
    }
    EXPECT_FALSE(context.isType("i")) << "a tag beyond capacity must not be kept";
    EXPECT_TRUE(log.contains(Log::ERROR, "plim-framework",
                             "enableRtti: no room for type tag {i}, class chain too deep"))
            << log.dump();
}

class SerialParamTest : public ::testing::Test {};

TEST_F(SerialParamTest, Construct_Always_KeepsSerialAndCopiesValue) {
    std::vector<uint8_t> bytes = {0x00, 0x7f, 0x80, 0xff};
    SerialByteArrayParam array(-5, bytes);
    bytes[0] = 0x55;
    EXPECT_EQ(array.serial, -5) << "negative serials must survive";
    EXPECT_EQ(array.value, (std::vector<uint8_t>{0x00, 0x7f, 0x80, 0xff}))
            << "the value must be a copy, unaffected by the caller's later changes";
    EXPECT_EQ(SerialByteParam(1, 0xff).value, 0xff) << "byte values are unsigned";
    EXPECT_EQ(SerialIntParam(INT32_MIN, INT32_MAX).serial, INT32_MIN);
}

}  // namespace
}  // namespace com::vyr::plim::test
