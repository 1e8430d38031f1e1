/*
 * Copyright (C) 2026 The plim-modem developers
 */

package vendor.vyr.plim.modem;

import vendor.vyr.plim.modem.ResponseInfo;

/**
 * The client's receiver of request outcomes: method n answers IModem method n + 1.
 *
 * Each method is called exactly once per accepted request, from a service thread, with the
 * request's serial in info.serial. Where a request has a result, the result is always present;
 * when info.error is not 0 it holds the default value that the request documents (empty, -1, 0
 * or false). Outcomes of different requests may arrive in any order: the serial ties each to its
 * request.
 */
@VintfStability
oneway interface IModemResponse {
    /**
     * Answers IModem.getBuildTime.
     *
     * @param info the request's serial and outcome
     * @param result the modem software's build time
     */
    void respondGetBuildTime(in ResponseInfo info, in String result);


    /**
     * Answers IModem.getBuildId.
     *
     * @param info the request's serial and outcome
     * @param result the modem software's build id
     */
    void respondGetBuildId(in ResponseInfo info, in String result);


    /**
     * Answers IModem.readNv.
     *
     * @param info the request's serial and outcome
     * @param result the NV item's contents
     */
    void respondReadNv(in ResponseInfo info, in byte[] result);


    /**
     * Answers IModem.writeNv.
     *
     * @param info the request's serial and outcome
     */
    void respondWriteNv(in ResponseInfo info);


    /**
     * Answers IModem.readEfs.
     *
     * @param info the request's serial and outcome
     * @param result the EFS file's contents
     */
    void respondReadEfs(in ResponseInfo info, in byte[] result);


    /**
     * Answers IModem.writeEfs.
     *
     * @param info the request's serial and outcome
     */
    void respondWriteEfs(in ResponseInfo info);


    /**
     * Answers IModem.deleteEfsFile.
     *
     * @param info the request's serial and outcome
     */
    void respondDeleteEfsFile(in ResponseInfo info);


    /**
     * Answers IModem.deleteEfsDir.
     *
     * @param info the request's serial and outcome
     */
    void respondDeleteEfsDir(in ResponseInfo info);


    /**
     * Answers IModem.getNrNetworkMode.
     *
     * @param info the request's serial and outcome
     * @param result the NR network mode, -1 on failure
     */
    void respondGetNrNetworkMode(in ResponseInfo info, int result);


    /**
     * Answers IModem.setNrNetworkMode.
     *
     * @param info the request's serial and outcome
     */
    void respondSetNrNetworkMode(in ResponseInfo info);


    /**
     * Answers IModem.getVonrMode.
     *
     * @param info the request's serial and outcome
     * @param result the VoNR mode, -1 on failure
     */
    void respondGetVonrMode(in ResponseInfo info, int result);


    /**
     * Answers IModem.setVonrMode.
     *
     * @param info the request's serial and outcome
     */
    void respondSetVonrMode(in ResponseInfo info);


    /**
     * Answers IModem.getOperatingMode.
     *
     * @param info the request's serial and outcome
     * @param result the modem's operating mode, -1 on failure
     */
    void respondGetOperatingMode(in ResponseInfo info, int result);


    /**
     * Answers IModem.setOperatingMode.
     *
     * @param info the request's serial and outcome
     */
    void respondSetOperatingMode(in ResponseInfo info);


    /**
     * Answers IModem.setRadioInfoReportSwitch.
     *
     * @param info the request's serial and outcome
     */
    void respondSetRadioInfoReportSwitch(in ResponseInfo info);


    /**
     * Answers IModem.deleteImsProfile.
     *
     * @param info the request's serial and outcome
     */
    void respondDeleteImsProfile(in ResponseInfo info);


    /**
     * Answers IModem.getActiveMbnInfo.
     *
     * @param info the request's serial and outcome
     * @param result information on the active MBN configuration
     */
    void respondGetActiveMbnInfo(in ResponseInfo info, in byte[] result);


    /**
     * Answers IModem.getMetaMbnInfo.
     *
     * @param info the request's serial and outcome
     * @param result meta information of the MBN file
     */
    void respondGetMetaMbnInfo(in ResponseInfo info, in byte[] result);


    /**
     * Answers IModem.getMbnList.
     *
     * @param info the request's serial and outcome
     * @param result the MBN configurations found
     */
    void respondGetMbnList(in ResponseInfo info, in String[] result);


    /**
     * Answers IModem.deleteAllMbns.
     *
     * @param info the request's serial and outcome
     */
    void respondDeleteAllMbns(in ResponseInfo info);


    /**
     * Answers IModem.selectMbn.
     *
     * @param info the request's serial and outcome
     */
    void respondSelectMbn(in ResponseInfo info);


    /**
     * Answers IModem.loadMbn.
     *
     * @param info the request's serial and outcome
     */
    void respondLoadMbn(in ResponseInfo info);


    /**
     * Answers IModem.activateMbn.
     *
     * @param info the request's serial and outcome
     */
    void respondActivateMbn(in ResponseInfo info);


    /**
     * Answers IModem.deactivateMbn.
     *
     * @param info the request's serial and outcome
     */
    void respondDeactivateMbn(in ResponseInfo info);


    /**
     * Answers IModem.activateMbnByName.
     *
     * @param info the request's serial and outcome
     */
    void respondActivateMbnByName(in ResponseInfo info);


    /**
     * Answers IModem.restoreDiffQcn.
     *
     * @param info the request's serial and outcome
     */
    void respondRestoreDiffQcn(in ResponseInfo info);


    /**
     * Answers IModem.rebootModem.
     *
     * @param info the request's serial and outcome
     */
    void respondRebootModem(in ResponseInfo info);


    /**
     * Answers IModem.removeRatMask.
     *
     * @param info the request's serial and outcome
     */
    void respondRemoveRatMask(in ResponseInfo info);


    /**
     * Answers IModem.getModemProperty.
     *
     * @param info the request's serial and outcome
     * @param result the property's value
     */
    void respondGetModemProperty(in ResponseInfo info, in byte[] result);


    /**
     * Answers IModem.setModemProperty.
     *
     * @param info the request's serial and outcome
     */
    void respondSetModemProperty(in ResponseInfo info);


    /**
     * Answers IModem.deleteModemProperty.
     *
     * @param info the request's serial and outcome
     */
    void respondDeleteModemProperty(in ResponseInfo info);


    /**
     * Answers IModem.get5gPowerSaveSwitch.
     *
     * @param info the request's serial and outcome
     * @param result whether 5G power saving is on
     */
    void respondGet5gPowerSaveSwitch(in ResponseInfo info, boolean result);


    /**
     * Answers IModem.set5gPowerSaveSwitch.
     *
     * @param info the request's serial and outcome
     */
    void respondSet5gPowerSaveSwitch(in ResponseInfo info);


    /**
     * Answers IModem.set5gPowerSaveMode.
     *
     * @param info the request's serial and outcome
     */
    void respondSet5gPowerSaveMode(in ResponseInfo info);


    /**
     * Answers IModem.forceAsdiv.
     *
     * @param info the request's serial and outcome
     */
    void respondForceAsdiv(in ResponseInfo info);


    /**
     * Answers IModem.getSimlockFuseState.
     *
     * @param info the request's serial and outcome
     * @param result the SIM-lock fuse state, 0 on failure
     */
    void respondGetSimlockFuseState(in ResponseInfo info, int result);


    /**
     * Answers IModem.getQstMode.
     *
     * @param info the request's serial and outcome
     * @param result the QST mode, -1 on failure
     */
    void respondGetQstMode(in ResponseInfo info, int result);


    /**
     * Answers IModem.setQstMode.
     *
     * @param info the request's serial and outcome
     */
    void respondSetQstMode(in ResponseInfo info);


    /**
     * Answers IModem.abortRrcConnection.
     *
     * @param info the request's serial and outcome
     */
    void respondAbortRrcConnection(in ResponseInfo info);


    /**
     * Answers IModem.setSarState.
     *
     * @param info the request's serial and outcome
     */
    void respondSetSarState(in ResponseInfo info);


    /**
     * Answers IModem.informScreenState.
     *
     * @param info the request's serial and outcome
     */
    void respondInformScreenState(in ResponseInfo info);
}
