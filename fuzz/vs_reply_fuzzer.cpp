/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The vendor-specific client's asynchronous reply of any length and content, for any request
// message, delivered as the modem library delivers it: VsQmiClient::modemApiAsyncCallback with
// the record it was given as user data (a ModemAsyncCbData), on a thread that is not the main
// looper's. The response callback is an object of this process, so every answer is seen before
// the callback returns.
//
// Input: byte 0 the request's message id (bit 7 set: the next 4 bytes are the id, else byte 0 %
// 26); byte 1 how the user data and the record are made (see Shape); 4 bytes the request's serial,
// 4 bytes the callback's result argument; the rest is the record, cut or zero-padded to the
// record's size when Shape says so.
//
// Checks: a reply to one of the client's asynchronous requests gets exactly one answer, by the
// request's own method and serial, with the error and result the record's documented layout
// gives; anything else is answered by nothing; the user data and its message are always freed.

#include <android/log.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <modem_api.h>
#include <plim/Errno.h>
#include <plim/Message.h>
#include <plim/SerialBoolParam.h>
#include <plim/SerialVoidParam.h>

#include "CallbackHolders.h"
#include "FuzzCheck.h"
#include "ModemAsyncCbData.h"
#include "NasQmiClient.h"
#include "QmiClient.h"
#include "RecordingResponse.h"
#include "VsQmiClient.h"

namespace {

using com::vyr::plim::Message;
using com::vyr::plim::Param;
using com::vyr::plim::SerialBoolParam;
using com::vyr::plim::SerialVoidParam;
using com::vyr::plim::fuzz::RecordingResponse;
using com::vyr::plim::fuzz::ResponseCall;
using com::vyr::plim::modem::CallbackHolders;
using com::vyr::plim::modem::ModemAsyncCbData;
using com::vyr::plim::modem::NasQmiClient;
using com::vyr::plim::modem::QmiClient;
using com::vyr::plim::modem::VsQmiClient;

constexpr size_t kRecordSize = MODEM_API_ASYNC_RESPONSE_SIZE;
constexpr size_t kPayloadOffset = offsetof(modem_api_async_response, payload);

class Input {
  public:
    Input(const uint8_t* data, size_t size) : data_(data), size_(size) {}
    uint8_t byte() { return size_ > 0 ? (--size_, *data_++) : 0; }
    uint32_t word() {
        uint32_t value = 0;
        for (int i = 0; i < 4; ++i) {
            value |= static_cast<uint32_t>(byte()) << (8 * i);
        }
        return value;
    }
    const uint8_t* rest() const { return data_; }
    size_t left() const { return size_; }

  private:
    const uint8_t* data_;
    size_t size_;
};

/** How the user data and the record are made: byte 1 of the input. */
struct Shape {
    explicit Shape(uint8_t bits)
        : param(bits & 3),
          client((bits >> 2) & 3),
          nullData((bits & 0x10) != 0),
          exactSize((bits & 0x20) != 0),
          nullUserData((bits & 0x40) != 0) {}
    int param;   // 0, 3 a SerialVoidParam; 1 a SerialBoolParam; 2 none
    int client;  // 0, 3 the VS client; 1 another client; 2 none
    bool nullData;
    bool exactSize;
    bool nullUserData;  // the library passes no user data at all

