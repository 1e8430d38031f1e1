/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <modem_api.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <plim/Errno.h>
#include <plim/Message.h>
#include <plim/SerialParam.h>

#include "QmiClient.h"

namespace com::vyr::plim::modem {

/**
 * Client of the modem's vendor-specific service (VS) for one subscription: NV items and EFS
 * files, vendor modem properties, build info, 5G power saving, QST mode, QCN restore, modem
 * reboot and the other vendor requests. Binds its subscription on every connected event.
 *
 * Thirteen requests are synchronous: the handler calls the library and answers. Eleven are
 * asynchronous: the handler only starts the call, with a ModemAsyncCbData holding the request
 * message and this client, and modemApiAsyncCallback() answers from the library's reply thread.
 *
 * Threads as QmiClient, plus: modemApiAsyncCallback() and the process*AsyncResponse() members
 * run on whichever library thread delivers a reply, possibly two at once; they touch nothing of
 * the client but its tag.
 */
class VsQmiClient : public QmiClient {
  public:
    inline static const std::string RTTI_TYPE{"VsQmiClient"};

    enum MessageId : int {
        GET_BUILD_TIME = 1,
        GET_BUILD_ID = 2,
        READ_NV = 3,
        WRITE_NV = 4,
        READ_EFS = 5,
        WRITE_EFS = 6,
        DELETE_EFS_FILE = 7,
        DELETE_EFS_DIR = 8,
        SET_RADIO_INFO_REPORT_SWITCH = 9,
        ACTIVATE_MBN_BY_NAME = 10,
        RESTORE_DIFF_QCN = 11,
        REBOOT_MODEM = 12,
        REMOVE_RAT_MASK = 13,
        GET_MODEM_PROPERTY = 14,
        SET_MODEM_PROPERTY = 15,
        DELETE_MODEM_PROPERTY = 16,
        GET_5G_POWER_SAVE_SWITCH = 17,
        SET_5G_POWER_SAVE_SWITCH = 18,
        SET_5G_POWER_SAVE_MODE = 19,
        GET_SIMLOCK_FUSE_STATE = 20,
        GET_QST_MODE = 21,
        SET_QST_MODE = 22,
        ABORT_RRC_CONNECTION = 23,
        INFORM_SCREEN_STATE = 24,
    };

    // Limits of the library's fixed request buffers: a length equal to one is refused already,
    // so that the bytes always end with a zero.
    static constexpr size_t MBN_NAME_MAX = MODEM_MBN_NAME_BUFFER_SIZE;
    static constexpr size_t PROPERTY_KEY_MAX = MODEM_PROPERTY_KEY_BUFFER_SIZE;
    static constexpr size_t PROPERTY_VALUE_MAX = MODEM_PROPERTY_VALUE_BUFFER_SIZE;
    // Build time and build id texts of this length or longer are refused.
    static constexpr size_t BUILD_TEXT_MAX = 256;

    explicit VsQmiClient(int32_t instanceId);
    ~VsQmiClient() override;

    int handle(std::shared_ptr<Message> msg) override;
    void onConnected() override;
    int setup() override { return openConnection(); }
    int release() override { return closeConnection(); }

    // Binder threads. Each is answered by the response of the same name; OK, or an error
    // (NO_MEMORY or the dispatch error) that the caller answers. Byte strings are copied.
    int getBuildTime(int serial);
    int getBuildId(int serial);
    int readNv(int serial, int nvId, uint8_t subId, uint8_t index);
    int writeNv(int serial, int nvId, uint8_t subId, uint8_t index,
                const std::vector<uint8_t>& data);
    int readEfs(int serial, int efsId, uint8_t subId);
    int writeEfs(int serial, int efsId, uint8_t subId, const std::vector<uint8_t>& data);
    int deleteEfsFile(int serial, int efsId, uint8_t subId);
    int deleteEfsDir(int serial, int efsId);
    int setRadioInfoReportSwitch(int serial, bool enabled);
    int activateMbnByName(int serial, const std::vector<uint8_t>& name);
    int restoreDiffQcn(int serial);
    int rebootModem(int serial);
    int removeRatMask(int serial);
    int getModemProperty(int serial, const std::vector<uint8_t>& key);
    int setModemProperty(int serial, const std::vector<uint8_t>& key,
                         const std::vector<uint8_t>& value);
    int deleteModemProperty(int serial, const std::vector<uint8_t>& key);
    int get5gPowerSaveSwitch(int serial);
    int set5gPowerSaveSwitch(int serial, bool on);
    int set5gPowerSaveMode(int serial, uint8_t mode);
    int getSimlockFuseState(int serial);
    int getQstMode(int serial);
    int setQstMode(int serial, int mode);
    int abortRrcConnection(int serial);
    int informScreenState(int serial, bool on);

    /**
     * The library's reply to every asynchronous request of this client, on a library thread.
     * Finds the request through `cbData` (a ModemAsyncCbData), answers it, and frees the record
     * (unless it is null). `result` is unused: the record's own result word is read.
     */
    static void modemApiAsyncCallback(const void* data, unsigned long len, void* cbData,
                                      modem_api_result_type result);

