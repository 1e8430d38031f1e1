/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The vendor-specific client's lifecycle, public operations, message routing and synchronous
// handlers. The asynchronous ones are in VsQmiClientAsync.cpp.

#include "VsQmiClient.h"

#include <algorithm>
#include <array>

#include <plim/Log.h>
#include <plim/SerialBoolParam.h>
#include <plim/SerialByteArrayParam.h>
#include <plim/SerialByteParam.h>
#include <plim/SerialIntParam.h>
#include <plim/SerialVoidParam.h>

#include "ModemPropertyParam.h"
#include "ModemResponse.h"
#include "NvAccessParam.h"
#include "RequestSteps.h"

namespace com::vyr::plim::modem {

namespace {

constexpr const char* TAG = "modem-qmi-vs";

// The library's failed QST-mode query answers -1, its failed fuse query 0.
constexpr int32_t QST_MODE_UNKNOWN = -1;
constexpr int32_t FUSE_STATE_UNKNOWN = 0;

/** What a read answers: after a success the first `len` bytes of `buf`, never more than it
 *  holds whatever the library claims; after a failure nothing. */
std::vector<uint8_t> readBytes(Errno err, const std::vector<uint8_t>& buf, size_t len) {
    if (err != OK) {
        return {};
    }
    return std::vector<uint8_t>(buf.begin(), buf.begin() + std::min(len, buf.size()));
}

}  // namespace

VsQmiClient::VsQmiClient(int32_t instanceId)
    : QmiClient({MODEM_API_SERVICE_VS, "VS", TAG}), instanceId_(instanceId) {
    enableRtti(RTTI_TYPE);
}

VsQmiClient::~VsQmiClient() = default;

void VsQmiClient::onConnected() {
    static constexpr const char* FUNC = "onConnected";
    Log::printAndroidLog(Log::INFO, TAG, "%s: VS qmi client is connected", FUNC);
    bindSubscription(modem_api_bind_vs_subscription, instanceId_);
    // The library is one per modem: one instance asking for its version is enough.
    if (instanceId_ != 0) {
        return;
    }
    uint8_t version = 0;
    if (modem_api_get_version(&version) != MODEM_API_SUCCESS) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: failed to get modem api version", FUNC);
        return;
    }
    Log::printAndroidLog(Log::DEBUG, TAG, "%s: got modem api version = %u", FUNC, version);
}

// ---- Public operations (binder threads) ---------------------------------------------------------

int VsQmiClient::getBuildTime(int serial) {
    return postRequest(TAG, __func__, shared_from_this(), GET_BUILD_TIME,
                       std::make_shared<SerialVoidParam>(serial));
}

int VsQmiClient::getBuildId(int serial) {
    return postRequest(TAG, __func__, shared_from_this(), GET_BUILD_ID,
                       std::make_shared<SerialVoidParam>(serial));
}

int VsQmiClient::readNv(int serial, int nvId, uint8_t subId, uint8_t index) {
    return postRequest(
            TAG, __func__, shared_from_this(), READ_NV,
            std::make_shared<NvAccessParam>(NvAccessParam::Kind::NV, serial, nvId, subId, index));
}

int VsQmiClient::writeNv(int serial, int nvId, uint8_t subId, uint8_t index,
                         const std::vector<uint8_t>& data) {
    return postRequest(TAG, __func__, shared_from_this(), WRITE_NV,
                       std::make_shared<NvAccessParam>(NvAccessParam::Kind::NV, serial, nvId, subId,
                                                       index, data));
}

int VsQmiClient::readEfs(int serial, int efsId, uint8_t subId) {
    return postRequest(
            TAG, __func__, shared_from_this(), READ_EFS,
            std::make_shared<NvAccessParam>(NvAccessParam::Kind::EFS, serial, efsId, subId, 0));
}

int VsQmiClient::writeEfs(int serial, int efsId, uint8_t subId, const std::vector<uint8_t>& data) {
    return postRequest(TAG, __func__, shared_from_this(), WRITE_EFS,
                       std::make_shared<NvAccessParam>(NvAccessParam::Kind::EFS, serial, efsId,
                                                       subId, 0, data));
}

int VsQmiClient::deleteEfsFile(int serial, int efsId, uint8_t subId) {
    return postRequest(
            TAG, __func__, shared_from_this(), DELETE_EFS_FILE,
            std::make_shared<NvAccessParam>(NvAccessParam::Kind::EFS, serial, efsId, subId, 0));
}

