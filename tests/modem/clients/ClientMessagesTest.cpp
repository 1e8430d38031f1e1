/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Every client's handle() with messages no binder request produces: no message, a parameter of
// the wrong type or none, an id it does not know. Each is logged, answered by nothing and never
// reaches the modem library.

#include <gtest/gtest.h>
#include <modem_sim/ModemSimControl.h>

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
#include "NasQmiClient.h"
#include "NvAccessParam.h"
#include "PdcQmiClient.h"
#include "SarQmiClient.h"
#include "VsQmiClient.h"
#include "WdsQmiClient.h"

namespace com::vyr::plim::modem {
namespace {

using test::LogCapture;

struct ClientRow {
    const char* name;
    std::function<std::shared_ptr<Handler>()> make;
    const char* tag;
    int id;                                              // a message id the client knows
    const char* handler;                                 // the function that handles it
    std::function<std::shared_ptr<Param>()> wrongParam;  // a parameter of another type
    int unknownId;
};

void PrintTo(const ClientRow& row, std::ostream* os) {
    *os << row.name;
}

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

    std::vector<std::string> clientLines() const { return log_.texts(GetParam().tag); }

    LogCapture log_;
    std::shared_ptr<Handler> client_;
};

TEST_P(ClientMessagesTest, Handle_WithNullMessage_ReturnsInvalidArgument) {
    EXPECT_EQ(INVALID_ARGUMENT, client_->handle(nullptr)) << "a null message was not refused";
    EXPECT_EQ(std::vector<std::string>{"handle: null msg input"}, clientLines());
}

TEST_P(ClientMessagesTest, Handle_WithMissingOrMistypedParam_ReturnsInvalidArgumentUnanswered) {
    const ClientRow& row = GetParam();
    for (const std::shared_ptr<Param>& param : {std::shared_ptr<Param>(), row.wrongParam()}) {
        log_.clear();
        EXPECT_EQ(INVALID_ARGUMENT,
                  client_->handle(Message::obtain(row.id, client_, param, nullptr)))
                << "an unusable parameter was not refused";
        EXPECT_EQ((std::vector<std::string>{
                          "handle: msg id = " + std::to_string(row.id),
                          std::string(row.handler) + ": null param from input msg"}),
                  clientLines());
    }
}

TEST_P(ClientMessagesTest, Handle_WithUnknownId_ReturnsUnsupportedUnanswered) {
    const ClientRow& row = GetParam();
    auto param = std::make_shared<SerialVoidParam>(1);
    EXPECT_EQ(UNSUPPORTED, client_->handle(Message::obtain(row.unknownId, client_, param, nullptr)))
            << "an unknown message id was not refused";
    const std::string id = std::to_string(row.unknownId);
    EXPECT_EQ((std::vector<std::string>{"handle: msg id = " + id,
                                        "handle: unsupported msg id = " + id}),
              clientLines());
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
                          "modem-qmi-dms", DmsQmiClient::GET_OPERATING_MODE,
                          "handleGetOperatingModeMessage", paramOf<SerialIntParam>(1), 3},
                ClientRow{"DmsSet", [] { return std::make_shared<DmsQmiClient>(); },
                          "modem-qmi-dms", DmsQmiClient::SET_OPERATING_MODE,
                          "handleSetOperatingModeMessage", paramOf<SerialVoidParam>(), 0},
                ClientRow{"NasSetVonr", [] { return std::make_shared<NasQmiClient>(0); },
                          "modem-qmi-nas", NasQmiClient::SET_VONR_MODE, "handleSetVonrModeMessage",
                          paramOf<SerialBoolParam>(true), 5},
                ClientRow{"NasGetNr", [] { return std::make_shared<NasQmiClient>(1); },
                          "modem-qmi-nas", NasQmiClient::GET_NR_NETWORK_MODE,
                          "handleGetNrNetworkModeMessage", paramOf<SerialIntParam>(2), -1},
                ClientRow{"Sar", [] { return std::make_shared<SarQmiClient>(); }, "modem-qmi-sar",
                          SarQmiClient::SET_SAR_STATE, "handleSetSarStateMessage",
                          paramOf<SerialVoidParam>(), 2},
                ClientRow{"Wds", [] { return std::make_shared<WdsQmiClient>(0); }, "modem-qmi-wds",
                          WdsQmiClient::DELETE_IMS_PROFILE, "handleDeleteImsProfileMessage",
                          paramOf<SerialIntParam>(0), 2},
                ClientRow{"PdcSelect", [] { return std::make_shared<PdcQmiClient>(); },
                          "modem-qmi-pdc", PdcQmiClient::SELECT_MBN, "handleSelectMbnMessage",
                          paramOf<SerialByteArrayParam>(std::vector<uint8_t>{1}), 9},
                ClientRow{"PdcList", [] { return std::make_shared<PdcQmiClient>(); },
                          "modem-qmi-pdc", PdcQmiClient::GET_MBN_LIST, "handleGetMbnListMessage",
                          paramOf<SerialIntParam>(1), 0},
                ClientRow{"PdcActiveInfo", [] { return std::make_shared<PdcQmiClient>(); },
                          "modem-qmi-pdc", PdcQmiClient::GET_ACTIVE_MBN_INFO,
                          "handleGetActiveMbnInfoMessage", paramOf<SerialVoidParam>(), -1},
                ClientRow{"Diag", [] { return std::make_shared<DiagClient>(); }, "modem-diag",
                          DiagClient::FORCE_ASDIV, "handleForceAsdivMessage",
                          paramOf<SerialVoidParam>(), 2},
                // One class carries NV and EFS requests: the tag alone tells them apart.
                ClientRow{"VsReadNv", [] { return std::make_shared<VsQmiClient>(0); },
                          "modem-qmi-vs", VsQmiClient::READ_NV, "handleReadNvMessage",
                          nvAccess(NvAccessParam::Kind::EFS), 25},
                ClientRow{"VsReadEfs", [] { return std::make_shared<VsQmiClient>(1); },
                          "modem-qmi-vs", VsQmiClient::READ_EFS, "handleReadEfsMessage",
                          nvAccess(NvAccessParam::Kind::NV), 0},
                ClientRow{"VsSetProperty", [] { return std::make_shared<VsQmiClient>(0); },
                          "modem-qmi-vs", VsQmiClient::SET_MODEM_PROPERTY,
                          "handleSetModemPropertyMessage",
                          paramOf<SerialByteArrayParam>(std::vector<uint8_t>{1}), -1}),
        [](const ::testing::TestParamInfo<ClientRow>& info) { return info.param.name; });

}  // namespace
}  // namespace com::vyr::plim::modem
