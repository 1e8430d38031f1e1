/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "QmiClient.h"

#include <array>
#include <cstring>

#include <plim/Errno.h>
#include <plim/Log.h>
#include <plim/SerialIntParam.h>
#include <plim/SerialVoidParam.h>

#include "RequestSteps.h"

namespace com::vyr::plim::modem {

namespace {

constexpr const char* TAG = "modem-qmi";

// Indexed by the modem library's result codes 0 to 10.
constexpr std::array<int, 11> ERRNO_OF_RESULT{
        OK,                // success
        FAILED,            // generic failure
        NO_MEMORY,         // no memory
        INVALID_ARGUMENT,  // invalid argument
        FAILED,            // internal error
        UNSUPPORTED,       // not supported
        FAILED,            // timeout
        FAILED,            // transport error
        INVALID_STATE,     // service not ready
        FAILED,            // busy
        NO_MEMORY,         // no resources
};

}  // namespace

QmiClient::QmiClient(const QmiService& service) : service_(service) {
    enableRtti(RTTI_TYPE);
}

QmiClient::~QmiClient() = default;

void QmiClient::onConnected() {
    Log::printAndroidLog(Log::INFO, TAG, "%s: default impl, nothing to do", "onConnected");
}

void QmiClient::updateConnectionStatus(bool connected) {
    connected_.store(connected);
    if (connected) {
        onConnected();
    }
}

int QmiClient::verifyModemApiAsyncResponse(const void* data, size_t len) {
    if (data == nullptr || len != MODEM_API_ASYNC_RESPONSE_SIZE) {
        return INVALID_ARGUMENT;
    }
    uint32_t result;
    std::memcpy(&result,
                static_cast<const uint8_t*>(data) + offsetof(modem_api_async_response, result),
                sizeof(result));
    return convertModemApiResult(static_cast<modem_api_result_type>(result));
}

int QmiClient::convertModemApiResult(modem_api_result_type result) {
    // Unsigned, so that negative codes are out of range too.
    const uint32_t index = static_cast<uint32_t>(result);
    return index < ERRNO_OF_RESULT.size() ? ERRNO_OF_RESULT[index] : FAILED;
}

int QmiClient::openConnection() {
    static constexpr const char* FUNC = "setup";
    if (modem_api_init_qmi_connection(service_.id, 0) != MODEM_API_SUCCESS) {
        Log::printAndroidLog(Log::ERROR, service_.tag, "%s: failed to setup %s qmi notifier", FUNC,
                             service_.name);
        return FAILED;
    }
    Log::printAndroidLog(Log::INFO, service_.tag, "%s: %s qmi notifier setup completed", FUNC,
                         service_.name);
    return OK;
}

int QmiClient::closeConnection() {
    static constexpr const char* FUNC = "release";
    if (modem_api_release_qmi_connection(service_.id) != MODEM_API_SUCCESS) {
        Log::printAndroidLog(Log::ERROR, service_.tag,
                             "%s: failed to release %s qmi client or notifier", FUNC,
                             service_.name);
        return FAILED;
    }
    Log::printAndroidLog(Log::INFO, service_.tag, "%s: %s qmi client and notifier released", FUNC,
                         service_.name);
    return OK;
}

bool QmiClient::checkConnected(const char* func) const {
    if (!isConnected()) {
        Log::printAndroidLog(Log::ERROR, service_.tag, "%s: %s qmi service not connected", func,
                             service_.name);
        return false;
    }
    return true;
}

void QmiClient::bindSubscription(modem_api_result_type (*bind)(int32_t instanceId),
                                 int32_t instanceId) const {
    if (bind(instanceId) != MODEM_API_SUCCESS) {
        Log::printAndroidLog(Log::ERROR, service_.tag,
                             "%s: failed to bind %s subscription, instance id = %d", "onConnected",
                             service_.name, instanceId);
    }
}

int QmiClient::handleIntRead(const char* func, const std::shared_ptr<Message>& msg, IntRead read,
                             IntReadResponse respond, std::optional<int32_t> failureValue) const {
    int value = 0;
    return serveSync<SerialVoidParam>(
            func, msg, SerialVoidParam::RTTI_TYPE,
            [&](const SerialVoidParam&) { return read(&value); },
            [&](const SerialVoidParam& p, Errno err) {
                return respond(p.serial, err, err != OK && failureValue ? *failureValue : value);
            });
}

int QmiClient::handleVoidCall(const char* func, const std::shared_ptr<Message>& msg, VoidCall call,
                              Response respond) const {
    return serveSync<SerialVoidParam>(
            func, msg, SerialVoidParam::RTTI_TYPE, [&](const SerialVoidParam&) { return call(); },
            [&](const SerialVoidParam& p, Errno err) { return respond(p.serial, err); });
}

int QmiClient::handleIntWrite(const char* func, const std::shared_ptr<Message>& msg, IntWrite write,
                              Response respond) const {
    return serveSync<SerialIntParam>(
            func, msg, SerialIntParam::RTTI_TYPE,
            [&](const SerialIntParam& p) { return write(p.value); },
            [&](const SerialIntParam& p, Errno err) { return respond(p.serial, err); });
}

}  // namespace com::vyr::plim::modem
