/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The vendor-specific client's reply callback with records that no request of its own produces:
// each is logged, answered by nothing, and freed (except a null one, which there is nothing of).

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include <plim/Log.h>
#include <plim/Message.h>
#include <plim/SerialVoidParam.h>

#include "LogCapture.h"
#include "ModemAsyncCbData.h"
#include "NasQmiClient.h"
#include "VsQmiClient.h"

namespace com::vyr::plim::modem {
namespace {

using test::LogCapture;

struct RecordRow {
    const char* name;
    // The record handed to the callback; `msg` is the request message it is built around.
    std::function<ModemAsyncCbData*(const std::shared_ptr<Message>& msg)> record;
    int msgId;
    std::string logLine;
};

void PrintTo(const RecordRow& row, std::ostream* os) {
    *os << row.name;
}

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
        ModemAsyncCbData* record = row.record(request);
        request.reset();
        modem_api_async_response reply{};
        VsQmiClient::modemApiAsyncCallback(&reply, sizeof(reply), record, MODEM_API_SUCCESS);
    }
    EXPECT_TRUE(log_.contains(Log::ERROR, "modem-qmi-vs", row.logLine)) << log_.dump();
    EXPECT_TRUE(msg.expired()) << "the record (and the message it holds) was not freed";
}

INSTANTIATE_TEST_SUITE_P(
        Records, VsAsyncCallbackTest,
        ::testing::Values(
                RecordRow{"Null", [](const auto&) { return nullptr; }, VsQmiClient::GET_BUILD_TIME,
                          "modemApiAsyncCallback: null async cb data, can't process"},
                RecordRow{
                        "NoMessage",
                        [](const auto&) {
                            return new ModemAsyncCbData{nullptr, std::make_shared<VsQmiClient>(0)};
                        },
                        VsQmiClient::GET_BUILD_TIME,
                        "modemApiAsyncCallback: can't get original request msg from cb data, "
                        "maybe logic issue"},
                RecordRow{"NoParam",
                          [](const auto&) {
                              auto vs = std::make_shared<VsQmiClient>(0);
                              return new ModemAsyncCbData{
                                      Message::obtain(VsQmiClient::GET_BUILD_TIME, vs, nullptr,
                                                      nullptr),
                                      vs};
                          },
                          VsQmiClient::GET_BUILD_TIME,
                          "modemApiAsyncCallback: null param in original request msg, can't "
                          "process async response"},
                RecordRow{
                        "OtherClient",
                        [](const std::shared_ptr<Message>& msg) {
                            return new ModemAsyncCbData{msg, std::make_shared<NasQmiClient>(0)};
                        },
                        VsQmiClient::GET_BUILD_TIME,
                        "modemApiAsyncCallback: can't get VS qmi client from cb data, serial = 5"},
                RecordRow{
                        "NoClient",
                        [](const std::shared_ptr<Message>& msg) {
                            return new ModemAsyncCbData{msg, nullptr};
                        },
                        VsQmiClient::GET_BUILD_ID,
                        "modemApiAsyncCallback: can't get VS qmi client from cb data, serial = 5"},
                // A synchronous request's id: the reply has no processor.
                RecordRow{"SyncMessageId",
                          [](const std::shared_ptr<Message>& msg) {
                              return new ModemAsyncCbData{msg, std::make_shared<VsQmiClient>(0)};
                          },
                          VsQmiClient::READ_NV, "modemApiAsyncCallback: unsupported msg id = 3"}),
        [](const ::testing::TestParamInfo<RecordRow>& info) { return info.param.name; });

}  // namespace
}  // namespace com::vyr::plim::modem
