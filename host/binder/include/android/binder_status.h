/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Host build of the binder NDK: status and exception codes, and AStatus, the result of an AIDL
// method call. Same names, values and semantics as the NDK's header of the same name, so that
// code written against the NDK compiles unchanged on a Linux host.
//
// Threads: an AStatus is a plain value object; one thread at a time.

#pragma once

#include <errno.h>
#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Low-level outcome of a transaction or a parcel operation.
enum {
    STATUS_OK = 0,

    STATUS_UNKNOWN_ERROR = (-2147483647 - 1),
    STATUS_NO_MEMORY = -ENOMEM,
    STATUS_INVALID_OPERATION = -ENOSYS,
    STATUS_BAD_VALUE = -EINVAL,
    STATUS_BAD_TYPE = (STATUS_UNKNOWN_ERROR + 1),
    STATUS_NAME_NOT_FOUND = -ENOENT,
    STATUS_PERMISSION_DENIED = -EPERM,
    STATUS_NO_INIT = -ENODEV,
    STATUS_ALREADY_EXISTS = -EEXIST,
    STATUS_DEAD_OBJECT = -EPIPE,
    STATUS_FAILED_TRANSACTION = (STATUS_UNKNOWN_ERROR + 2),
    STATUS_BAD_INDEX = -EOVERFLOW,
    STATUS_NOT_ENOUGH_DATA = -ENODATA,
    STATUS_WOULD_BLOCK = -EWOULDBLOCK,
    STATUS_TIMED_OUT = -ETIMEDOUT,
    STATUS_UNKNOWN_TRANSACTION = -EBADMSG,
    STATUS_FDS_NOT_ALLOWED = (STATUS_UNKNOWN_ERROR + 7),
    STATUS_UNEXPECTED_NULL = (STATUS_UNKNOWN_ERROR + 8),
};

// One of the STATUS_* values.
typedef int32_t binder_status_t;

// Exception an AIDL method call ended with; EX_NONE when it succeeded.
enum {
    EX_NONE = 0,
    EX_SECURITY = -1,
    EX_BAD_PARCELABLE = -2,
    EX_ILLEGAL_ARGUMENT = -3,
    EX_NULL_POINTER = -4,
    EX_ILLEGAL_STATE = -5,
    EX_NETWORK_MAIN_THREAD = -6,
    EX_UNSUPPORTED_OPERATION = -7,
    EX_SERVICE_SPECIFIC = -8,
    EX_PARCELABLE = -9,
    EX_HAS_REPLY_HEADER = -128,
    // The call failed below the method: AStatus_getStatus tells the binder_status_t.
    EX_TRANSACTION_FAILED = -129,
};

// One of the EX_* values.
typedef int32_t binder_exception_t;

struct AStatus;
typedef struct AStatus AStatus;

__attribute__((warn_unused_result)) AStatus* AStatus_newOk(void);
__attribute__((warn_unused_result)) AStatus* AStatus_fromExceptionCode(
        binder_exception_t exception);
__attribute__((warn_unused_result)) AStatus* AStatus_fromExceptionCodeWithMessage(
        binder_exception_t exception, const char* message);
// EX_SERVICE_SPECIFIC carrying an error code of the service's own.
__attribute__((warn_unused_result)) AStatus* AStatus_fromServiceSpecificError(
        int32_t serviceSpecific);
__attribute__((warn_unused_result)) AStatus* AStatus_fromServiceSpecificErrorWithMessage(
        int32_t serviceSpecific, const char* message);
// STATUS_OK gives an ok status; any other value gives EX_TRANSACTION_FAILED carrying it.
__attribute__((warn_unused_result)) AStatus* AStatus_fromStatus(binder_status_t status);

bool AStatus_isOk(const AStatus* status);
binder_exception_t AStatus_getExceptionCode(const AStatus* status);
// The service's error code for EX_SERVICE_SPECIFIC, else 0.
int32_t AStatus_getServiceSpecificError(const AStatus* status);
// The binder_status_t for EX_TRANSACTION_FAILED, else STATUS_OK.
binder_status_t AStatus_getStatus(const AStatus* status);
// Never null; empty when there is no message. Lives as long as the status.
const char* AStatus_getMessage(const AStatus* status);
// Human-readable description; free it with AStatus_deleteDescription.
__attribute__((warn_unused_result)) const char* AStatus_getDescription(const AStatus* status);
void AStatus_deleteDescription(const char* description);
void AStatus_delete(AStatus* status);

#ifdef __cplusplus
}  // extern "C"
#endif
