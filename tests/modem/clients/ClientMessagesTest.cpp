/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Every client's handle() with messages no binder request produces (no message, a parameter of
// the wrong type or none, an id it does not know), and the vendor-specific client's reply
// callback with records no request of its own produces: each is refused, answered by nothing and
// never reaches the modem library; a refused record is still freed. And the client base's
// conversion of the library's results.

#include <gtest/gtest.h>
#include <modem_sim/ModemSimControl.h>

#include <climits>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <plim/Errno.h>
#include <plim/Log.h>
#include <plim/Message.h>
#include <plim/SerialBoolParam.h>
#include <plim/SerialByteArrayParam.h>
#include <plim/SerialIntParam.h>
#include <plim/SerialVoidParam.h>

#include "DiagClient.h"
#include "DmsQmiClient.h"
#include "LogCapture.h"
#include "ModemAsyncCbData.h"
#include "NasQmiClient.h"
#include "NvAccessParam.h"
#include "PdcQmiClient.h"
#include "RowName.h"
#include "SarQmiClient.h"
#include "VsQmiClient.h"
#include "WdsQmiClient.h"

namespace com::vyr::plim::modem {
namespace {

using test::LogCapture;

using test::operator<<;  // rows print as their names

struct ClientRow {
    const char* name;
    std::function<std::shared_ptr<Handler>()> make;
    int id;                                              // a message id the client knows
    std::function<std::shared_ptr<Param>()> wrongParam;  // a parameter of another type
    int unknownId;
};

class ClientMessagesTest : public ::testing::TestWithParam<ClientRow> {
  protected:
    void SetUp() override {
        client_ = GetParam().make();
        // Connected, so that only the message itself can stop a request.
        if (client_->isType(QmiClient::RTTI_TYPE)) {
            std::static_pointer_cast<QmiClient>(client_)->updateConnectionStatus(true);
        }
        log_.clear();
        modemsim::Control::clearCalls();
    }

    void TearDown() override {
        EXPECT_TRUE(log_.texts("modem-resp").empty()) << "a response was sent:\n" << log_.dump();
        EXPECT_TRUE(modemsim::Control::callTexts().empty()) << "the modem library was called";
    }