  private:
    using MessageHandler = int (VsQmiClient::*)(const std::shared_ptr<Message>&);
    using ReplyProcessor = int (VsQmiClient::*)(const void*, unsigned long,
                                                std::shared_ptr<SerialParam>) const;
    static MessageHandler handlerOf(int msgId);
    static ReplyProcessor processorOf(int msgId);

    // Synchronous handlers (main looper thread).
    int handleReadNvMessage(const std::shared_ptr<Message>& msg);
    int handleWriteNvMessage(const std::shared_ptr<Message>& msg);
    int handleReadEfsMessage(const std::shared_ptr<Message>& msg);
    int handleWriteEfsMessage(const std::shared_ptr<Message>& msg);
    int handleDeleteEfsFileMessage(const std::shared_ptr<Message>& msg);
    int handleDeleteEfsDirMessage(const std::shared_ptr<Message>& msg);
    int handleRestoreDiffQcnMessage(const std::shared_ptr<Message>& msg);
    int handleRebootModemMessage(const std::shared_ptr<Message>& msg);
    int handleDeleteModemPropertyMessage(const std::shared_ptr<Message>& msg);
    int handleGetSimlockFuseStateMessage(const std::shared_ptr<Message>& msg);
    int handleGetQstModeMessage(const std::shared_ptr<Message>& msg);
    int handleSetQstModeMessage(const std::shared_ptr<Message>& msg);
    int handleInformScreenStateMessage(const std::shared_ptr<Message>& msg);

    // Asynchronous handlers (main looper thread): 0 once the library took the request.
    int handleGetBuildTimeMessage(const std::shared_ptr<Message>& msg);
    int handleGetBuildIdMessage(const std::shared_ptr<Message>& msg);
    int handleSetRadioInfoReportSwitchMessage(const std::shared_ptr<Message>& msg);
    int handleActivateMbnByNameMessage(const std::shared_ptr<Message>& msg);
    int handleRemoveRatMaskMessage(const std::shared_ptr<Message>& msg);
    int handleGetModemPropertyMessage(const std::shared_ptr<Message>& msg);
    int handleSetModemPropertyMessage(const std::shared_ptr<Message>& msg);
    int handleGet5gPowerSaveSwitchMessage(const std::shared_ptr<Message>& msg);
    int handleSet5gPowerSaveSwitchMessage(const std::shared_ptr<Message>& msg);
    int handleSet5gPowerSaveModeMessage(const std::shared_ptr<Message>& msg);
    int handleAbortRrcConnectionMessage(const std::shared_ptr<Message>& msg);

    /**
     * An asynchronous handler's frame: the parameter (tag `type`), the connection, then
     * `admit` (the request's own limits: OK or the error to answer), then `start` with a new
     * ModemAsyncCbData. Failures are answered with `respond` and the request's default result.
     */
    template <typename P, typename Admit, typename Start, typename Respond>
    int startAsyncRequest(const char* func, const std::shared_ptr<Message>& msg,
                          const std::string& type, Admit admit, Start start, Respond respond);

    // Reply processors (a library thread): the response's result.
    int processGetBuildTimeAsyncResponse(const void* data, unsigned long len,
                                         std::shared_ptr<SerialParam> param) const;
    int processGetBuildIdAsyncResponse(const void* data, unsigned long len,
                                       std::shared_ptr<SerialParam> param) const;
    int processSetRadioInfoReportSwitchAsyncResponse(const void* data, unsigned long len,
                                                     std::shared_ptr<SerialParam> param) const;
    int processActivateMbnByNameAsyncResponse(const void* data, unsigned long len,
                                              std::shared_ptr<SerialParam> param) const;
    int processRemoveRatMaskAsyncResponse(const void* data, unsigned long len,
                                          std::shared_ptr<SerialParam> param) const;
    int processGetModemPropertyAsyncResponse(const void* data, unsigned long len,
                                             std::shared_ptr<SerialParam> param) const;
    int processSetModemPropertyAsyncResponse(const void* data, unsigned long len,
                                             std::shared_ptr<SerialParam> param) const;
    int processGet5gPowerSaveSwitchAsyncResponse(const void* data, unsigned long len,
                                                 std::shared_ptr<SerialParam> param) const;
    int processSet5gPowerSaveSwitchAsyncResponse(const void* data, unsigned long len,
                                                 std::shared_ptr<SerialParam> param) const;
    int processSet5gPowerSaveModeAsyncResponse(const void* data, unsigned long len,
                                               std::shared_ptr<SerialParam> param) const;
    int processAbortRrcConnectionAsyncResponse(const void* data, unsigned long len,
                                               std::shared_ptr<SerialParam> param) const;

    /** OK for a property key that fits the library's buffer, else INVALID_ARGUMENT, logged. */
    static Errno checkKeySize(const char* func, const std::vector<uint8_t>& key);
    /** The reply's verdict (verifyModemApiAsyncResponse), logged under `func` when not OK. */
    static Errno verifiedReply(const char* func, const void* data, unsigned long len);
    /** The build time or id text of a verified reply, or INVALID_ARGUMENT when too long. */
    static Errno buildText(const char* func, const char* what, const void* data, std::string& text);

    const int32_t instanceId_;
};

}  // namespace com::vyr::plim::modem
