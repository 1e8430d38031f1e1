/*
 * Copyright (C) 2026 The plim-modem developers
 */

package vendor.vyr.plim.modem;

import vendor.vyr.plim.modem.IModemIndication;
import vendor.vyr.plim.modem.IModemResponse;

/**
 * The modem service: reads and changes modem state that the telephony stack does not expose.
 *
 * Served as "vendor.vyr.plim.modem.IModem/instance<id>", one instance per modem subscription.
 *
 * Every request is asynchronous. The method returns an ok status at once; the outcome arrives
 * later as exactly one call of the matching IModemResponse method, carrying the request's serial
 * in ResponseInfo.serial and the outcome in ResponseInfo.error. A request that the service
 * cannot hand to its modem client is answered at once with error 4. The status of the binder
 * call itself is always ok: errors travel only in ResponseInfo.error.
 *
 * Responses are sent to the IModemResponse given to setCallback; a response for which no
 * callback is held (no setCallback yet, or the client died) is dropped.
 */
@VintfStability
interface IModem {
    /**
     * Registers the client's callbacks, replacing any held before. Either may be null, which
     * clears that callback. The service watches both for the client's death and drops them then.
     * Has no response.
     *
     * @param resp receives the outcome of every later request
     * @param ind receives unsolicited events
     */
    void setCallback(in @nullable IModemResponse resp, in @nullable IModemIndication ind);

    /**
     * Reads the build time of the modem software.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * Answered by IModemResponse.respondGetBuildTime.
     */
    void getBuildTime(int serial);

    /**
     * Reads the build id of the modem software.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * Answered by IModemResponse.respondGetBuildId.
     */
    void getBuildId(int serial);

    /**
     * Reads an NV item.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * @param nvId NV item id
     * @param subId subscription
     * @param index NV item index
     * Answered by IModemResponse.respondReadNv.
     */
    void readNv(int serial, int nvId, byte subId, byte index);

    /**
     * Writes an NV item.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * @param nvId NV item id
     * @param subId subscription
     * @param index NV item index
     * @param data the new contents
     * Answered by IModemResponse.respondWriteNv.
     */
    void writeNv(int serial, int nvId, byte subId, byte index, in byte[] data);

    /**
     * Reads a file of the modem's file system.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * @param efsId EFS file id
     * @param subId subscription
     * Answered by IModemResponse.respondReadEfs.
     */
    void readEfs(int serial, int efsId, byte subId);

    /**
     * Writes a file of the modem's file system.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * @param efsId EFS file id
     * @param subId subscription
     * @param data the new contents
     * Answered by IModemResponse.respondWriteEfs.
     */
    void writeEfs(int serial, int efsId, byte subId, in byte[] data);

    /**
     * Deletes a file of the modem's file system.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * @param efsId EFS file id
     * @param subId subscription
     * Answered by IModemResponse.respondDeleteEfsFile.
     */
    void deleteEfsFile(int serial, int efsId, byte subId);

    /**
     * Deletes a directory of the modem's file system.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * @param efsId EFS directory id
     * Answered by IModemResponse.respondDeleteEfsDir.
     */
    void deleteEfsDir(int serial, int efsId);

    /**
     * Reads the NR (5G) network mode.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * Answered by IModemResponse.respondGetNrNetworkMode.
     */
    void getNrNetworkMode(int serial);

    /**
     * Sets the NR (5G) network mode.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * @param mode the new NR network mode
     * Answered by IModemResponse.respondSetNrNetworkMode.
     */
    void setNrNetworkMode(int serial, int mode);

    /**
     * Reads the voice-over-NR mode.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * Answered by IModemResponse.respondGetVonrMode.
     */
    void getVonrMode(int serial);

    /**
     * Sets the voice-over-NR mode.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * @param mode the new voice-over-NR mode
     * Answered by IModemResponse.respondSetVonrMode.
     */
    void setVonrMode(int serial, int mode);

    /**
     * Reads the modem's operating mode.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * Answered by IModemResponse.respondGetOperatingMode.
     */
    void getOperatingMode(int serial);

    /**
     * Sets the modem's operating mode.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * @param mode the new operating mode
     * Answered by IModemResponse.respondSetOperatingMode.
     */
    void setOperatingMode(int serial, int mode);

    /**
     * Switches the modem's radio information reports on or off.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * @param on whether reports are sent
     * Answered by IModemResponse.respondSetRadioInfoReportSwitch.
     */
    void setRadioInfoReportSwitch(int serial, boolean on);

    /**
     * Deletes all IMS profiles.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * Answered by IModemResponse.respondDeleteImsProfile.
     */
    void deleteImsProfile(int serial);

