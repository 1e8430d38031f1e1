/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "ModemResponse.h"

namespace com::vyr::plim::modem {

int32_t ModemResponse::toResponseError(Errno err) {
    // Unsigned, so that negative values are out of range too.
    return static_cast<uint32_t>(err) <= static_cast<uint32_t>(NO_MEMORY) ? err : FAILED;
}

void ModemResponse::logResponse(const char* name, int serial, Errno err) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, err = %d", name, serial, err);
}

void ModemResponse::logResponse(const char* name, int serial, Errno err,
                                const std::string& result) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, err = %d, result = %s", name, serial,
                         err, result.c_str());
}

void ModemResponse::logResponse(const char* name, int serial, Errno err,
                                const std::vector<uint8_t>& result) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, err = %d, result size = %zu", name,
                         serial, err, result.size());
}

void ModemResponse::logResponse(const char* name, int serial, Errno err,
                                const std::vector<std::string>& result) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, err = %d, result size = %zu", name,
                         serial, err, result.size());
}

void ModemResponse::logResponse(const char* name, int serial, Errno err, int32_t result) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, err = %d, result = %d", name, serial,
                         err, result);
}

void ModemResponse::logResponse(const char* name, int serial, Errno err, bool result) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, err = %d, result = %s", name, serial,
                         err, result ? "true" : "false");
}

int ModemResponse::checkStatus(const char* name, const ndk::ScopedAStatus& status) {
    if (!status.isOk()) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: exception = %s", name,
                             status.getDescription().c_str());
        return FAILED;
    }
    Log::printAndroidLog(Log::INFO, TAG, "%s: succeed", name);
    return OK;
}

int ModemResponse::respondGetBuildTime(int serial, Errno err, const std::string& result) {
    logResponse(__func__, serial, err, result);
    return send(__func__, serial, err, &IModemResponse::respondGetBuildTime, result);
}

int ModemResponse::respondGetBuildId(int serial, Errno err, const std::string& result) {
    logResponse(__func__, serial, err, result);
    return send(__func__, serial, err, &IModemResponse::respondGetBuildId, result);
}

int ModemResponse::respondReadNv(int serial, Errno err, const std::vector<uint8_t>& result) {
    logResponse(__func__, serial, err, result);
    return send(__func__, serial, err, &IModemResponse::respondReadNv, result);
}

int ModemResponse::respondWriteNv(int serial, Errno err) {
    logResponse(__func__, serial, err);
    return send(__func__, serial, err, &IModemResponse::respondWriteNv);
}

int ModemResponse::respondReadEfs(int serial, Errno err, const std::vector<uint8_t>& result) {
    logResponse(__func__, serial, err, result);
    return send(__func__, serial, err, &IModemResponse::respondReadEfs, result);
}

int ModemResponse::respondWriteEfs(int serial, Errno err) {
    logResponse(__func__, serial, err);
    return send(__func__, serial, err, &IModemResponse::respondWriteEfs);
}

int ModemResponse::respondDeleteEfsFile(int serial, Errno err) {
    logResponse(__func__, serial, err);
    return send(__func__, serial, err, &IModemResponse::respondDeleteEfsFile);
}

int ModemResponse::respondDeleteEfsDir(int serial, Errno err) {
    logResponse(__func__, serial, err);
    return send(__func__, serial, err, &IModemResponse::respondDeleteEfsDir);
}

int ModemResponse::respondGetNrNetworkMode(int serial, Errno err, int32_t result) {
    logResponse(__func__, serial, err, result);
    return send(__func__, serial, err, &IModemResponse::respondGetNrNetworkMode, result);
}

int ModemResponse::respondSetNrNetworkMode(int serial, Errno err) {
    logResponse(__func__, serial, err);
    return send(__func__, serial, err, &IModemResponse::respondSetNrNetworkMode);
}

int ModemResponse::respondGetVonrMode(int serial, Errno err, int32_t result) {
    logResponse(__func__, serial, err, result);
    return send(__func__, serial, err, &IModemResponse::respondGetVonrMode, result);
}

int ModemResponse::respondSetVonrMode(int serial, Errno err) {
    logResponse(__func__, serial, err);
    return send(__func__, serial, err, &IModemResponse::respondSetVonrMode);
}

int ModemResponse::respondGetOperatingMode(int serial, Errno err, int32_t result) {
    logResponse(__func__, serial, err, result);
    return send(__func__, serial, err, &IModemResponse::respondGetOperatingMode, result);
}

int ModemResponse::respondSetOperatingMode(int serial, Errno err) {
    logResponse(__func__, serial, err);
    return send(__func__, serial, err, &IModemResponse::respondSetOperatingMode);
}

int ModemResponse::respondSetRadioInfoReportSwitch(int serial, Errno err) {
    logResponse(__func__, serial, err);
    return send(__func__, serial, err, &IModemResponse::respondSetRadioInfoReportSwitch);
}

int ModemResponse::respondDeleteImsProfile(int serial, Errno err) {
    logResponse(__func__, serial, err);
    return send(__func__, serial, err, &IModemResponse::respondDeleteImsProfile);
}

int ModemResponse::respondGetActiveMbnInfo(int serial, Errno err,
                                           const std::vector<uint8_t>& result) {
    logResponse(__func__, serial, err, result);
    return send(__func__, serial, err, &IModemResponse::respondGetActiveMbnInfo, result);
}

