/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The vendor-specific client's asynchronous requests: the handlers that start them on the main
// looper thread, and the library's reply, answered on the library thread that delivers it.

#include <algorithm>
#include <cstring>
#include <memory>

#include <plim/Log.h>
#include <plim/SerialBoolParam.h>
#include <plim/SerialByteArrayParam.h>
#include <plim/SerialByteParam.h>
#include <plim/SerialVoidParam.h>

#include "ModemAsyncCbData.h"
#include "ModemPropertyParam.h"
#include "ModemResponse.h"
#include "RequestSteps.h"
#include "VsQmiClient.h"

namespace com::vyr::plim::modem {

namespace {

constexpr const char* TAG = "modem-qmi-vs";
constexpr const char* CALLBACK_FUNC = "modemApiAsyncCallback";

// Offsets in the reply record.
constexpr size_t PAYLOAD_OFFSET = offsetof(modem_api_async_response, payload);
constexpr size_t TEXT_OFFSET = PAYLOAD_OFFSET + sizeof(uint32_t);

/** A request without limits of its own. */
template <typename P>
Errno noLimit(const P&) {
    return OK;
}

const uint8_t* bytesOf(const void* data) {
    return static_cast<const uint8_t*>(data);
}

}  // namespace

// ---- Starting a request (main looper thread) ----------------------------------------------------

template <typename P, typename Admit, typename Start, typename Respond>
int VsQmiClient::startAsyncRequest(const char* func, const std::shared_ptr<Message>& msg,
                                   const std::string& type, Admit admit, Start start,
                                   Respond respond) {
    std::shared_ptr<P> p = requestParam<P>(TAG, func, msg, type);
    if (!p) {
        return INVALID_ARGUMENT;
    }
    if (!checkConnected(func)) {
        return respond(p->serial, INVALID_STATE);
    }
    const Errno admitted = admit(*p);
    if (admitted != OK) {
        return respond(p->serial, admitted);
    }
    // Owned by the library from here until the reply, unless it refuses the request.
    auto* cbData =
            new ModemAsyncCbData{msg, std::static_pointer_cast<QmiClient>(shared_from_this())};
    if (start(*p, cbData) != MODEM_API_SUCCESS) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: failed to send async request", func);
        delete cbData;
        return respond(p->serial, FAILED);
    }
    Log::printAndroidLog(Log::INFO, TAG, "%s: successfully sent async request", func);
    return OK;
}

int VsQmiClient::handleGetBuildTimeMessage(const std::shared_ptr<Message>& msg) {
    return startAsyncRequest<SerialVoidParam>(
            "handleGetBuildTimeMessage", msg, SerialVoidParam::RTTI_TYPE, noLimit<SerialVoidParam>,
            [](const SerialVoidParam&, void* cbData) {
                return modem_get_build_time(cbData, modemApiAsyncCallback);
            },
            [](int serial, Errno err) {
                return ModemResponse::respondGetBuildTime(serial, err, "");
            });
}

int VsQmiClient::handleGetBuildIdMessage(const std::shared_ptr<Message>& msg) {
    return startAsyncRequest<SerialVoidParam>(
            "handleGetBuildIdMessage", msg, SerialVoidParam::RTTI_TYPE, noLimit<SerialVoidParam>,
            [](const SerialVoidParam&, void* cbData) {
                return modem_get_build_id(cbData, modemApiAsyncCallback);
            },
            [](int serial, Errno err) {
                return ModemResponse::respondGetBuildId(serial, err, "");
            });
}

int VsQmiClient::handleSetRadioInfoReportSwitchMessage(const std::shared_ptr<Message>& msg) {
    return startAsyncRequest<SerialBoolParam>(
            "handleSetRadioInfoReportSwitchMessage", msg, SerialBoolParam::RTTI_TYPE,
            noLimit<SerialBoolParam>,
            [](const SerialBoolParam& p, void* cbData) {
                return modem_api_set_radio_info_report_enabled(p.value, cbData,
                                                               modemApiAsyncCallback);
            },
            ModemResponse::respondSetRadioInfoReportSwitch);
}

