/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "ModemImpl.h"

#include <plim/Errno.h>
#include <plim/Log.h>

#include "CallbackHolders.h"
#include "DiagClient.h"
#include "DmsQmiClient.h"
#include "ModemIndication.h"
#include "ModemManager.h"
#include "ModemResponse.h"
#include "NasQmiClient.h"
#include "PdcQmiClient.h"
#include "SarQmiClient.h"
#include "VsQmiClient.h"
#include "WdsQmiClient.h"

namespace com::vyr::plim::modem {

namespace {

constexpr const char* TAG = "modem-impl";

const char* boolText(bool value) {
    return value ? "true" : "false";
}

/**
 * Hands a request to `client` (a copy of the manager's pointer, so the client lives through the
 * call). When there is no client, or it refuses the request, `answer` sends the response at
 * once with the error: INVALID_STATE, or the client's own.
 */
template <typename Client, typename Request, typename Answer>
void handOver(std::shared_ptr<Client> client, Request request, Answer answer) {
    const int err = client ? request(*client) : INVALID_STATE;
    if (err != OK) {
        answer(static_cast<Errno>(err));
    }
}

}  // namespace

ModemImpl::ModemImpl(int instanceId) : instanceId_(instanceId) {}

ModemImpl::~ModemImpl() {
    CallbackHolders::response().update(nullptr);
    CallbackHolders::indication().update(nullptr);
}

ndk::ScopedAStatus ModemImpl::setCallback(const std::shared_ptr<IModemResponse>& resp,
                                          const std::shared_ptr<IModemIndication>& ind) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: set callbacks for resp and ind", __func__);
    CallbackHolders::response().update(resp);
    CallbackHolders::indication().update(ind);
    if (ind) {
        ModemIndication::indicateCacheInfo();
    }
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::getBuildTime(int32_t serial) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d", __func__, serial);
    handOver(
            ModemManager::vsClient, [&](VsQmiClient& c) { return c.getBuildTime(serial); },
            [&](Errno err) { ModemResponse::respondGetBuildTime(serial, err, ""); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::getBuildId(int32_t serial) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d", __func__, serial);
    handOver(
            ModemManager::vsClient, [&](VsQmiClient& c) { return c.getBuildId(serial); },
            [&](Errno err) { ModemResponse::respondGetBuildId(serial, err, ""); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::readNv(int32_t serial, int32_t nvId, int8_t subId, int8_t index) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, nvId = %d, subId = %d, index = %d",
                         __func__, serial, nvId, subId, index);
    handOver(
            ModemManager::vsClient,
            [&](VsQmiClient& c) {
                return c.readNv(serial, nvId, static_cast<uint8_t>(subId),
                                static_cast<uint8_t>(index));
            },
            [&](Errno err) { ModemResponse::respondReadNv(serial, err, {}); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::writeNv(int32_t serial, int32_t nvId, int8_t subId, int8_t index,
                                      const std::vector<uint8_t>& data) {
    Log::printAndroidLog(Log::INFO, TAG,
                         "%s: serial = %d, nvId = %d, subId = %d, index = %d, data size = %zu",
                         __func__, serial, nvId, subId, index, data.size());
    handOver(
            ModemManager::vsClient,
            [&](VsQmiClient& c) {
                return c.writeNv(serial, nvId, static_cast<uint8_t>(subId),
                                 static_cast<uint8_t>(index), data);
            },
            [&](Errno err) { ModemResponse::respondWriteNv(serial, err); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::readEfs(int32_t serial, int32_t efsId, int8_t subId) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, efsId = %d, subId = %d", __func__,
                         serial, efsId, subId);
    handOver(
            ModemManager::vsClient,
            [&](VsQmiClient& c) { return c.readEfs(serial, efsId, static_cast<uint8_t>(subId)); },
            [&](Errno err) { ModemResponse::respondReadEfs(serial, err, {}); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::writeEfs(int32_t serial, int32_t efsId, int8_t subId,
                                       const std::vector<uint8_t>& data) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, efsId = %d, subId = %d, data size = %zu",
                         __func__, serial, efsId, subId, data.size());
    handOver(
            ModemManager::vsClient,
            [&](VsQmiClient& c) {
                return c.writeEfs(serial, efsId, static_cast<uint8_t>(subId), data);
            },
            [&](Errno err) { ModemResponse::respondWriteEfs(serial, err); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::deleteEfsFile(int32_t serial, int32_t efsId, int8_t subId) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, efsId = %d, subId = %d", __func__,
                         serial, efsId, subId);
    handOver(
            ModemManager::vsClient,
            [&](VsQmiClient& c) {
                return c.deleteEfsFile(serial, efsId, static_cast<uint8_t>(subId));
            },
            [&](Errno err) { ModemResponse::respondDeleteEfsFile(serial, err); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::deleteEfsDir(int32_t serial, int32_t efsId) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, efsId = %d", __func__, serial, efsId);
    handOver(
            ModemManager::vsClient, [&](VsQmiClient& c) { return c.deleteEfsDir(serial, efsId); },
            [&](Errno err) { ModemResponse::respondDeleteEfsDir(serial, err); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::getNrNetworkMode(int32_t serial) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d", __func__, serial);
    handOver(
            ModemManager::nasClient, [&](NasQmiClient& c) { return c.getNrNetworkMode(serial); },
            [&](Errno err) { ModemResponse::respondGetNrNetworkMode(serial, err, -1); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::setNrNetworkMode(int32_t serial, int32_t mode) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, mode = %d", __func__, serial, mode);
    handOver(
            ModemManager::nasClient,
            [&](NasQmiClient& c) { return c.setNrNetworkMode(serial, mode); },
            [&](Errno err) { ModemResponse::respondSetNrNetworkMode(serial, err); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::getVonrMode(int32_t serial) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d", __func__, serial);
    handOver(
            ModemManager::nasClient, [&](NasQmiClient& c) { return c.getVonrMode(serial); },
            [&](Errno err) { ModemResponse::respondGetVonrMode(serial, err, -1); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::setVonrMode(int32_t serial, int32_t mode) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, mode = %d", __func__, serial, mode);
    handOver(
            ModemManager::nasClient, [&](NasQmiClient& c) { return c.setVonrMode(serial, mode); },
            [&](Errno err) { ModemResponse::respondSetVonrMode(serial, err); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::getOperatingMode(int32_t serial) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d", __func__, serial);
    handOver(
            ModemManager::dmsClient, [&](DmsQmiClient& c) { return c.getOperatingMode(serial); },
            [&](Errno err) { ModemResponse::respondGetOperatingMode(serial, err, -1); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::setOperatingMode(int32_t serial, int32_t mode) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, mode = %d", __func__, serial, mode);
    handOver(
            ModemManager::dmsClient,
            [&](DmsQmiClient& c) { return c.setOperatingMode(serial, mode); },
            [&](Errno err) { ModemResponse::respondSetOperatingMode(serial, err); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::setRadioInfoReportSwitch(int32_t serial, bool on) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, on = %s", __func__, serial,
                         boolText(on));
    handOver(
            ModemManager::vsClient,
            [&](VsQmiClient& c) { return c.setRadioInfoReportSwitch(serial, on); },
            [&](Errno err) { ModemResponse::respondSetRadioInfoReportSwitch(serial, err); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::deleteImsProfile(int32_t serial) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d", __func__, serial);
    handOver(
            ModemManager::wdsClient, [&](WdsQmiClient& c) { return c.deleteImsProfile(serial); },
            [&](Errno err) { ModemResponse::respondDeleteImsProfile(serial, err); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::getActiveMbnInfo(int32_t serial, int32_t subId) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, subId = %d", __func__, serial, subId);
    handOver(
            ModemManager::pdcClient,
            [&](PdcQmiClient& c) { return c.getActiveMbnInfo(serial, subId); },
            [&](Errno err) { ModemResponse::respondGetActiveMbnInfo(serial, err, {}); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::getMetaMbnInfo(int32_t serial, const std::vector<uint8_t>& target) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, target size = %zu", __func__, serial,
                         target.size());
    handOver(
            ModemManager::pdcClient,
            [&](PdcQmiClient& c) { return c.getMetaMbnInfo(serial, target); },
            [&](Errno err) { ModemResponse::respondGetMetaMbnInfo(serial, err, {}); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::getMbnList(int32_t serial) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d", __func__, serial);
    handOver(
            ModemManager::pdcClient, [&](PdcQmiClient& c) { return c.getMbnList(serial); },
            [&](Errno err) { ModemResponse::respondGetMbnList(serial, err, {}); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::deleteAllMbns(int32_t serial) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d", __func__, serial);
    handOver(
            ModemManager::pdcClient, [&](PdcQmiClient& c) { return c.deleteAllMbns(serial); },
            [&](Errno err) { ModemResponse::respondDeleteAllMbns(serial, err); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::selectMbn(int32_t serial, int32_t subId,
                                        const std::vector<uint8_t>& target) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, subId = %d, target size = %zu", __func__,
                         serial, subId, target.size());
    handOver(
            ModemManager::pdcClient,
            [&](PdcQmiClient& c) { return c.selectMbn(serial, subId, target); },
            [&](Errno err) { ModemResponse::respondSelectMbn(serial, err); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::loadMbn(int32_t serial, const std::vector<uint8_t>& target) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, target size = %zu", __func__, serial,
                         target.size());
    handOver(
            ModemManager::pdcClient, [&](PdcQmiClient& c) { return c.loadMbn(serial, target); },
            [&](Errno err) { ModemResponse::respondLoadMbn(serial, err); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::activateMbn(int32_t serial, int32_t subId) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, subId = %d", __func__, serial, subId);
    handOver(
            ModemManager::pdcClient, [&](PdcQmiClient& c) { return c.activateMbn(serial, subId); },
            [&](Errno err) { ModemResponse::respondActivateMbn(serial, err); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::deactivateMbn(int32_t serial, int32_t subId) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, subId = %d", __func__, serial, subId);
    handOver(
            ModemManager::pdcClient,
            [&](PdcQmiClient& c) { return c.deactivateMbn(serial, subId); },
            [&](Errno err) { ModemResponse::respondDeactivateMbn(serial, err); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::activateMbnByName(int32_t serial, const std::vector<uint8_t>& name) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, name size = %zu", __func__, serial,
                         name.size());
    handOver(
            ModemManager::vsClient,
            [&](VsQmiClient& c) { return c.activateMbnByName(serial, name); },
            [&](Errno err) { ModemResponse::respondActivateMbnByName(serial, err); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::restoreDiffQcn(int32_t serial) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d", __func__, serial);
    handOver(
            ModemManager::vsClient, [&](VsQmiClient& c) { return c.restoreDiffQcn(serial); },
            [&](Errno err) { ModemResponse::respondRestoreDiffQcn(serial, err); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::rebootModem(int32_t serial) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d", __func__, serial);
    handOver(
            ModemManager::vsClient, [&](VsQmiClient& c) { return c.rebootModem(serial); },
            [&](Errno err) { ModemResponse::respondRebootModem(serial, err); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::removeRatMask(int32_t serial) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d", __func__, serial);
    handOver(
            ModemManager::vsClient, [&](VsQmiClient& c) { return c.removeRatMask(serial); },
            [&](Errno err) { ModemResponse::respondRemoveRatMask(serial, err); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::getModemProperty(int32_t serial, const std::vector<uint8_t>& key) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, key size = %zu", __func__, serial,
                         key.size());
    handOver(
            ModemManager::vsClient, [&](VsQmiClient& c) { return c.getModemProperty(serial, key); },
            [&](Errno err) { ModemResponse::respondGetModemProperty(serial, err, {}); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::setModemProperty(int32_t serial, const std::vector<uint8_t>& key,
                                               const std::vector<uint8_t>& val) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, key size = %zu, val size = %zu",
                         __func__, serial, key.size(), val.size());
    handOver(
            ModemManager::vsClient,
            [&](VsQmiClient& c) { return c.setModemProperty(serial, key, val); },
            [&](Errno err) { ModemResponse::respondSetModemProperty(serial, err); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::deleteModemProperty(int32_t serial, const std::vector<uint8_t>& key) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, key size = %zu", __func__, serial,
                         key.size());
    handOver(
            ModemManager::vsClient,
            [&](VsQmiClient& c) { return c.deleteModemProperty(serial, key); },
            [&](Errno err) { ModemResponse::respondDeleteModemProperty(serial, err); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::get5gPowerSaveSwitch(int32_t serial) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d", __func__, serial);
    handOver(
            ModemManager::vsClient, [&](VsQmiClient& c) { return c.get5gPowerSaveSwitch(serial); },
            [&](Errno err) { ModemResponse::respondGet5gPowerSaveSwitch(serial, err, false); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::set5gPowerSaveSwitch(int32_t serial, bool on) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, on = %s", __func__, serial,
                         boolText(on));
    handOver(
            ModemManager::vsClient,
            [&](VsQmiClient& c) { return c.set5gPowerSaveSwitch(serial, on); },
            [&](Errno err) { ModemResponse::respondSet5gPowerSaveSwitch(serial, err); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::set5gPowerSaveMode(int32_t serial, int8_t mode) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, mode = %d", __func__, serial, mode);
    handOver(
            ModemManager::vsClient,
            [&](VsQmiClient& c) {
                return c.set5gPowerSaveMode(serial, static_cast<uint8_t>(mode));
            },
            [&](Errno err) { ModemResponse::respondSet5gPowerSaveMode(serial, err); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::forceAsdiv(int32_t serial, int32_t mode) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, mode = %d", __func__, serial, mode);
    handOver(
            ModemManager::diagClient, [&](DiagClient& c) { return c.forceAsdiv(serial, mode); },
            [&](Errno err) { ModemResponse::respondForceAsdiv(serial, err); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::getSimlockFuseState(int32_t serial) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d", __func__, serial);
    handOver(
            ModemManager::vsClient, [&](VsQmiClient& c) { return c.getSimlockFuseState(serial); },
            [&](Errno err) { ModemResponse::respondGetSimlockFuseState(serial, err, 0); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::getQstMode(int32_t serial) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d", __func__, serial);
    handOver(
            ModemManager::vsClient, [&](VsQmiClient& c) { return c.getQstMode(serial); },
            [&](Errno err) { ModemResponse::respondGetQstMode(serial, err, -1); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::setQstMode(int32_t serial, int32_t mode) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, mode = %d", __func__, serial, mode);
    handOver(
            ModemManager::vsClient, [&](VsQmiClient& c) { return c.setQstMode(serial, mode); },
            [&](Errno err) { ModemResponse::respondSetQstMode(serial, err); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::abortRrcConnection(int32_t serial) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d", __func__, serial);
    handOver(
            ModemManager::vsClient, [&](VsQmiClient& c) { return c.abortRrcConnection(serial); },
            [&](Errno err) { ModemResponse::respondAbortRrcConnection(serial, err); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::setSarState(int32_t serial, int32_t state) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, state = %d", __func__, serial, state);
    handOver(
            ModemManager::sarClient, [&](SarQmiClient& c) { return c.setSarState(serial, state); },
            [&](Errno err) { ModemResponse::respondSetSarState(serial, err); });
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ModemImpl::informScreenState(int32_t serial, bool on) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: serial = %d, on = %s", __func__, serial,
                         boolText(on));
    handOver(
            ModemManager::vsClient, [&](VsQmiClient& c) { return c.informScreenState(serial, on); },
            [&](Errno err) { ModemResponse::respondInformScreenState(serial, err); });
    return ndk::ScopedAStatus::ok();
}

}  // namespace com::vyr::plim::modem
