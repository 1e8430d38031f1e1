/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Misuse that a device catches by ending the process: a null class, binder or death recipient
// where a call needs one, a thread pool shrunk once it runs. The host ends the process with a
// message naming the misuse too, instead of the call quietly failing on the host only and hiding
// the caller's bug.

#include <android/binder_auto_utils.h>
#include <android/binder_ibinder.h>
#include <android/binder_process.h>
#include <gtest/gtest.h>

#include <ostream>

#include "OtherProcess.h"

namespace {

struct MisuseRow {
    const char* name;
    void (*call)();
    const char* message;
    friend void PrintTo(const MisuseRow& row, std::ostream* os) { *os << row.name; }
};

class MisuseTest : public ::testing::TestWithParam<MisuseRow> {};

TEST_P(MisuseTest, Call_WhenMisused_AbortsNamingTheMisuse) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(GetParam().call(), GetParam().message) << "the misuse went unnoticed";
}

// A live object for the calls whose other argument is the null one.
ndk::SpAIBinder object() {
    return testobject::create(
            [](transaction_code_t, const AParcel*, AParcel*) { return STATUS_OK; });
}

void ignore(const void*) {}

INSTANTIATE_TEST_SUITE_P(
        Calls, MisuseTest,
        ::testing::Values(MisuseRow{"New", [] { ignore(AIBinder_new(nullptr, nullptr)); },
                                    "AIBinder_new called with a null class"},
                          MisuseRow{"GetDescriptor",
                                    [] { ignore(AIBinder_Class_getDescriptor(nullptr)); },
                                    "AIBinder_Class_getDescriptor called with a null class"},
                          MisuseRow{"AssociateClassWithoutClass",
                                    [] { AIBinder_associateClass(object().get(), nullptr); },
                                    "AIBinder_associateClass called with a null class"},
                          MisuseRow{"IsAlive", [] { AIBinder_isAlive(nullptr); },
                                    "AIBinder_isAlive called with a null binder"},
                          MisuseRow{"Ping", [] { AIBinder_ping(nullptr); },
                                    "AIBinder_ping called with a null binder"},
                          MisuseRow{"LinkToDeathWithoutRecipient",
                                    [] { AIBinder_linkToDeath(object().get(), nullptr, nullptr); },
                                    "AIBinder_linkToDeath called with a null death recipient"},
                          MisuseRow{"Transact",
                                    [] {
                                        AIBinder_transact(nullptr, FIRST_CALL_TRANSACTION, nullptr,
                                                          nullptr, 0);
                                    },
                                    "AIBinder_transact called with a null binder"},
                          MisuseRow{"WeakNew", [] { ignore(AIBinder_Weak_new(nullptr)); },
                                    "AIBinder_Weak_new called with a null binder"},
                          // The daemon's own process, as it would go wrong in the daemon.
                          MisuseRow{"PoolShrunkAfterStart",
                                    [] {
                                        ABinderProcess_setThreadPoolMaxThreadCount(1);
                                        ABinderProcess_startThreadPool();
                                        ABinderProcess_setThreadPoolMaxThreadCount(0);
                                    },
                                    "thread pool cannot be shrunk after starting"}),
        [](const ::testing::TestParamInfo<MisuseRow>& info) { return info.param.name; });

}  // namespace