int VsQmiClient::handleActivateMbnByNameMessage(const std::shared_ptr<Message>& msg) {
    static constexpr const char* FUNC = "handleActivateMbnByNameMessage";
    return startAsyncRequest<SerialByteArrayParam>(
            FUNC, msg, SerialByteArrayParam::RTTI_TYPE,
            [](const SerialByteArrayParam& p) {
                if (p.value.size() < MBN_NAME_MAX) {
                    return OK;
                }
                Log::printAndroidLog(Log::INFO, TAG,
                                     "%s: exceed/reach max size, name size = %zu, max size = %zu",
                                     FUNC, p.value.size(), MBN_NAME_MAX);
                return INVALID_ARGUMENT;
            },
            [](const SerialByteArrayParam& p, void* cbData) {
                return modem_api_active_mbn(zeroTerminated<MBN_NAME_MAX>(p.value).data(), cbData,
                                            modemApiAsyncCallback);
            },
            ModemResponse::respondActivateMbnByName);
}

int VsQmiClient::handleRemoveRatMaskMessage(const std::shared_ptr<Message>& msg) {
    return startAsyncRequest<SerialVoidParam>(
            "handleRemoveRatMaskMessage", msg, SerialVoidParam::RTTI_TYPE, noLimit<SerialVoidParam>,
            [](const SerialVoidParam&, void* cbData) {
                return modem_api_remove_rat_mask(cbData, modemApiAsyncCallback);
            },
            ModemResponse::respondRemoveRatMask);
}

int VsQmiClient::handleGetModemPropertyMessage(const std::shared_ptr<Message>& msg) {
    static constexpr const char* FUNC = "handleGetModemPropertyMessage";
    return startAsyncRequest<SerialByteArrayParam>(
            FUNC, msg, SerialByteArrayParam::RTTI_TYPE,
            [](const SerialByteArrayParam& p) { return checkKeySize(FUNC, p.value); },
            [](const SerialByteArrayParam& p, void* cbData) {
                return modem_api_get_modem_property(
                        zeroTerminated<PROPERTY_KEY_MAX>(p.value).data(), cbData,
                        modemApiAsyncCallback);
            },
            [](int serial, Errno err) {
                return ModemResponse::respondGetModemProperty(serial, err, {});
            });
}

int VsQmiClient::handleSetModemPropertyMessage(const std::shared_ptr<Message>& msg) {
    static constexpr const char* FUNC = "handleSetModemPropertyMessage";
    return startAsyncRequest<ModemPropertyParam>(
            FUNC, msg, ModemPropertyParam::RTTI_TYPE,
            [](const ModemPropertyParam& p) {
                if (p.key.size() < PROPERTY_KEY_MAX && p.value.size() < PROPERTY_VALUE_MAX) {
                    return OK;
                }
                Log::printAndroidLog(Log::INFO, TAG,
                                     "%s: exceed/reach max size, key size = %zu, max = %zu, "
                                     "val size = %zu, max = %zu",
                                     FUNC, p.key.size(), PROPERTY_KEY_MAX, p.value.size(),
                                     PROPERTY_VALUE_MAX);
                return INVALID_ARGUMENT;
            },
            [](const ModemPropertyParam& p, void* cbData) {
                modem_api_property_record record{};
                std::copy(p.key.begin(), p.key.end(), record.key);
                record.key_len = static_cast<uint32_t>(p.key.size());
                std::copy(p.value.begin(), p.value.end(), record.value);
                record.value_len = static_cast<uint32_t>(p.value.size());
                return modem_api_set_modem_property(&record, cbData, modemApiAsyncCallback);
            },
            ModemResponse::respondSetModemProperty);
}

