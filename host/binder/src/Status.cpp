/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "Status.h"

#include <cstring>

#include "Required.h"
#include "StatusNames.h"

AStatus AStatus::fromStatus(binder_status_t status) {
    if (status == STATUS_OK)
        return AStatus();
    // As on a device: a value the NDK does not name becomes STATUS_UNKNOWN_ERROR.
    return AStatus(EX_TRANSACTION_FAILED,
                   hostbinder::isKnownStatus(status) ? status : STATUS_UNKNOWN_ERROR, "");
}

std::string AStatus::describe() const {
    if (exception == EX_NONE)
        return "No error";
    std::string text = "Status(" + std::to_string(exception) + ", " +
                       hostbinder::exceptionName(exception) + "): '";
    if (exception == EX_SERVICE_SPECIFIC) {
        text += std::to_string(errorCode) + ": ";
    } else if (exception == EX_TRANSACTION_FAILED) {
        text += hostbinder::statusName(errorCode) + ": ";
    }
    return text + message + "'";
}

namespace {

const AStatus& checked(const AStatus* status, const char* function) {
    return hostbinder::required(status, function, "AStatus");
}

}  // namespace

AStatus* AStatus_newOk() {
    return new AStatus();
}

AStatus* AStatus_fromExceptionCode(binder_exception_t exception) {
    return AStatus_fromExceptionCodeWithMessage(exception, nullptr);
}

AStatus* AStatus_fromExceptionCodeWithMessage(binder_exception_t exception, const char* message) {
    // As on a device: a code the NDK does not name becomes a failed transaction.
    if (!hostbinder::isKnownException(exception))
        exception = EX_TRANSACTION_FAILED;
    // A bare EX_TRANSACTION_FAILED still needs a failing status for AStatus_getStatus.
    int32_t errorCode = exception == EX_TRANSACTION_FAILED ? STATUS_FAILED_TRANSACTION : 0;
    return new AStatus(exception, errorCode, message != nullptr ? message : "");
}

AStatus* AStatus_fromServiceSpecificError(int32_t serviceSpecific) {
    return AStatus_fromServiceSpecificErrorWithMessage(serviceSpecific, nullptr);
}

AStatus* AStatus_fromServiceSpecificErrorWithMessage(int32_t serviceSpecific, const char* message) {
    return new AStatus(EX_SERVICE_SPECIFIC, serviceSpecific, message != nullptr ? message : "");
}

AStatus* AStatus_fromStatus(binder_status_t status) {
    return new AStatus(AStatus::fromStatus(status));
}

bool AStatus_isOk(const AStatus* status) {
    return checked(status, __func__).exception == EX_NONE;
}

binder_exception_t AStatus_getExceptionCode(const AStatus* status) {
    return checked(status, __func__).exception;
}

int32_t AStatus_getServiceSpecificError(const AStatus* status) {
    const AStatus& s = checked(status, __func__);
    return s.exception == EX_SERVICE_SPECIFIC ? s.errorCode : 0;
}

binder_status_t AStatus_getStatus(const AStatus* status) {
    const AStatus& s = checked(status, __func__);
    return s.exception == EX_TRANSACTION_FAILED ? s.errorCode : STATUS_OK;
}

const char* AStatus_getMessage(const AStatus* status) {
    return checked(status, __func__).message.c_str();
}

const char* AStatus_getDescription(const AStatus* status) {
    std::string text = checked(status, __func__).describe();
    char* copy = new char[text.size() + 1];
    std::memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

void AStatus_deleteDescription(const char* description) {
    delete[] description;
}

void AStatus_delete(AStatus* status) {
    delete status;
}
