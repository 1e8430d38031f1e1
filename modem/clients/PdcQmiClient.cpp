/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The configuration client's lifecycle, public operations, message routing, the handlers of its
// modem-facing requests and the processing of the two answers that come as events. The MBN tree
// and the loading of a file are in PdcQmiClientMbn.cpp.

#include "PdcQmiClient.h"

#include <array>
#include <cstring>

#include <plim/Log.h>
#include <plim/SerialByteArrayParam.h>
#include <plim/SerialIntParam.h>
#include <plim/SerialVoidParam.h>

#include "ModemResponse.h"
#include "RequestSteps.h"
#include "SelectMbnParam.h"

namespace com::vyr::plim::modem {

namespace {

constexpr const char* TAG = "modem-qmi-pdc";

using InfoResponse = int (*)(int serial, Errno err, const std::vector<uint8_t>& info);

/**
 * One answer record of a get-info request (Record: event 17's or 18's layout), answered to the
 * serial it carries as its token. The record's own result is converted, unlike a synchronous
 * call's, and info bytes are passed on only with a success.
 */
template <typename Record>
int answerInfoRecord(const char* func, const void* data, unsigned long length,
                     InfoResponse respond) {
    if (data == nullptr || length != sizeof(Record)) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: invalid data input", func);
        return INVALID_ARGUMENT;
    }
    // A copy: the library's buffer need not be aligned for the record.
    Record record;
    std::memcpy(&record, data, sizeof(record));
    if (record.token_valid == 0) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: NO valid ind_token for response", func);
        return INVALID_ARGUMENT;
    }
    const int serial = static_cast<int>(record.token);
    Log::printAndroidLog(Log::INFO, TAG, "%s: original serial = %d, modem api result = %d", func,
                         serial, record.result);
    std::vector<uint8_t> info;
    if (record.result == MODEM_API_SUCCESS && record.info_len != 0) {
        size_t count = record.info_len;
        // The modem's count is not trusted to stay inside the record.
        if (count > sizeof(record.info)) {
            Log::printAndroidLog(Log::ERROR, TAG,
                                 "%s: info size = %zu exceeds the record's %zu bytes, cut to them",
                                 func, count, sizeof(record.info));
            count = sizeof(record.info);
        }
        info.assign(record.info, record.info + count);
    }
    return respond(serial, static_cast<Errno>(QmiClient::convertModemApiResult(record.result)),
                   info);
}

/** A get-info request's answer when the handler cannot send it: failures only, as success is
 *  answered by the event. */
template <typename P>
auto failureOnly(InfoResponse respond) {
    return [respond](const P& p, Errno err) {
        return err == OK ? static_cast<int>(OK) : respond(p.serial, err, {});
    };
}

}  // namespace

PdcQmiClient::PdcQmiClient() : QmiClient({MODEM_API_SERVICE_PDC, "PDC", TAG}) {
    enableRtti(RTTI_TYPE);
    // Fixed from start-up on: every walk and every relative path uses the same root.
    mbnRoot();
}

PdcQmiClient::~PdcQmiClient() = default;

void PdcQmiClient::onConnected() {
    Log::printAndroidLog(Log::INFO, TAG, "%s: PDC qmi client is connected", "onConnected");
}

// ---- Public operations (binder threads) ---------------------------------------------------------

int PdcQmiClient::getActiveMbnInfo(int serial, int configType) {
    return postRequest(TAG, __func__, shared_from_this(), GET_ACTIVE_MBN_INFO,
                       std::make_shared<SerialIntParam>(serial, configType));
}

int PdcQmiClient::getMetaMbnInfo(int serial, const std::vector<uint8_t>& configId) {
    return postRequest(TAG, __func__, shared_from_this(), GET_META_MBN_INFO,
                       std::make_shared<SerialByteArrayParam>(serial, configId));
}

int PdcQmiClient::getMbnList(int serial) {
    return postRequest(TAG, __func__, shared_from_this(), GET_MBN_LIST,
                       std::make_shared<SerialVoidParam>(serial));
}

int PdcQmiClient::deleteAllMbns(int serial) {
    return postRequest(TAG, __func__, shared_from_this(), DELETE_ALL_MBNS,
                       std::make_shared<SerialVoidParam>(serial));
}

int PdcQmiClient::selectMbn(int serial, int configType, const std::vector<uint8_t>& configId) {
    return postRequest(TAG, __func__, shared_from_this(), SELECT_MBN,
                       std::make_shared<SelectMbnParam>(serial, configType, configId));
}

int PdcQmiClient::loadMbn(int serial, const std::vector<uint8_t>& path) {
    return postRequest(TAG, __func__, shared_from_this(), LOAD_MBN,
                       std::make_shared<SerialByteArrayParam>(serial, path));
}

int PdcQmiClient::activateMbn(int serial, int configType) {
    return postRequest(TAG, __func__, shared_from_this(), ACTIVATE_MBN,
                       std::make_shared<SerialIntParam>(serial, configType));
}

int PdcQmiClient::deactivateMbn(int serial, int configType) {
    return postRequest(TAG, __func__, shared_from_this(), DEACTIVATE_MBN,
                       std::make_shared<SerialIntParam>(serial, configType));
}

// ---- Routing (main looper thread) ---------------------------------------------------------------