// The library carries the 5G power save switch in its power-save-mode calls, and the 5G power
// save mode in its power-save-status call.
int VsQmiClient::handleGet5gPowerSaveSwitchMessage(const std::shared_ptr<Message>& msg) {
    return startAsyncRequest<SerialVoidParam>(
            "handleGet5gPowerSaveSwitchMessage", msg, SerialVoidParam::RTTI_TYPE,
            noLimit<SerialVoidParam>,
            [](const SerialVoidParam&, void* cbData) {
                return modem_api_get_power_save_mode(cbData, modemApiAsyncCallback);
            },
            [](int serial, Errno err) {
                return ModemResponse::respondGet5gPowerSaveSwitch(serial, err, false);
            });
}

int VsQmiClient::handleSet5gPowerSaveSwitchMessage(const std::shared_ptr<Message>& msg) {
    return startAsyncRequest<SerialBoolParam>(
            "handleSet5gPowerSaveSwitchMessage", msg, SerialBoolParam::RTTI_TYPE,
            noLimit<SerialBoolParam>,
            [](const SerialBoolParam& p, void* cbData) {
                return modem_api_set_power_save_mode(p.value, cbData, modemApiAsyncCallback);
            },
            ModemResponse::respondSet5gPowerSaveSwitch);
}

int VsQmiClient::handleSet5gPowerSaveModeMessage(const std::shared_ptr<Message>& msg) {
    return startAsyncRequest<SerialByteParam>(
            "handleSet5gPowerSaveModeMessage", msg, SerialByteParam::RTTI_TYPE,
            noLimit<SerialByteParam>,
            [](const SerialByteParam& p, void* cbData) {
                return modem_api_set_power_save_status(p.value, cbData, modemApiAsyncCallback);
            },
            ModemResponse::respondSet5gPowerSaveMode);
}

int VsQmiClient::handleAbortRrcConnectionMessage(const std::shared_ptr<Message>& msg) {
    return startAsyncRequest<SerialVoidParam>(
            "handleAbortRrcConnectionMessage", msg, SerialVoidParam::RTTI_TYPE,
            noLimit<SerialVoidParam>,
            [](const SerialVoidParam&, void* cbData) {
                return modem_abort_rrc_connection(cbData, modemApiAsyncCallback);
            },
            ModemResponse::respondAbortRrcConnection);
}

// ---- The reply (a library thread) ---------------------------------------------------------------

void VsQmiClient::modemApiAsyncCallback(const void* data, unsigned long len, void* cbData,
                                        modem_api_result_type /*result*/) {
    if (cbData == nullptr) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: null async cb data, can't process",
                             CALLBACK_FUNC);
        return;
    }
    // Ours from here, whatever the record holds; freed with the references it carries.
    std::unique_ptr<ModemAsyncCbData> record(static_cast<ModemAsyncCbData*>(cbData));
    const std::shared_ptr<Message>& msg = record->msg;
    if (!msg) {
        Log::printAndroidLog(Log::ERROR, TAG,
                             "%s: can't get original request msg from cb data, maybe logic issue",
                             CALLBACK_FUNC);
        return;
    }
    std::shared_ptr<Param> param = msg->getParam();
    if (!param || !param->isType(SerialParam::RTTI_TYPE)) {
        Log::printAndroidLog(Log::ERROR, TAG,
                             "%s: null param in original request msg, can't process async "
                             "response",
                             CALLBACK_FUNC);
        return;
    }
    std::shared_ptr<SerialParam> serialParam = std::static_pointer_cast<SerialParam>(param);
    const std::shared_ptr<QmiClient>& client = record->client;
    if (!client || !client->isType(RTTI_TYPE)) {
        Log::printAndroidLog(Log::ERROR, TAG,
                             "%s: can't get VS qmi client from cb data, serial = %d", CALLBACK_FUNC,
                             serialParam->serial);
        return;
    }
    Log::printAndroidLog(Log::INFO, TAG, "%s: msg id = %d, serial = %d", CALLBACK_FUNC,
                         msg->getId(), serialParam->serial);
    const ReplyProcessor processor = processorOf(msg->getId());
    if (processor == nullptr) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: unsupported msg id = %d", CALLBACK_FUNC,
                             msg->getId());
        return;
    }
    const auto& vsClient = static_cast<const VsQmiClient&>(*client);
    (vsClient.*processor)(data, len, std::move(serialParam));
}

