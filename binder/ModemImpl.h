/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <aidl/vendor/vyr/plim/modem/BnModem.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace com::vyr::plim::modem {

/**
 * The IModem service object. Each request method logs its arguments and hands the request to the
 * modem client of its service, which answers later through ModemResponse; it answers at once
 * itself only when the client does not exist (error INVALID_STATE) or refuses the request (the
 * client's error), with the method's default result. Every method returns an ok status: errors
 * travel only in ResponseInfo.error.
 *
 * Threads: the binder thread pool. Methods never wait for the modem; they keep no per-request
 * state, and read the modem manager's client pointers without a lock (written only during
 * start-up, before the service is registered).
 */
class ModemImpl : public aidl::vendor::vyr::plim::modem::BnModem {
  public:
    using IModemIndication = aidl::vendor::vyr::plim::modem::IModemIndication;
    using IModemResponse = aidl::vendor::vyr::plim::modem::IModemResponse;

    explicit ModemImpl(int instanceId);
    /** Clears both callback holders. */
    ~ModemImpl() override;

    /** Replaces both callbacks (empty clears); confirms the indication callback when set. */
    ndk::ScopedAStatus setCallback(const std::shared_ptr<IModemResponse>& resp,
                                   const std::shared_ptr<IModemIndication>& ind) override;
    ndk::ScopedAStatus getBuildTime(int32_t serial) override;
    ndk::ScopedAStatus getBuildId(int32_t serial) override;
    ndk::ScopedAStatus readNv(int32_t serial, int32_t nvId, int8_t subId, int8_t index) override;
    ndk::ScopedAStatus writeNv(int32_t serial, int32_t nvId, int8_t subId, int8_t index,
                               const std::vector<uint8_t>& data) override;
    ndk::ScopedAStatus readEfs(int32_t serial, int32_t efsId, int8_t subId) override;
    ndk::ScopedAStatus writeEfs(int32_t serial, int32_t efsId, int8_t subId,
                                const std::vector<uint8_t>& data) override;
    ndk::ScopedAStatus deleteEfsFile(int32_t serial, int32_t efsId, int8_t subId) override;
    ndk::ScopedAStatus deleteEfsDir(int32_t serial, int32_t efsId) override;
    ndk::ScopedAStatus getNrNetworkMode(int32_t serial) override;
    ndk::ScopedAStatus setNrNetworkMode(int32_t serial, int32_t mode) override;
    ndk::ScopedAStatus getVonrMode(int32_t serial) override;
    ndk::ScopedAStatus setVonrMode(int32_t serial, int32_t mode) override;
    ndk::ScopedAStatus getOperatingMode(int32_t serial) override;
    ndk::ScopedAStatus setOperatingMode(int32_t serial, int32_t mode) override;
    ndk::ScopedAStatus setRadioInfoReportSwitch(int32_t serial, bool on) override;
    ndk::ScopedAStatus deleteImsProfile(int32_t serial) override;
    ndk::ScopedAStatus getActiveMbnInfo(int32_t serial, int32_t subId) override;
    ndk::ScopedAStatus getMetaMbnInfo(int32_t serial, const std::vector<uint8_t>& target) override;
    ndk::ScopedAStatus getMbnList(int32_t serial) override;
    ndk::ScopedAStatus deleteAllMbns(int32_t serial) override;
    ndk::ScopedAStatus selectMbn(int32_t serial, int32_t subId,
                                 const std::vector<uint8_t>& target) override;
    ndk::ScopedAStatus loadMbn(int32_t serial, const std::vector<uint8_t>& target) override;
    ndk::ScopedAStatus activateMbn(int32_t serial, int32_t subId) override;
    ndk::ScopedAStatus deactivateMbn(int32_t serial, int32_t subId) override;
    ndk::ScopedAStatus activateMbnByName(int32_t serial, const std::vector<uint8_t>& name) override;
    ndk::ScopedAStatus restoreDiffQcn(int32_t serial) override;
    ndk::ScopedAStatus rebootModem(int32_t serial) override;
    ndk::ScopedAStatus removeRatMask(int32_t serial) override;
    ndk::ScopedAStatus getModemProperty(int32_t serial, const std::vector<uint8_t>& key) override;
    ndk::ScopedAStatus setModemProperty(int32_t serial, const std::vector<uint8_t>& key,
                                        const std::vector<uint8_t>& val) override;
    ndk::ScopedAStatus deleteModemProperty(int32_t serial,
                                           const std::vector<uint8_t>& key) override;
    ndk::ScopedAStatus get5gPowerSaveSwitch(int32_t serial) override;
    ndk::ScopedAStatus set5gPowerSaveSwitch(int32_t serial, bool on) override;
    ndk::ScopedAStatus set5gPowerSaveMode(int32_t serial, int8_t mode) override;
    ndk::ScopedAStatus forceAsdiv(int32_t serial, int32_t mode) override;
    ndk::ScopedAStatus getSimlockFuseState(int32_t serial) override;
    ndk::ScopedAStatus getQstMode(int32_t serial) override;
    ndk::ScopedAStatus setQstMode(int32_t serial, int32_t mode) override;
    ndk::ScopedAStatus abortRrcConnection(int32_t serial) override;
    ndk::ScopedAStatus setSarState(int32_t serial, int32_t state) override;
    ndk::ScopedAStatus informScreenState(int32_t serial, bool on) override;

    /** The instance this service object was made for; the requests do not depend on it. */
    int getInstanceId() const { return instanceId_; }

  private:
    const int instanceId_;
};

}  // namespace com::vyr::plim::modem
