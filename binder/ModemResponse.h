/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <aidl/vendor/vyr/plim/modem/IModemResponse.h>

#include <cstdint>
#include <string>
#include <vector>

#include <plim/Errno.h>
#include <plim/Log.h>

#include "CallbackHolders.h"

namespace com::vyr::plim::modem {

/**
 * The single way out for request outcomes: one operation per IModemResponse method, called with
 * the request's serial, its Errno and its result from whichever thread finished the request.
 *
 * Each takes the current response callback from its holder and calls the client with
 * ResponseInfo{0, serial, error}, where error is `err` when it is 0 to 5 and 1 otherwise, and the
 * result unchanged (also on error: the caller chooses the default). Returns OK when the client
 * took the call, FAILED when the binder call failed, INVALID_STATE when no callback is held (the
 * response is dropped: nothing is queued or retried).
 *
 * Threads: any thread; no state of its own. The holder's lock is held only to copy the callback,
 * never across the binder call.
 */
class ModemResponse {
  public:
    ModemResponse() = delete;

    static int respondGetBuildTime(int serial, Errno err, const std::string& result);
    static int respondGetBuildId(int serial, Errno err, const std::string& result);
    static int respondReadNv(int serial, Errno err, const std::vector<uint8_t>& result);
    static int respondWriteNv(int serial, Errno err);
    static int respondReadEfs(int serial, Errno err, const std::vector<uint8_t>& result);
    static int respondWriteEfs(int serial, Errno err);
    static int respondDeleteEfsFile(int serial, Errno err);
    static int respondDeleteEfsDir(int serial, Errno err);
    static int respondGetNrNetworkMode(int serial, Errno err, int32_t result);
    static int respondSetNrNetworkMode(int serial, Errno err);
    static int respondGetVonrMode(int serial, Errno err, int32_t result);
    static int respondSetVonrMode(int serial, Errno err);
    static int respondGetOperatingMode(int serial, Errno err, int32_t result);
    static int respondSetOperatingMode(int serial, Errno err);
    static int respondSetRadioInfoReportSwitch(int serial, Errno err);
    static int respondDeleteImsProfile(int serial, Errno err);
    static int respondGetActiveMbnInfo(int serial, Errno err, const std::vector<uint8_t>& result);
    static int respondGetMetaMbnInfo(int serial, Errno err, const std::vector<uint8_t>& result);
    static int respondGetMbnList(int serial, Errno err, const std::vector<std::string>& result);
    static int respondDeleteAllMbns(int serial, Errno err);
    static int respondSelectMbn(int serial, Errno err);
    static int respondLoadMbn(int serial, Errno err);
    static int respondActivateMbn(int serial, Errno err);
    static int respondDeactivateMbn(int serial, Errno err);
    static int respondActivateMbnByName(int serial, Errno err);
    static int respondRestoreDiffQcn(int serial, Errno err);
    static int respondRebootModem(int serial, Errno err);
    static int respondRemoveRatMask(int serial, Errno err);
    static int respondGetModemProperty(int serial, Errno err, const std::vector<uint8_t>& result);
    static int respondSetModemProperty(int serial, Errno err);
    static int respondDeleteModemProperty(int serial, Errno err);
    static int respondGet5gPowerSaveSwitch(int serial, Errno err, bool result);
    static int respondSet5gPowerSaveSwitch(int serial, Errno err);
    static int respondSet5gPowerSaveMode(int serial, Errno err);
    static int respondForceAsdiv(int serial, Errno err);
    static int respondGetSimlockFuseState(int serial, Errno err, int32_t result);
    static int respondGetQstMode(int serial, Errno err, int32_t result);
    static int respondSetQstMode(int serial, Errno err);
    static int respondAbortRrcConnection(int serial, Errno err);
    static int respondSetSarState(int serial, Errno err);
    static int respondInformScreenState(int serial, Errno err);

    /** The error that travels for `err`: itself when 0 to 5, else FAILED. */
    static int32_t toResponseError(Errno err);

  private:
    using IModemResponse = aidl::vendor::vyr::plim::modem::IModemResponse;
    using ResponseInfo = aidl::vendor::vyr::plim::modem::ResponseInfo;

    static constexpr const char* TAG = "modem-resp";

    static void logResponse(const char* name, int serial, Errno err);
    static void logResponse(const char* name, int serial, Errno err, const std::string& result);
    static void logResponse(const char* name, int serial, Errno err,
                            const std::vector<uint8_t>& result);
    static void logResponse(const char* name, int serial, Errno err,
                            const std::vector<std::string>& result);
    static void logResponse(const char* name, int serial, Errno err, int32_t result);
    static void logResponse(const char* name, int serial, Errno err, bool result);

    /** Calls `method` on the held callback with the ResponseInfo and `args`; logs the outcome. */
    template <typename... Params, typename... Args>
    static int send(const char* name, int serial, Errno err,
                    ndk::ScopedAStatus (IModemResponse::*method)(const ResponseInfo&, Params...),
                    const Args&... args) {
        std::shared_ptr<IModemResponse> callback = CallbackHolders::response().get();
        if (!callback) {
            Log::printAndroidLog(Log::ERROR, TAG, "%s: respCb null, can't send response", name);
            return INVALID_STATE;
        }
        ResponseInfo info{};
        info.type = 0;
        info.serial = serial;
        info.error = toResponseError(err);
        ndk::ScopedAStatus status = (callback.get()->*method)(info, args...);
        return checkStatus(name, status);
    }

    static int checkStatus(const char* name, const ndk::ScopedAStatus& status);
};

}  // namespace com::vyr::plim::modem