    LogCapture log_;
    std::shared_ptr<Handler> client_;
};

TEST_P(ClientMessagesTest, Handle_WithUnusableMessage_RefusesItUnanswered) {
    const ClientRow& row = GetParam();
    EXPECT_EQ(INVALID_ARGUMENT, client_->handle(nullptr)) << "a null message was not refused";
    for (const std::shared_ptr<Param>& param : {std::shared_ptr<Param>(), row.wrongParam()}) {
        EXPECT_EQ(INVALID_ARGUMENT,
                  client_->handle(Message::obtain(row.id, client_, param, nullptr)))
                << "an unusable parameter was not refused";
    }
    auto param = std::make_shared<SerialVoidParam>(1);
    EXPECT_EQ(UNSUPPORTED, client_->handle(Message::obtain(row.unknownId, client_, param, nullptr)))
            << "an unknown message id was not refused";
}

template <typename P, typename... Args>
std::function<std::shared_ptr<Param>()> paramOf(Args... args) {
    return [=] { return std::make_shared<P>(7, args...); };
}

std::function<std::shared_ptr<Param>()> nvAccess(NvAccessParam::Kind kind) {
    return [=] { return std::make_shared<NvAccessParam>(kind, 7, 550, 0, 0); };
}

INSTANTIATE_TEST_SUITE_P(
        Clients, ClientMessagesTest,
        ::testing::Values(
                ClientRow{"DmsGet", [] { return std::make_shared<DmsQmiClient>(); },
                          DmsQmiClient::GET_OPERATING_MODE, paramOf<SerialIntParam>(1), 3},
                ClientRow{"NasSetVonr", [] { return std::make_shared<NasQmiClient>(0); },
                          NasQmiClient::SET_VONR_MODE, paramOf<SerialBoolParam>(true), 5},
                ClientRow{"Sar", [] { return std::make_shared<SarQmiClient>(); },
                          SarQmiClient::SET_SAR_STATE, paramOf<SerialVoidParam>(), 2},
                ClientRow{"Wds", [] { return std::make_shared<WdsQmiClient>(0); },
                          WdsQmiClient::DELETE_IMS_PROFILE, paramOf<SerialIntParam>(0), 2},
                ClientRow{"PdcSelect", [] { return std::make_shared<PdcQmiClient>(); },
                          PdcQmiClient::SELECT_MBN,
                          paramOf<SerialByteArrayParam>(std::vector<uint8_t>{1}), 9},
                ClientRow{"PdcList", [] { return std::make_shared<PdcQmiClient>(); },
                          PdcQmiClient::GET_MBN_LIST, paramOf<SerialIntParam>(1), 0},
                ClientRow{"PdcActiveInfo", [] { return std::make_shared<PdcQmiClient>(); },
                          PdcQmiClient::GET_ACTIVE_MBN_INFO, paramOf<SerialVoidParam>(), -1},
                ClientRow{"Diag", [] { return std::make_shared<DiagClient>(); },
                          DiagClient::FORCE_ASDIV, paramOf<SerialVoidParam>(), 2},
                // One class carries NV and EFS requests: the tag alone tells them apart.
                ClientRow{"VsReadNv", [] { return std::make_shared<VsQmiClient>(0); },
                          VsQmiClient::READ_NV, nvAccess(NvAccessParam::Kind::EFS), 25},
                ClientRow{"VsReadEfs", [] { return std::make_shared<VsQmiClient>(1); },
                          VsQmiClient::READ_EFS, nvAccess(NvAccessParam::Kind::NV), 0},
                ClientRow{"VsSetProperty", [] { return std::make_shared<VsQmiClient>(0); },
                          VsQmiClient::SET_MODEM_PROPERTY,
                          paramOf<SerialByteArrayParam>(std::vector<uint8_t>{1}), -1}),
        [](const ::testing::TestParamInfo<ClientRow>& info) { return info.param.name; });

// ---- The vendor-specific reply callback ------------------------------------------------------

enum class Held { NOTHING, MESSAGE_WITHOUT_PARAM, REQUEST };
enum class Owner { NONE, VS, NAS };

struct RecordRow {
    const char* name;
    bool record;  // false: the callback gets no record at all
    Held message;
    Owner client;
    int msgId;
    std::string logLine;
};

class VsAsyncCallbackTest : public ::testing::TestWithParam<RecordRow> {
  protected:
    void TearDown() override {
        EXPECT_TRUE(log_.texts("modem-resp").empty()) << "a response was sent:\n" << log_.dump();
    }