int ModemResponse::respondGetMetaMbnInfo(int serial, Errno err,
                                         const std::vector<uint8_t>& result) {
    logResponse(__func__, serial, err, result);
    return send(__func__, serial, err, &IModemResponse::respondGetMetaMbnInfo, result);
}

int ModemResponse::respondGetMbnList(int serial, Errno err,
                                     const std::vector<std::string>& result) {
    logResponse(__func__, serial, err, result);
    return send(__func__, serial, err, &IModemResponse::respondGetMbnList, result);
}

int ModemResponse::respondDeleteAllMbns(int serial, Errno err) {
    logResponse(__func__, serial, err);
    return send(__func__, serial, err, &IModemResponse::respondDeleteAllMbns);
}

int ModemResponse::respondSelectMbn(int serial, Errno err) {
    logResponse(__func__, serial, err);
    return send(__func__, serial, err, &IModemResponse::respondSelectMbn);
}

int ModemResponse::respondLoadMbn(int serial, Errno err) {
    logResponse(__func__, serial, err);
    return send(__func__, serial, err, &IModemResponse::respondLoadMbn);
}

int ModemResponse::respondActivateMbn(int serial, Errno err) {
    logResponse(__func__, serial, err);
    return send(__func__, serial, err, &IModemResponse::respondActivateMbn);
}

int ModemResponse::respondDeactivateMbn(int serial, Errno err) {
    logResponse(__func__, serial, err);
    return send(__func__, serial, err, &IModemResponse::respondDeactivateMbn);
}

int ModemResponse::respondActivateMbnByName(int serial, Errno err) {
    logResponse(__func__, serial, err);
    return send(__func__, serial, err, &IModemResponse::respondActivateMbnByName);
}

int ModemResponse::respondRestoreDiffQcn(int serial, Errno err) {
    logResponse(__func__, serial, err);
    return send(__func__, serial, err, &IModemResponse::respondRestoreDiffQcn);
}

int ModemResponse::respondRebootModem(int serial, Errno err) {
    logResponse(__func__, serial, err);
    return send(__func__, serial, err, &IModemResponse::respondRebootModem);
}

int ModemResponse::respondRemoveRatMask(int serial, Errno err) {
    logResponse(__func__, serial, err);
    return send(__func__, serial, err, &IModemResponse::respondRemoveRatMask);
}

int ModemResponse::respondGetModemProperty(int serial, Errno err,
                                           const std::vector<uint8_t>& result) {
    logResponse(__func__, serial, err, result);
    return send(__func__, serial, err, &IModemResponse::respondGetModemProperty, result);
}

int ModemResponse::respondSetModemProperty(int serial, Errno err) {
    logResponse(__func__, serial, err);
    return send(__func__, serial, err, &IModemResponse::respondSetModemProperty);
}

int ModemResponse::respondDeleteModemProperty(int serial, Errno err) {
    logResponse(__func__, serial, err);
    return send(__func__, serial, err, &IModemResponse::respondDeleteModemProperty);
}

int ModemResponse::respondGet5gPowerSaveSwitch(int serial, Errno err, bool result) {
    logResponse(__func__, serial, err, result);
    return send(__func__, serial, err, &IModemResponse::respondGet5gPowerSaveSwitch, result);
}

int ModemResponse::respondSet5gPowerSaveSwitch(int serial, Errno err) {
    logResponse(__func__, serial, err);
    return send(__func__, serial, err, &IModemResponse::respondSet5gPowerSaveSwitch);
}

int ModemResponse::respondSet5gPowerSaveMode(int serial, Errno err) {
    logResponse(__func__, serial, err);
    return send(__func__, serial, err, &IModemResponse::respondSet5gPowerSaveMode);
}

int ModemResponse::respondForceAsdiv(int serial, Errno err) {
    logResponse(__func__, serial, err);
    return send(__func__, serial, err, &IModemResponse::respondForceAsdiv);
}

int ModemResponse::respondGetSimlockFuseState(int serial, Errno err, int32_t result) {
    logResponse(__func__, serial, err, result);
    return send(__func__, serial, err, &IModemResponse::respondGetSimlockFuseState, result);
}

int ModemResponse::respondGetQstMode(int serial, Errno err, int32_t result) {
    logResponse(__func__, serial, err, result);
    return send(__func__, serial, err, &IModemResponse::respondGetQstMode, result);
}

int ModemResponse::respondSetQstMode(int serial, Errno err) {
    logResponse(__func__, serial, err);
    return send(__func__, serial, err, &IModemResponse::respondSetQstMode);
}

int ModemResponse::respondAbortRrcConnection(int serial, Errno err) {
    logResponse(__func__, serial, err);
    return send(__func__, serial, err, &IModemResponse::respondAbortRrcConnection);
}

int ModemResponse::respondSetSarState(int serial, Errno err) {
    logResponse(__func__, serial, err);
    return send(__func__, serial, err, &IModemResponse::respondSetSarState);
}

int ModemResponse::respondInformScreenState(int serial, Errno err) {
    logResponse(__func__, serial, err);
    return send(__func__, serial, err, &IModemResponse::respondInformScreenState);
}

}  // namespace com::vyr::plim::modem