    bool serialParam() const { return param != 2; }
    bool vsClient() const { return client == 0 || client == 3; }
};

std::shared_ptr<VsQmiClient> vsClient;
std::shared_ptr<NasQmiClient> otherClient;
std::shared_ptr<RecordingResponse> response;

/** The response method of each asynchronous request, by message id; null for the others. */
const char* methodOf(int msgId) {
    switch (msgId) {
        case VsQmiClient::GET_BUILD_TIME:
            return "respondGetBuildTime";
        case VsQmiClient::GET_BUILD_ID:
            return "respondGetBuildId";
        case VsQmiClient::SET_RADIO_INFO_REPORT_SWITCH:
            return "respondSetRadioInfoReportSwitch";
        case VsQmiClient::ACTIVATE_MBN_BY_NAME:
            return "respondActivateMbnByName";
        case VsQmiClient::REMOVE_RAT_MASK:
            return "respondRemoveRatMask";
        case VsQmiClient::GET_MODEM_PROPERTY:
            return "respondGetModemProperty";
        case VsQmiClient::SET_MODEM_PROPERTY:
            return "respondSetModemProperty";
        case VsQmiClient::GET_5G_POWER_SAVE_SWITCH:
            return "respondGet5gPowerSaveSwitch";
        case VsQmiClient::SET_5G_POWER_SAVE_SWITCH:
            return "respondSet5gPowerSaveSwitch";
        case VsQmiClient::SET_5G_POWER_SAVE_MODE:
            return "respondSet5gPowerSaveMode";
        case VsQmiClient::ABORT_RRC_CONNECTION:
            return "respondAbortRrcConnection";
    }
    return nullptr;
}

/** The error a well-sized record's result word becomes (ResponseInfo.error). */
int32_t errorOf(uint32_t result) {
    static constexpr int32_t kErrors[] = {0, 1, 5, 3, 1, 2, 1, 1, 4, 1, 5};
    return result < sizeof(kErrors) / sizeof(kErrors[0]) ? kErrors[result] : 1;
}

/** Checks the one answer against the record it answers. */
void checkAnswer(int msgId, const ResponseCall& call, int32_t serial, const uint8_t* record,
                 size_t length) {
    CHECK(call.method == methodOf(msgId));
    CHECK(call.info.type == 0);
    CHECK(call.info.serial == serial);
    if (record == nullptr || length != kRecordSize) {
        CHECK(call.info.error == com::vyr::plim::INVALID_ARGUMENT);
        CHECK(call.text.empty() && call.bytes.empty() && call.number == 0);
        return;
    }
    uint32_t result;
    std::memcpy(&result, record + offsetof(modem_api_async_response, result), sizeof(result));
    int32_t error = errorOf(result);
    const uint8_t* payload = record + kPayloadOffset;
    switch (msgId) {
        case VsQmiClient::GET_BUILD_TIME:
        case VsQmiClient::GET_BUILD_ID: {
            uint32_t textLength;
            std::memcpy(&textLength, payload, sizeof(textLength));
            if (error == 0 && textLength >= VsQmiClient::BUILD_TEXT_MAX) {
                error = com::vyr::plim::INVALID_ARGUMENT;
            }
            std::string expected;
            if (error == 0) {
                const char* text = reinterpret_cast<const char*>(payload + sizeof(textLength));
                expected.assign(text, strnlen(text, textLength));
            }
            CHECK(call.text == expected);
            break;
        }
        case VsQmiClient::GET_MODEM_PROPERTY: {
            std::vector<uint8_t> expected;
            if (error == 0) {
                const char* value = reinterpret_cast<const char*>(payload);
                expected.assign(payload, payload + strnlen(value, 511));
            }
            CHECK(call.bytes == expected);
            break;
        }
        case VsQmiClient::GET_5G_POWER_SAVE_SWITCH:
            CHECK(call.number == (error == 0 && payload[0] != 0 ? 1 : 0));
            break;
        default:
            CHECK(call.text.empty() && call.bytes.empty() && call.number == 0);
            break;
    }
    CHECK(call.info.error == error);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    // Every reply is logged; at fuzzing rates that drowns libFuzzer's own output.
    __android_log_set_minimum_priority(ANDROID_LOG_FATAL);
    vsClient = std::make_shared<VsQmiClient>(0);
    otherClient = std::make_shared<NasQmiClient>(0);
    response = ndk::SharedRefBase::make<RecordingResponse>();
    CallbackHolders::response().update(response);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input in(data, size);
    const uint8_t idByte = in.byte();
    const int msgId = (idByte & 0x80) != 0 ? static_cast<int>(in.word()) : idByte % 26;
    const Shape shape(in.byte());
    const auto serial = static_cast<int32_t>(in.word());
    const auto resultArgument = static_cast<modem_api_result_type>(in.word());

    // A heap block of exactly the record's length, so that a read past it is ASan's to report.
    const size_t length = shape.exactSize ? kRecordSize : in.left();
    std::unique_ptr<uint8_t[]> record(new uint8_t[length + (length == 0 ? 1 : 0)]());
    std::memcpy(record.get(), in.rest(), std::min(length, in.left()));

    std::shared_ptr<Param> param;
    if (shape.param == 1) {
        param = std::make_shared<SerialBoolParam>(serial, true);
    } else if (shape.param != 2) {
        param = std::make_shared<SerialVoidParam>(serial);
    }
    std::shared_ptr<QmiClient> client;
    if (shape.vsClient()) {
        client = vsClient;
    } else if (shape.client == 1) {
        client = otherClient;
    }
    std::shared_ptr<Message> msg = Message::obtain(msgId, vsClient, param, nullptr);
    CHECK(msg != nullptr);
    const std::weak_ptr<Message> sent = msg;
    auto* cbData = shape.nullUserData ? nullptr : new ModemAsyncCbData{std::move(msg), client};
    msg.reset();

    const uint8_t* delivered = shape.nullData ? nullptr : record.get();
    VsQmiClient::modemApiAsyncCallback(delivered, length, cbData, resultArgument);

    CHECK(sent.expired());
    const std::vector<ResponseCall> calls = response->take();
    if (shape.nullUserData || methodOf(msgId) == nullptr || !shape.serialParam() ||
        !shape.vsClient()) {
        CHECK(calls.empty());
        return 0;
    }
    CHECK(calls.size() == 1);
    checkAnswer(msgId, calls[0], serial, delivered, length);
    return 0;
}
