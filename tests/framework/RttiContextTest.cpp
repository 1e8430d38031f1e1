/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <plim/Log.h>
#include <plim/RttiContext.h>

#include "LogCapture.h"

namespace com::vyr::plim::test {
namespace {

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
        // By the tag itself, and by a copy of its text, as a receiver may hold.
        EXPECT_TRUE(context.isType(names[i]) && context.isType(std::string(names[i])))
                << "tag " << names[i] << " within capacity lost, or compared by address only";
    }
    EXPECT_FALSE(context.isType("i")) << "a tag beyond capacity must not be kept";
    EXPECT_TRUE(log.contains(Log::ERROR, "plim-framework",
                             "enableRtti: no room for type tag {i}, class chain too deep"))
            << log.dump();
}

}  // namespace
}  // namespace com::vyr::plim::test