VsQmiClient::ReplyProcessor VsQmiClient::processorOf(int msgId) {
    switch (msgId) {
        case GET_BUILD_TIME:
            return &VsQmiClient::processGetBuildTimeAsyncResponse;
        case GET_BUILD_ID:
            return &VsQmiClient::processGetBuildIdAsyncResponse;
        case SET_RADIO_INFO_REPORT_SWITCH:
            return &VsQmiClient::processSetRadioInfoReportSwitchAsyncResponse;
        case ACTIVATE_MBN_BY_NAME:
            return &VsQmiClient::processActivateMbnByNameAsyncResponse;
        case REMOVE_RAT_MASK:
            return &VsQmiClient::processRemoveRatMaskAsyncResponse;
        case GET_MODEM_PROPERTY:
            return &VsQmiClient::processGetModemPropertyAsyncResponse;
        case SET_MODEM_PROPERTY:
            return &VsQmiClient::processSetModemPropertyAsyncResponse;
        case GET_5G_POWER_SAVE_SWITCH:
            return &VsQmiClient::processGet5gPowerSaveSwitchAsyncResponse;
        case SET_5G_POWER_SAVE_SWITCH:
            return &VsQmiClient::processSet5gPowerSaveSwitchAsyncResponse;
        case SET_5G_POWER_SAVE_MODE:
            return &VsQmiClient::processSet5gPowerSaveModeAsyncResponse;
        case ABORT_RRC_CONNECTION:
            return &VsQmiClient::processAbortRrcConnectionAsyncResponse;
    }
    return nullptr;
}

Errno VsQmiClient::checkKeySize(const char* func, const std::vector<uint8_t>& key) {
    if (key.size() < PROPERTY_KEY_MAX) {
        return OK;
    }
    Log::printAndroidLog(Log::INFO, TAG,
                         "%s: exceed/reach max size, key size = %zu, max size = %zu", func,
                         key.size(), PROPERTY_KEY_MAX);
    return INVALID_ARGUMENT;
}

Errno VsQmiClient::verifiedReply(const char* func, const void* data, unsigned long len) {
    const auto err = static_cast<Errno>(verifyModemApiAsyncResponse(data, len));
    if (err != OK) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: invalid async response data", func);
    }
    return err;
}

Errno VsQmiClient::buildText(const char* func, const char* what, const void* data,
                             std::string& text) {
    uint32_t length;
    std::memcpy(&length, bytesOf(data) + PAYLOAD_OFFSET, sizeof(length));
    if (length >= BUILD_TEXT_MAX) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: build %s string length %zu exceed max size",
                             func, what, static_cast<size_t>(length));
        return INVALID_ARGUMENT;
    }
    // The text need not end with a zero; a zero inside ends it early.
    const char* chars = reinterpret_cast<const char*>(bytesOf(data) + TEXT_OFFSET);
    text.assign(chars, strnlen(chars, length));
    return OK;
}

int VsQmiClient::processGetBuildTimeAsyncResponse(const void* data, unsigned long len,
                                                  std::shared_ptr<SerialParam> param) const {
    static constexpr const char* FUNC = "processGetBuildTimeAsyncResponse";
    std::string text;
    Errno err = verifiedReply(FUNC, data, len);
    if (err == OK) {
        err = buildText(FUNC, "time", data, text);
    }
    return ModemResponse::respondGetBuildTime(param->serial, err, text);
}