    /**
     * Reads information on the active MBN configuration of a subscription.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * @param subId subscription
     * Answered by IModemResponse.respondGetActiveMbnInfo.
     */
    void getActiveMbnInfo(int serial, int subId);

    /**
     * Reads the meta information of an MBN configuration.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * @param target the MBN configuration's name
     * Answered by IModemResponse.respondGetMetaMbnInfo.
     */
    void getMetaMbnInfo(int serial, in byte[] target);

    /**
     * Lists the MBN configurations on the device.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * Answered by IModemResponse.respondGetMbnList.
     */
    void getMbnList(int serial);

    /**
     * Deletes every MBN configuration loaded in the modem.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * Answered by IModemResponse.respondDeleteAllMbns.
     */
    void deleteAllMbns(int serial);

    /**
     * Selects an MBN configuration for a subscription.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * @param subId subscription
     * @param target the MBN configuration's name
     * Answered by IModemResponse.respondSelectMbn.
     */
    void selectMbn(int serial, int subId, in byte[] target);

    /**
     * Loads an MBN configuration file into the modem.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * @param target the MBN configuration's name
     * Answered by IModemResponse.respondLoadMbn.
     */
    void loadMbn(int serial, in byte[] target);

    /**
     * Activates the selected MBN configuration of a subscription.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * @param subId subscription
     * Answered by IModemResponse.respondActivateMbn.
     */
    void activateMbn(int serial, int subId);

    /**
     * Deactivates the MBN configuration of a subscription.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * @param subId subscription
     * Answered by IModemResponse.respondDeactivateMbn.
     */
    void deactivateMbn(int serial, int subId);

    /**
     * Activates an MBN configuration by its name.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * @param name the MBN configuration's name
     * Answered by IModemResponse.respondActivateMbnByName.
     */
    void activateMbnByName(int serial, in byte[] name);

    /**
     * Restores the modem's QCN data.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * Answered by IModemResponse.respondRestoreDiffQcn.
     */
    void restoreDiffQcn(int serial);

    /**
     * Reboots the modem.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * Answered by IModemResponse.respondRebootModem.
     */
    void rebootModem(int serial);

    /**
     * Removes the modem's RAT mask.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * Answered by IModemResponse.respondRemoveRatMask.
     */
    void removeRatMask(int serial);

    /**
     * Reads a vendor modem property.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * @param key the property's key
     * Answered by IModemResponse.respondGetModemProperty.
     */
    void getModemProperty(int serial, in byte[] key);

    /**
     * Sets a vendor modem property.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * @param key the property's key
     * @param val the property's new value
     * Answered by IModemResponse.respondSetModemProperty.
     */
    void setModemProperty(int serial, in byte[] key, in byte[] val);

    /**
     * Deletes a vendor modem property.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * @param key the property's key
     * Answered by IModemResponse.respondDeleteModemProperty.
     */
    void deleteModemProperty(int serial, in byte[] key);

    /**
     * Reads whether 5G power saving is on.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * Answered by IModemResponse.respondGet5gPowerSaveSwitch.
     */
    void get5gPowerSaveSwitch(int serial);

    /**
     * Switches 5G power saving on or off.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * @param on whether 5G power saving is on
     * Answered by IModemResponse.respondSet5gPowerSaveSwitch.
     */
    void set5gPowerSaveSwitch(int serial, boolean on);

    /**
     * Sets the 5G power saving mode.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * @param mode the 5G power saving mode
     * Answered by IModemResponse.respondSet5gPowerSaveMode.
     */
    void set5gPowerSaveMode(int serial, byte mode);

    /**
     * Forces an antenna switch diversity mode.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * @param mode the antenna switch diversity mode
     * Answered by IModemResponse.respondForceAsdiv.
     */
    void forceAsdiv(int serial, int mode);

    /**
     * Reads the SIM-lock fuse state.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * Answered by IModemResponse.respondGetSimlockFuseState.
     */
    void getSimlockFuseState(int serial);

    /**
     * Reads the QST mode.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * Answered by IModemResponse.respondGetQstMode.
     */
    void getQstMode(int serial);

    /**
     * Sets the QST mode.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * @param mode the new QST mode
     * Answered by IModemResponse.respondSetQstMode.
     */
    void setQstMode(int serial, int mode);

    /**
     * Aborts the current RRC connection.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * Answered by IModemResponse.respondAbortRrcConnection.
     */
    void abortRrcConnection(int serial);

    /**
     * Sets the SAR state.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * @param state the new SAR state
     * Answered by IModemResponse.respondSetSarState.
     */
    void setSarState(int serial, int state);

    /**
     * Tells the modem whether the screen is on.
     *
     * @param serial chosen by the client; returned unchanged in the response
     * @param on whether the screen is on
     * Answered by IModemResponse.respondInformScreenState.
     */
    void informScreenState(int serial, boolean on);
}
