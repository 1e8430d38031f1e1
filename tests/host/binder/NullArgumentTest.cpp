/*
 * Copyright (C) 2026 The plim-modem developers
 */

// A null class, binder or death recipient where a call needs one: the process ends with a message
// naming the call, as it ends on a device, instead of the call quietly failing on the host only
// and hiding the caller's bug. The calls that accept null go on accepting it.

#include <android/binder_auto_utils.h>
#include <android/binder_ibinder.h>
#include <gtest/gtest.h>

#include "TestObject.h"

namespace {

struct NullRow {
    const char* name;
    void (*call)();
    const char* message;
};

void PrintTo(const NullRow& row, std::ostream* os) {
    *os << row.name;
}

class NullArgumentTest : public ::testing::TestWithParam<NullRow> {};

TEST_P(NullArgumentTest, Call_WhenARequiredArgumentIsNull_AbortsNamingTheCall) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(GetParam().call(), GetParam().message) << "the null argument went unnoticed";
}

// A live object for the calls whose other argument is the null one.
ndk::SpAIBinder object() {
    return testobject::create(
            [](transaction_code_t, const AParcel*, AParcel*) { return STATUS_OK; });
}

void ignore(const void*) {}

INSTANTIATE_TEST_SUITE_P(
        Calls, NullArgumentTest,
        ::testing::Values(NullRow{"New", [] { ignore(AIBinder_new(nullptr, nullptr)); },
                                  "AIBinder_new called with a null class"},
                          NullRow{"GetDescriptor",
                                  [] { ignore(AIBinder_Class_getDescriptor(nullptr)); },
                                  "AIBinder_Class_getDescriptor called with a null class"},
                          NullRow{"AssociateClassWithoutClass",
                                  [] { AIBinder_associateClass(object().get(), nullptr); },
                                  "AIBinder_associateClass called with a null class"},
                          NullRow{"IsAlive", [] { AIBinder_isAlive(nullptr); },
                                  "AIBinder_isAlive called with a null binder"},
                          NullRow{"Ping", [] { AIBinder_ping(nullptr); },
                                  "AIBinder_ping called with a null binder"},
                          NullRow{"LinkToDeathWithoutRecipient",
                                  [] { AIBinder_linkToDeath(object().get(), nullptr, nullptr); },
                                  "AIBinder_linkToDeath called with a null death recipient"},
                          NullRow{"Transact",
                                  [] {
                                      AParcel* in = nullptr;
                                      AParcel* out = nullptr;
                                      AIBinder_transact(nullptr, FIRST_CALL_TRANSACTION, &in, &out,
                                                        0);
                                  },
                                  "AIBinder_transact called with a null binder"},
                          NullRow{"WeakNew", [] { ignore(AIBinder_Weak_new(nullptr)); },
                                  "AIBinder_Weak_new called with a null binder"}),
        [](const ::testing::TestParamInfo<NullRow>& info) { return info.param.name; });

TEST(NullArgumentTest, Call_WhenNullIsAllowed_GoesOn) {
    AIBinder_incStrong(nullptr);
    AIBinder_decStrong(nullptr);
    EXPECT_EQ(-1, AIBinder_debugGetRefCount(nullptr)) << "a null binder has no count to report";
    EXPECT_EQ(nullptr, AIBinder_Weak_promote(nullptr))
            << "a null weak binder promoted to something";
    AIBinder_Weak_delete(nullptr);
    AIBinder_DeathRecipient_delete(nullptr);
}

}  // namespace