int PdcQmiClient::handle(std::shared_ptr<Message> msg) {
    return routeMessage(TAG, msg, [this](const std::shared_ptr<Message>& m) -> std::optional<int> {
        MessageHandler handler = handlerOf(m->getId());
        if (handler == nullptr) {
            return std::nullopt;
        }
        return (this->*handler)(m);
    });
}

PdcQmiClient::MessageHandler PdcQmiClient::handlerOf(int msgId) {
    static constexpr std::array<MessageHandler, DEACTIVATE_MBN + 1> HANDLERS{
            nullptr,
            &PdcQmiClient::handleGetActiveMbnInfoMessage,
            &PdcQmiClient::handleGetMetaMbnInfoMessage,
            &PdcQmiClient::handleGetMbnListMessage,
            &PdcQmiClient::handleDeleteAllMbnsMessage,
            &PdcQmiClient::handleSelectMbnMessage,
            &PdcQmiClient::handleLoadMbnMessage,
            &PdcQmiClient::handleActivateMbnMessage,
            &PdcQmiClient::handleDeactivateMbnMessage,
    };
    // Unsigned, so that negative ids are out of range too.
    const size_t index = static_cast<size_t>(static_cast<unsigned int>(msgId));
    return index < HANDLERS.size() ? HANDLERS[index] : nullptr;
}

// ---- Handlers (main looper thread) --------------------------------------------------------------

// The serial goes to the library as the request's token; the answer comes with event 17.
int PdcQmiClient::handleGetActiveMbnInfoMessage(const std::shared_ptr<Message>& msg) {
    return serveSync<SerialIntParam>(
            "handleGetActiveMbnInfoMessage", msg, SerialIntParam::RTTI_TYPE,
            [](const SerialIntParam& p) {
                return modem_pdc_get_activate_config_info(p.value, static_cast<uint32_t>(p.serial));
            },
            failureOnly<SerialIntParam>(ModemResponse::respondGetActiveMbnInfo));
}

// As above, answered with event 18.
int PdcQmiClient::handleGetMetaMbnInfoMessage(const std::shared_ptr<Message>& msg) {
    return serveSync<SerialByteArrayParam>(
            "handleGetMetaMbnInfoMessage", msg, SerialByteArrayParam::RTTI_TYPE,
            [](const SerialByteArrayParam& p) {
                return modem_pdc_get_config_info(p.value.data(),
                                                 static_cast<uint32_t>(p.value.size()),
                                                 static_cast<uint32_t>(p.serial));
            },
            failureOnly<SerialByteArrayParam>(ModemResponse::respondGetMetaMbnInfo));
}

int PdcQmiClient::handleDeleteAllMbnsMessage(const std::shared_ptr<Message>& msg) {
    return handleVoidCall("handleDeleteAllMbnsMessage", msg, modem_pdc_delete_all_mbns,
                          ModemResponse::respondDeleteAllMbns);
}

// The connection is tested before the id's size, as everywhere.
int PdcQmiClient::handleSelectMbnMessage(const std::shared_ptr<Message>& msg) {
    static constexpr const char* FUNC = "handleSelectMbnMessage";
    return serveConnected<SelectMbnParam>(
            FUNC, msg, SelectMbnParam::RTTI_TYPE,
            [](const SelectMbnParam& p) {
                if (p.configId.size() >= CONFIG_ID_MAX) {
                    Log::printAndroidLog(
                            Log::INFO, TAG,
                            "%s: exceed/reach max size, target size = %zu, max size = %zu", FUNC,
                            p.configId.size(), CONFIG_ID_MAX);
                    return INVALID_ARGUMENT;
                }
                const auto configId = zeroTerminated<CONFIG_ID_MAX>(p.configId);
                return syncCallOutcome(
                        TAG, FUNC,
                        modem_pdc_set_selected_config_info(p.configType, configId.data()));
            },
            [](const SelectMbnParam& p, Errno err) {
                return ModemResponse::respondSelectMbn(p.serial, err);
            });
}

int PdcQmiClient::handleActivateMbnMessage(const std::shared_ptr<Message>& msg) {
    return handleIntWrite("handleActivateMbnMessage", msg, modem_pdc_activate_config,
                          ModemResponse::respondActivateMbn);
}

int PdcQmiClient::handleDeactivateMbnMessage(const std::shared_ptr<Message>& msg) {
    return handleIntWrite("handleDeactivateMbnMessage", msg, modem_pdc_deactivate_config,
                          ModemResponse::respondDeactivateMbn);
}

// ---- Answers that come as events (the library's event thread) -----------------------------------

int PdcQmiClient::processGetActiveMbnInfoAsyncResponse(const void* data,
                                                       unsigned long length) const {
    return answerInfoRecord<modem_pdc_active_config_info_event>(
            "processGetActiveMbnInfoAsyncResponse", data, length,
            ModemResponse::respondGetActiveMbnInfo);
}

int PdcQmiClient::processGetMetaMbnInfoAsyncResponse(const void* data, unsigned long length) const {
    return answerInfoRecord<modem_pdc_config_info_event>("processGetMetaMbnInfoAsyncResponse", data,
                                                         length,
                                                         ModemResponse::respondGetMetaMbnInfo);
}

}  // namespace com::vyr::plim::modem