int VsQmiClient::deleteEfsDir(int serial, int efsId) {
    return postRequest(
            TAG, __func__, shared_from_this(), DELETE_EFS_DIR,
            std::make_shared<NvAccessParam>(NvAccessParam::Kind::EFS, serial, efsId, 0, 0));
}

int VsQmiClient::setRadioInfoReportSwitch(int serial, bool enabled) {
    return postRequest(TAG, __func__, shared_from_this(), SET_RADIO_INFO_REPORT_SWITCH,
                       std::make_shared<SerialBoolParam>(serial, enabled));
}

int VsQmiClient::activateMbnByName(int serial, const std::vector<uint8_t>& name) {
    return postRequest(TAG, __func__, shared_from_this(), ACTIVATE_MBN_BY_NAME,
                       std::make_shared<SerialByteArrayParam>(serial, name));
}

int VsQmiClient::restoreDiffQcn(int serial) {
    return postRequest(TAG, __func__, shared_from_this(), RESTORE_DIFF_QCN,
                       std::make_shared<SerialVoidParam>(serial));
}

int VsQmiClient::rebootModem(int serial) {
    return postRequest(TAG, __func__, shared_from_this(), REBOOT_MODEM,
                       std::make_shared<SerialVoidParam>(serial));
}

int VsQmiClient::removeRatMask(int serial) {
    return postRequest(TAG, __func__, shared_from_this(), REMOVE_RAT_MASK,
                       std::make_shared<SerialVoidParam>(serial));
}

int VsQmiClient::getModemProperty(int serial, const std::vector<uint8_t>& key) {
    return postRequest(TAG, __func__, shared_from_this(), GET_MODEM_PROPERTY,
                       std::make_shared<SerialByteArrayParam>(serial, key));
}

int VsQmiClient::setModemProperty(int serial, const std::vector<uint8_t>& key,
                                  const std::vector<uint8_t>& value) {
    return postRequest(TAG, __func__, shared_from_this(), SET_MODEM_PROPERTY,
                       std::make_shared<ModemPropertyParam>(serial, key, value));
}

int VsQmiClient::deleteModemProperty(int serial, const std::vector<uint8_t>& key) {
    return postRequest(TAG, __func__, shared_from_this(), DELETE_MODEM_PROPERTY,
                       std::make_shared<SerialByteArrayParam>(serial, key));
}

int VsQmiClient::get5gPowerSaveSwitch(int serial) {
    return postRequest(TAG, __func__, shared_from_this(), GET_5G_POWER_SAVE_SWITCH,
                       std::make_shared<SerialVoidParam>(serial));
}

int VsQmiClient::set5gPowerSaveSwitch(int serial, bool on) {
    return postRequest(TAG, __func__, shared_from_this(), SET_5G_POWER_SAVE_SWITCH,
                       std::make_shared<SerialBoolParam>(serial, on));
}

int VsQmiClient::set5gPowerSaveMode(int serial, uint8_t mode) {
    return postRequest(TAG, __func__, shared_from_this(), SET_5G_POWER_SAVE_MODE,
                       std::make_shared<SerialByteParam>(serial, mode));
}

int VsQmiClient::getSimlockFuseState(int serial) {
    return postRequest(TAG, __func__, shared_from_this(), GET_SIMLOCK_FUSE_STATE,
                       std::make_shared<SerialVoidParam>(serial));
}

int VsQmiClient::getQstMode(int serial) {
    return postRequest(TAG, __func__, shared_from_this(), GET_QST_MODE,
                       std::make_shared<SerialVoidParam>(serial));
}

int VsQmiClient::setQstMode(int serial, int mode) {
    return postRequest(TAG, __func__, shared_from_this(), SET_QST_MODE,
                       std::make_shared<SerialIntParam>(serial, mode));
}

int VsQmiClient::abortRrcConnection(int serial) {
    return postRequest(TAG, __func__, shared_from_this(), ABORT_RRC_CONNECTION,
                       std::make_shared<SerialVoidParam>(serial));
}

int VsQmiClient::informScreenState(int serial, bool on) {
    return postRequest(TAG, __func__, shared_from_this(), INFORM_SCREEN_STATE,
                       std::make_shared<SerialBoolParam>(serial, on));
}

// ---- Routing (main looper thread) ---------------------------------------------------------------

