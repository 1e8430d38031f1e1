/*
 * Copyright (C) 2026 The plim-modem developers
 */

// AStatus: each way of making one maps to the exception, codes and message the NDK gives.

#include <android/binder_auto_utils.h>
#include <gtest/gtest.h>

#include <ostream>

#include <string>

namespace {

struct StatusCase {
    const char* name;
    AStatus* (*make)();
    bool ok;
    binder_exception_t exception;
    int32_t serviceSpecific;
    binder_status_t status;
    // Must appear in the description.
    const char* described;
};

// Names the case in test listings (the default would print its raw bytes).
void PrintTo(const StatusCase& c, std::ostream* os) {
    *os << c.name;
}

class StatusTest : public ::testing::TestWithParam<StatusCase> {};

TEST_P(StatusTest, Accessors_WhenStatusMade_ReportItsKind) {
    const StatusCase& c = GetParam();
    ndk::ScopedAStatus status(c.make());
    EXPECT_EQ(c.ok, status.isOk()) << "isOk is wrong";
    EXPECT_EQ(c.exception, status.getExceptionCode()) << "exception code is wrong";
    EXPECT_EQ(c.serviceSpecific, status.getServiceSpecificError())
            << "service-specific code leaks into other kinds, or is lost";
    EXPECT_EQ(c.status, status.getStatus())
            << "transaction status leaks into other kinds, or is lost";
    EXPECT_NE(std::string::npos, status.getDescription().find(c.described))
            << "description '" << status.getDescription() << "' lacks '" << c.described << "'";
}

INSTANTIATE_TEST_SUITE_P(
        Kinds, StatusTest,
        ::testing::Values(
                StatusCase{"NewOk", [] { return AStatus_newOk(); }, true, EX_NONE, 0, STATUS_OK,
                           "No error"},
                StatusCase{"FromStatusOk", [] { return AStatus_fromStatus(STATUS_OK); }, true,
                           EX_NONE, 0, STATUS_OK, "No error"},
                StatusCase{"FromStatusDeadObject",
                           [] { return AStatus_fromStatus(STATUS_DEAD_OBJECT); }, false,
                           EX_TRANSACTION_FAILED, 0, STATUS_DEAD_OBJECT, "STATUS_DEAD_OBJECT"},
                StatusCase{"FromStatusUnexpectedNull",
                           [] { return AStatus_fromStatus(STATUS_UNEXPECTED_NULL); }, false,
                           EX_TRANSACTION_FAILED, 0, STATUS_UNEXPECTED_NULL,
                           "STATUS_UNEXPECTED_NULL"},
                StatusCase{"BareTransactionFailed",
                           [] { return AStatus_fromExceptionCode(EX_TRANSACTION_FAILED); }, false,
                           EX_TRANSACTION_FAILED, 0, STATUS_FAILED_TRANSACTION,
                           "EX_TRANSACTION_FAILED"},
                StatusCase{"ExceptionWithMessage",
                           [] {
                               return AStatus_fromExceptionCodeWithMessage(EX_ILLEGAL_STATE,
                                                                           "no modem");
                           },
                           false, EX_ILLEGAL_STATE, 0, STATUS_OK, "no modem"},
                StatusCase{"ServiceSpecific", [] { return AStatus_fromServiceSpecificError(4); },
                           false, EX_SERVICE_SPECIFIC, 4, STATUS_OK, "EX_SERVICE_SPECIFIC"},
                StatusCase{"ExceptionNone", [] { return AStatus_fromExceptionCode(EX_NONE); }, true,
                           EX_NONE, 0, STATUS_OK, "No error"},
                // Codes the NDK does not name are pruned, as on a device.
                StatusCase{"UnknownException", [] { return AStatus_fromExceptionCode(-42); }, false,
                           EX_TRANSACTION_FAILED, 0, STATUS_FAILED_TRANSACTION,
                           "STATUS_FAILED_TRANSACTION"},
                StatusCase{"UnknownStatus", [] { return AStatus_fromStatus(-12345); }, false,
                           EX_TRANSACTION_FAILED, 0, STATUS_UNKNOWN_ERROR, "STATUS_UNKNOWN_ERROR"}),
        [](const ::testing::TestParamInfo<StatusCase>& info) { return info.param.name; });

TEST(ScopedAStatusTest, IsOk_WhenEmpty_False) {
    ndk::ScopedAStatus empty;
    EXPECT_FALSE(empty.isOk()) << "a status never set must not pass as success";
}

}  // namespace