int VsQmiClient::processGetBuildIdAsyncResponse(const void* data, unsigned long len,
                                                std::shared_ptr<SerialParam> param) const {
    static constexpr const char* FUNC = "processGetBuildIdAsyncResponse";
    std::string text;
    Errno err = verifiedReply(FUNC, data, len);
    if (err == OK) {
        err = buildText(FUNC, "id", data, text);
    }
    return ModemResponse::respondGetBuildId(param->serial, err, text);
}

int VsQmiClient::processGetModemPropertyAsyncResponse(const void* data, unsigned long len,
                                                      std::shared_ptr<SerialParam> param) const {
    std::vector<uint8_t> value;
    const Errno err = verifiedReply("processGetModemPropertyAsyncResponse", data, len);
    if (err == OK) {
        // At most 511 bytes: the library's value buffer keeps its last byte for a zero.
        const char* chars = reinterpret_cast<const char*>(bytesOf(data) + PAYLOAD_OFFSET);
        const size_t length = strnlen(chars, PROPERTY_VALUE_MAX - 1);
        value.assign(chars, chars + length);
    }
    return ModemResponse::respondGetModemProperty(param->serial, err, value);
}

int VsQmiClient::processGet5gPowerSaveSwitchAsyncResponse(
        const void* data, unsigned long len, std::shared_ptr<SerialParam> param) const {
    const Errno err = verifiedReply("processGet5gPowerSaveSwitchAsyncResponse", data, len);
    const bool on = err == OK && bytesOf(data)[PAYLOAD_OFFSET] != 0;
    return ModemResponse::respondGet5gPowerSaveSwitch(param->serial, err, on);
}

int VsQmiClient::processSetRadioInfoReportSwitchAsyncResponse(
        const void* data, unsigned long len, std::shared_ptr<SerialParam> param) const {
    return ModemResponse::respondSetRadioInfoReportSwitch(
            param->serial,
            verifiedReply("processSetRadioInfoReportSwitchAsyncResponse", data, len));
}

int VsQmiClient::processActivateMbnByNameAsyncResponse(const void* data, unsigned long len,
                                                       std::shared_ptr<SerialParam> param) const {
    return ModemResponse::respondActivateMbnByName(
            param->serial, verifiedReply("processActivateMbnByNameAsyncResponse", data, len));
}

int VsQmiClient::processRemoveRatMaskAsyncResponse(const void* data, unsigned long len,
                                                   std::shared_ptr<SerialParam> param) const {
    return ModemResponse::respondRemoveRatMask(
            param->serial, verifiedReply("processRemoveRatMaskAsyncResponse", data, len));
}

int VsQmiClient::processSetModemPropertyAsyncResponse(const void* data, unsigned long len,
                                                      std::shared_ptr<SerialParam> param) const {
    return ModemResponse::respondSetModemProperty(
            param->serial, verifiedReply("processSetModemPropertyAsyncResponse", data, len));
}

int VsQmiClient::processSet5gPowerSaveSwitchAsyncResponse(
        const void* data, unsigned long len, std::shared_ptr<SerialParam> param) const {
    return ModemResponse::respondSet5gPowerSaveSwitch(
            param->serial, verifiedReply("processSet5gPowerSaveSwitchAsyncResponse", data, len));
}

int VsQmiClient::processSet5gPowerSaveModeAsyncResponse(const void* data, unsigned long len,
                                                        std::shared_ptr<SerialParam> param) const {
    return ModemResponse::respondSet5gPowerSaveMode(
            param->serial, verifiedReply("processSet5gPowerSaveModeAsyncResponse", data, len));
}

int VsQmiClient::processAbortRrcConnectionAsyncResponse(const void* data, unsigned long len,
                                                        std::shared_ptr<SerialParam> param) const {
    return ModemResponse::respondAbortRrcConnection(
            param->serial, verifiedReply("processAbortRrcConnectionAsyncResponse", data, len));
}

}  // namespace com::vyr::plim::modem