int VsQmiClient::handle(std::shared_ptr<Message> msg) {
    return routeMessage(TAG, msg, [this](const std::shared_ptr<Message>& m) -> std::optional<int> {
        const MessageHandler handler = handlerOf(m->getId());
        if (handler == nullptr) {
            return std::nullopt;
        }
        return (this->*handler)(m);
    });
}

VsQmiClient::MessageHandler VsQmiClient::handlerOf(int msgId) {
    // Indexed by message id; 0 is no message.
    static constexpr std::array<MessageHandler, INFORM_SCREEN_STATE + 1> HANDLERS{
            nullptr,
            &VsQmiClient::handleGetBuildTimeMessage,
            &VsQmiClient::handleGetBuildIdMessage,
            &VsQmiClient::handleReadNvMessage,
            &VsQmiClient::handleWriteNvMessage,
            &VsQmiClient::handleReadEfsMessage,
            &VsQmiClient::handleWriteEfsMessage,
            &VsQmiClient::handleDeleteEfsFileMessage,
            &VsQmiClient::handleDeleteEfsDirMessage,
            &VsQmiClient::handleSetRadioInfoReportSwitchMessage,
            &VsQmiClient::handleActivateMbnByNameMessage,
            &VsQmiClient::handleRestoreDiffQcnMessage,
            &VsQmiClient::handleRebootModemMessage,
            &VsQmiClient::handleRemoveRatMaskMessage,
            &VsQmiClient::handleGetModemPropertyMessage,
            &VsQmiClient::handleSetModemPropertyMessage,
            &VsQmiClient::handleDeleteModemPropertyMessage,
            &VsQmiClient::handleGet5gPowerSaveSwitchMessage,
            &VsQmiClient::handleSet5gPowerSaveSwitchMessage,
            &VsQmiClient::handleSet5gPowerSaveModeMessage,
            &VsQmiClient::handleGetSimlockFuseStateMessage,
            &VsQmiClient::handleGetQstModeMessage,
            &VsQmiClient::handleSetQstModeMessage,
            &VsQmiClient::handleAbortRrcConnectionMessage,
            &VsQmiClient::handleInformScreenStateMessage,
    };
    // Unsigned, so that negative ids are out of range too.
    const size_t index = static_cast<size_t>(static_cast<unsigned int>(msgId));
    return index < HANDLERS.size() ? HANDLERS[index] : nullptr;
}

// ---- Synchronous handlers (main looper thread) --------------------------------------------------

int VsQmiClient::handleReadNvMessage(const std::shared_ptr<Message>& msg) {
    std::vector<uint8_t> buf;
    size_t len = 0;
    return serveSync<NvAccessParam>(
            "handleReadNvMessage", msg, NvAccessParam::RTTI_TYPE,
            [&](const NvAccessParam& p) {
                buf.assign(MODEM_NV_ITEM_MAX_SIZE, 0);
                len = buf.size();
                return modem_read_nv_for_subid(p.subId, p.nvId, p.index, buf.data(), &len);
            },
            [&](const NvAccessParam& p, Errno err) {
                return ModemResponse::respondReadNv(p.serial, err, readBytes(err, buf, len));
            });
}

// The write carries no index: the library's NV write has none.
int VsQmiClient::handleWriteNvMessage(const std::shared_ptr<Message>& msg) {
    return serveSync<NvAccessParam>(
            "handleWriteNvMessage", msg, NvAccessParam::RTTI_TYPE,
            [](const NvAccessParam& p) {
                return modem_write_nv_for_subid(p.subId, p.nvId, p.data.data(), p.data.size());
            },
            [](const NvAccessParam& p, Errno err) {
                return ModemResponse::respondWriteNv(p.serial, err);
            });
}

int VsQmiClient::handleReadEfsMessage(const std::shared_ptr<Message>& msg) {
    // On the heap: 10 KiB is much for the looper thread's stack.
    std::vector<uint8_t> buf;
    size_t len = 0;
    return serveSync<NvAccessParam>(
            "handleReadEfsMessage", msg, NvAccessParam::EFS_TYPE,
            [&](const NvAccessParam& p) {
                buf.assign(MODEM_EFS_FILE_MAX_SIZE, 0);
                len = buf.size();
                return modem_read_efs_for_subid(p.subId, p.nvId, buf.data(), &len);
            },
            [&](const NvAccessParam& p, Errno err) {
                return ModemResponse::respondReadEfs(p.serial, err, readBytes(err, buf, len));
            });
}

