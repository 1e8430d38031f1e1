/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <modem_api.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <plim/Errno.h>
#include <plim/Message.h>

#include "QmiClient.h"

namespace com::vyr::plim::modem {

/**
 * Client of the modem's persistent device configuration service (PDC): lists the MBN files of
 * the device's configuration tree, loads one into the modem in chunks, and selects, activates,
 * deactivates, deletes and describes the modem's configurations. Instance 0 only.
 *
 * Two requests are answered through modem events instead of by their handlers: the handler
 * passes the serial to the library as the request's token, and the manager hands the answering
 * event (17 or 18) to process*AsyncResponse(), which answers the serial the record carries. No
 * table of pending requests is kept, so a request whose answer never comes stays unanswered.
 *
 * Threads as QmiClient, plus: the two process*AsyncResponse() members run on the modem
 * library's event thread, concurrently with the handlers; they touch nothing of the client but
 * its tag. The MBN list and load handlers read the file system on the main looper thread; the
 * load handler keeps a 32 KiB chunk buffer on that thread's stack (the entry point makes sure
 * the main thread's stack is large enough).
 */
class PdcQmiClient : public QmiClient {
  public:
    inline static const std::string RTTI_TYPE{"PdcQmiClient"};

    enum MessageId : int {
        GET_ACTIVE_MBN_INFO = 1,
        GET_META_MBN_INFO = 2,
        GET_MBN_LIST = 3,
        DELETE_ALL_MBNS = 4,
        SELECT_MBN = 5,
        LOAD_MBN = 6,
        ACTIVATE_MBN = 7,
        DEACTIVATE_MBN = 8,
    };

    /** The device's tree of generic MBN files: one configuration per directory holding
     *  MBN_FILE_NAME. */
    static constexpr const char* DEVICE_MBN_ROOT = "/data/vendor/modem_config/mcfg_sw/generic";
    static constexpr const char* MBN_FILE_NAME = "mcfg_sw.mbn";
    /** Configuration ids are "MbnApp_" + the file's path, zero-terminated in this many bytes. */
    static constexpr size_t CONFIG_ID_MAX = MODEM_PDC_CONFIG_ID_SIZE;
    static constexpr const char* CONFIG_ID_PREFIX = "MbnApp_";
    /** A load reads the file in chunks of at most LOAD_CHUNK_SIZE bytes into a buffer of
     *  LOAD_BUFFER_SIZE on the handler's stack. */
    static constexpr size_t LOAD_CHUNK_SIZE = 900;
    static constexpr size_t LOAD_BUFFER_SIZE = 32768;
    /** What the main thread's stack must hold for the load handler, with room for its callers. */
    static constexpr size_t HANDLER_STACK_NEED = 4 * LOAD_BUFFER_SIZE;

    PdcQmiClient();
    ~PdcQmiClient() override;

    int handle(std::shared_ptr<Message> msg) override;
    void onConnected() override;
    int setup() override { return openConnection(); }
    int release() override { return closeConnection(); }

    // Binder threads. Each is answered by the response of the same name; OK, or an error
    // (NO_MEMORY or the dispatch error) that the caller answers. Byte strings are copied.
    int getActiveMbnInfo(int serial, int configType);
    int getMetaMbnInfo(int serial, const std::vector<uint8_t>& configId);
    int getMbnList(int serial);
    int deleteAllMbns(int serial);
    int selectMbn(int serial, int configType, const std::vector<uint8_t>& configId);
    int loadMbn(int serial, const std::vector<uint8_t>& path);
    int activateMbn(int serial, int configType);
    int deactivateMbn(int serial, int configType);

    /**
     * The answers to getActiveMbnInfo (event 17, a modem_pdc_active_config_info_event) and
     * getMetaMbnInfo (event 18, a modem_pdc_config_info_event), on the library's event thread.
     * A record of another length, or one without a valid token, is dropped (INVALID_ARGUMENT)
     * and its request stays unanswered; else the response's result. Info counts beyond the
     * record's info area are cut to it.
     */
    int processGetActiveMbnInfoAsyncResponse(const void* data, unsigned long length) const;
    int processGetMetaMbnInfoAsyncResponse(const void* data, unsigned long length) const;

    /**
     * The root of the MBN tree: DEVICE_MBN_ROOT, or on a host build the directory in the
     * environment variable PLIM_MBN_ROOT when it is set. Read once, at the first call (the
     * client's construction at start-up), and fixed for the life of the process.
     */
    static const std::string& mbnRoot();
    /**
     * Appends to `out`, depth first in directory order, the relative path (extractRelativePath)
     * of every directory under `dir` that directly holds an MBN_FILE_NAME that is not itself a
     * directory. Symbolic links are followed. OK when the whole tree was read, else FAILED
     * (logged; what was appended stays). Main looper thread, or any thread in tests.
     */
    static int collectMcfgSwMbnFiles(const std::string& dir, std::vector<std::string>& out);
    /** `dir` below the root as "/a/b/" ("/" for the root itself), or "" when not below it. */
    static std::string extractRelativePath(const std::string& dir);

  private:
    using MessageHandler = int (PdcQmiClient::*)(const std::shared_ptr<Message>&);
    static MessageHandler handlerOf(int msgId);

    // Main looper thread.
    int handleGetActiveMbnInfoMessage(const std::shared_ptr<Message>& msg);
    int handleGetMetaMbnInfoMessage(const std::shared_ptr<Message>& msg);
    int handleGetMbnListMessage(const std::shared_ptr<Message>& msg);
    int handleDeleteAllMbnsMessage(const std::shared_ptr<Message>& msg);
    int handleSelectMbnMessage(const std::shared_ptr<Message>& msg);
    int handleLoadMbnMessage(const std::shared_ptr<Message>& msg);
    int handleActivateMbnMessage(const std::shared_ptr<Message>& msg);
    int handleDeactivateMbnMessage(const std::shared_ptr<Message>& msg);

    /** Loads the file at `path` (bytes as the client sent them) into the modem, chunk by
     *  chunk. The outcome to answer. */
    static Errno loadMbnFile(const char* func, const std::vector<uint8_t>& path);
};

}  // namespace com::vyr::plim::modem