    LogCapture log_;
    std::shared_ptr<VsQmiClient> client_ = std::make_shared<VsQmiClient>(0);
};

TEST_P(VsAsyncCallbackTest, Callback_WithBrokenRecord_LogsFreesAndAnswersNothing) {
    const RecordRow& row = GetParam();
    std::weak_ptr<Message> msg;
    {
        auto request =
                Message::obtain(row.msgId, client_, std::make_shared<SerialVoidParam>(5), nullptr);
        msg = request;
        auto vs = std::make_shared<VsQmiClient>(0);
        std::shared_ptr<Message> held = row.message == Held::REQUEST ? request
                                        : row.message == Held::MESSAGE_WITHOUT_PARAM
                                                ? Message::obtain(row.msgId, vs, nullptr, nullptr)
                                                : nullptr;
        std::shared_ptr<QmiClient> owner = row.client == Owner::VS ? std::shared_ptr<QmiClient>(vs)
                                           : row.client == Owner::NAS
                                                   ? std::make_shared<NasQmiClient>(0)
                                                   : nullptr;
        ModemAsyncCbData* record = row.record ? new ModemAsyncCbData{held, owner} : nullptr;
        request.reset();
        modem_api_async_response reply{};
        VsQmiClient::modemApiAsyncCallback(&reply, sizeof(reply), record, MODEM_API_SUCCESS);
    }
    EXPECT_TRUE(log_.contains(Log::ERROR, "modem-qmi-vs", "modemApiAsyncCallback: " + row.logLine))
            << log_.dump();
    EXPECT_TRUE(msg.expired()) << "the record (and the message it holds) was not freed";
}

const std::string kNoClient = "can't get VS qmi client from cb data, serial = 5";

INSTANTIATE_TEST_SUITE_P(
        Records, VsAsyncCallbackTest,
        ::testing::Values(
                RecordRow{"Null", false, Held::NOTHING, Owner::NONE, VsQmiClient::GET_BUILD_TIME,
                          "null async cb data, can't process"},
                RecordRow{"NoMessage", true, Held::NOTHING, Owner::VS, VsQmiClient::GET_BUILD_TIME,
                          "can't get original request msg from cb data, maybe logic issue"},
                RecordRow{"NoParam", true, Held::MESSAGE_WITHOUT_PARAM, Owner::VS,
                          VsQmiClient::GET_BUILD_TIME,
                          "null param in original request msg, can't process async response"},
                RecordRow{"OtherClient", true, Held::REQUEST, Owner::NAS,
                          VsQmiClient::GET_BUILD_TIME, kNoClient},
                RecordRow{"NoClient", true, Held::REQUEST, Owner::NONE, VsQmiClient::GET_BUILD_ID,
                          kNoClient},
                // A synchronous request's id: the reply has no processor.
                RecordRow{"SyncMessageId", true, Held::REQUEST, Owner::VS, VsQmiClient::READ_NV,
                          "unsupported msg id = 3"}),
        [](const ::testing::TestParamInfo<RecordRow>& info) { return info.param.name; });

// ---- The client base's checks of what the modem library returns ------------------------------

struct ResultRow {
    const char* name;
    modem_api_result_type result;
    int expected;
};

class QmiClientResultTest : public ::testing::TestWithParam<ResultRow> {};

TEST_P(QmiClientResultTest, ConvertModemApiResult_ForEachCode_MapsToItsErrno) {
    EXPECT_EQ(GetParam().expected, QmiClient::convertModemApiResult(GetParam().result))
            << "modem result " << GetParam().result << " maps to the wrong error";
}

INSTANTIATE_TEST_SUITE_P(
        Codes, QmiClientResultTest,
        ::testing::Values(
                ResultRow{"Success", 0, OK}, ResultRow{"GenericFailure", 1, FAILED},
                ResultRow{"NoMemory", 2, NO_MEMORY},
                ResultRow{"InvalidArgument", 3, INVALID_ARGUMENT}, ResultRow{"Internal", 4, FAILED},
                ResultRow{"NotSupported", 5, UNSUPPORTED}, ResultRow{"Timeout", 6, FAILED},
                ResultRow{"Transport", 7, FAILED}, ResultRow{"NotReady", 8, INVALID_STATE},
                ResultRow{"Busy", 9, FAILED}, ResultRow{"NoResources", 10, NO_MEMORY},
                ResultRow{"FirstUnknown", 11, FAILED}, ResultRow{"Negative", -1, FAILED},
                ResultRow{"Largest", INT_MAX, FAILED}, ResultRow{"Smallest", INT_MIN, FAILED}),
        [](const ::testing::TestParamInfo<ResultRow>& info) { return info.param.name; });

TEST(QmiClientReplyTest, VerifyModemApiAsyncResponse_WhenNotExactly548Bytes_IsInvalidArgument) {
    std::vector<uint8_t> reply(549);
    for (size_t size : {size_t{0}, size_t{8}, size_t{547}, size_t{549}}) {
        EXPECT_EQ(INVALID_ARGUMENT, QmiClient::verifyModemApiAsyncResponse(reply.data(), size))
                << "a reply of " << size << " bytes was accepted";
    }
    EXPECT_EQ(INVALID_ARGUMENT, QmiClient::verifyModemApiAsyncResponse(nullptr, 548))
            << "a null reply was accepted";
}

}  // namespace
}  // namespace com::vyr::plim::modem