int VsQmiClient::handleWriteEfsMessage(const std::shared_ptr<Message>& msg) {
    return serveSync<NvAccessParam>(
            "handleWriteEfsMessage", msg, NvAccessParam::EFS_TYPE,
            [](const NvAccessParam& p) {
                return modem_write_efs_for_subid(p.subId, p.nvId, p.data.data(), p.data.size());
            },
            [](const NvAccessParam& p, Errno err) {
                return ModemResponse::respondWriteEfs(p.serial, err);
            });
}

int VsQmiClient::handleDeleteEfsFileMessage(const std::shared_ptr<Message>& msg) {
    return serveSync<NvAccessParam>(
            "handleDeleteEfsFileMessage", msg, NvAccessParam::EFS_TYPE,
            [](const NvAccessParam& p) { return modem_del_efs_for_subid(p.subId, p.nvId); },
            [](const NvAccessParam& p, Errno err) {
                return ModemResponse::respondDeleteEfsFile(p.serial, err);
            });
}

// A directory belongs to no subscription: only its id goes to the library.
int VsQmiClient::handleDeleteEfsDirMessage(const std::shared_ptr<Message>& msg) {
    return serveSync<NvAccessParam>(
            "handleDeleteEfsDirMessage", msg, NvAccessParam::EFS_TYPE,
            [](const NvAccessParam& p) { return modem_del_efs_file_dir(p.nvId); },
            [](const NvAccessParam& p, Errno err) {
                return ModemResponse::respondDeleteEfsDir(p.serial, err);
            });
}

int VsQmiClient::handleRestoreDiffQcnMessage(const std::shared_ptr<Message>& msg) {
    return handleVoidCall("handleRestoreDiffQcnMessage", msg, modem_restore_qcn_data,
                          ModemResponse::respondRestoreDiffQcn);
}

int VsQmiClient::handleRebootModemMessage(const std::shared_ptr<Message>& msg) {
    return handleVoidCall("handleRebootModemMessage", msg, modem_subsystem_reboot,
                          ModemResponse::respondRebootModem);
}

// The connection is tested before the key's size: a long key is answered 4 while the service is
// down.
int VsQmiClient::handleDeleteModemPropertyMessage(const std::shared_ptr<Message>& msg) {
    static constexpr const char* FUNC = "handleDeleteModemPropertyMessage";
    return serveConnected<SerialByteArrayParam>(
            FUNC, msg, SerialByteArrayParam::RTTI_TYPE,
            [](const SerialByteArrayParam& p) {
                const Errno err = checkKeySize(FUNC, p.value);
                if (err != OK) {
                    return err;
                }
                const auto key = zeroTerminated<PROPERTY_KEY_MAX>(p.value);
                return syncCallOutcome(TAG, FUNC, modem_api_delete_modem_property_sync(key.data()));
            },
            [](const SerialByteArrayParam& p, Errno err) {
                return ModemResponse::respondDeleteModemProperty(p.serial, err);
            });
}

int VsQmiClient::handleGetSimlockFuseStateMessage(const std::shared_ptr<Message>& msg) {
    return handleIntRead("handleGetSimlockFuseStateMessage", msg, modem_api_get_simlock_fuse_status,
                         ModemResponse::respondGetSimlockFuseState, FUSE_STATE_UNKNOWN);
}

int VsQmiClient::handleGetQstModeMessage(const std::shared_ptr<Message>& msg) {
    return handleIntRead("handleGetQstModeMessage", msg, modem_get_qst_mode,
                         ModemResponse::respondGetQstMode, QST_MODE_UNKNOWN);
}

int VsQmiClient::handleSetQstModeMessage(const std::shared_ptr<Message>& msg) {
    return handleIntWrite("handleSetQstModeMessage", msg, modem_set_qst_mode,
                          ModemResponse::respondSetQstMode);
}

int VsQmiClient::handleInformScreenStateMessage(const std::shared_ptr<Message>& msg) {
    return serveSync<SerialBoolParam>(
            "handleInformScreenStateMessage", msg, SerialBoolParam::RTTI_TYPE,
            [](const SerialBoolParam& p) { return modem_notify_screen_state(p.value); },
            [](const SerialBoolParam& p, Errno err) {
                return ModemResponse::respondInformScreenState(p.serial, err);
            });
}

}  // namespace com::vyr::plim::modem
