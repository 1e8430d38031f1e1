/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
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

const std::vector<const std::string*> ALL_TAGS = {
        &Param::RTTI_TYPE,
        &SerialParam::RTTI_TYPE,
        &SerialVoidParam::RTTI_TYPE,
        &SerialIntParam::RTTI_TYPE,
        &SerialBoolParam::RTTI_TYPE,
        &SerialByteParam::RTTI_TYPE,
        &SerialByteArrayParam::RTTI_TYPE,
};

struct TagCase {
    std::string name;
    std::function<std::shared_ptr<Param>()> make;
    std::vector<const std::string*> is;  // every other tag of ALL_TAGS must answer false
};

// Names the row in test output instead of dumping its bytes.
void PrintTo(const TagCase& row, std::ostream* os) {
    *os << row.name;
}

/** A row for a Param subclass built from `args`, tagged as itself, SerialParam and Param. */
template <typename T, typename... Args>
TagCase serialRow(std::string name, Args... args) {
    return {std::move(name),
            [=] { return std::make_shared<T>(args...); },
            {&Param::RTTI_TYPE, &SerialParam::RTTI_TYPE, &T::RTTI_TYPE}};
}

class ParamTest : public ::testing::TestWithParam<TagCase> {};

TEST_P(ParamTest, IsType_AlongClassChain_TrueForItselfAndBasesFalseForSiblings) {
    std::shared_ptr<Param> param = GetParam().make();
    const std::vector<const std::string*>& is = GetParam().is;
    for (const std::string* tag : ALL_TAGS) {
        bool expected = std::find(is.begin(), is.end(), tag) != is.end();
        // A copy of the text, as a receiver may hold: tags compare by text, not by address.
        EXPECT_EQ(param->isType(std::string(*tag)), expected)
                << GetParam().name << " answered wrongly for tag " << *tag
                << ": a receiver would downcast it to the wrong class";
        EXPECT_FALSE(param->isType(tag->substr(0, tag->size() - 1)) || param->isType(*tag + "X"))
                << GetParam().name << " matched a text that only shares a prefix with " << *tag;
    }
}

INSTANTIATE_TEST_SUITE_P(
        Chains, ParamTest,
        ::testing::Values(
                TagCase{"Param", [] { return std::make_shared<Param>(); }, {&Param::RTTI_TYPE}},
                serialRow<SerialVoidParam>("SerialVoid", 1),
                serialRow<SerialIntParam>("SerialInt", 1, 2),
                serialRow<SerialBoolParam>("SerialBool", 1, true),
                serialRow<SerialByteParam>("SerialByte", 1, uint8_t{0xff}),
                serialRow<SerialByteArrayParam>("SerialByteArray", 1, std::vector<uint8_t>{1, 2})),
        [](const ::testing::TestParamInfo<TagCase>& info) { return info.param.name; });

class RttiContextTest : public ::testing::Test {};

TEST_F(RttiContextTest, EnableRtti_WhenChainDeeperThanCapacity_KeepsFirstTagsRefusesAndLogs) {
    static const std::vector<std::string> names = {"a", "b", "c", "d", "e", "f", "g", "h", "i"};
    ASSERT_EQ(names.size(), RttiContext::MAX_TYPE_NAMES + 1) << "test setup: one tag too many";
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

}  // namespace
}  // namespace com::vyr::plim::test
