/*
 * Copyright (C) 2026 The plim-modem developers
 */
///////////////////////////////////////////////////////////////////////////////
// THIS FILE IS IMMUTABLE. DO NOT EDIT IN ANY CASE.                          //
///////////////////////////////////////////////////////////////////////////////

// This file is a snapshot of an AIDL file. Do not edit it manually. There are
// two cases:
// 1). this is a frozen version file - do not edit this in any case.
// 2). this is a 'current' file. If you make a backwards compatible change to
//     the interface (from the latest frozen version), the build system will
//     prompt you to update this file with `m <name>-update-api`.
//
// You must not make a backward incompatible change to any AIDL file built
// with the aidl_interface module type with versions property set. The module
// type is used to build AIDL files in a way that they can be used across
// independently updatable components of the system. If a device is shipped
// with such a backward incompatible change, it has a high risk of breaking
// later when a module using the interface is updated, e.g., Mainline modules.

package vendor.vyr.plim.modem;
@VintfStability
interface IModemResponse {
  oneway void respondGetBuildTime(in vendor.vyr.plim.modem.ResponseInfo info, in String result);
  oneway void respondGetBuildId(in vendor.vyr.plim.modem.ResponseInfo info, in String result);
  oneway void respondReadNv(in vendor.vyr.plim.modem.ResponseInfo info, in byte[] result);
  oneway void respondWriteNv(in vendor.vyr.plim.modem.ResponseInfo info);
  oneway void respondReadEfs(in vendor.vyr.plim.modem.ResponseInfo info, in byte[] result);
  oneway void respondWriteEfs(in vendor.vyr.plim.modem.ResponseInfo info);
  oneway void respondDeleteEfsFile(in vendor.vyr.plim.modem.ResponseInfo info);
  oneway void respondDeleteEfsDir(in vendor.vyr.plim.modem.ResponseInfo info);
  oneway void respondGetNrNetworkMode(in vendor.vyr.plim.modem.ResponseInfo info, int result);
  oneway void respondSetNrNetworkMode(in vendor.vyr.plim.modem.ResponseInfo info);
  oneway void respondGetVonrMode(in vendor.vyr.plim.modem.ResponseInfo info, int result);
  oneway void respondSetVonrMode(in vendor.vyr.plim.modem.ResponseInfo info);
  oneway void respondGetOperatingMode(in vendor.vyr.plim.modem.ResponseInfo info, int result);
  oneway void respondSetOperatingMode(in vendor.vyr.plim.modem.ResponseInfo info);
  oneway void respondSetRadioInfoReportSwitch(in vendor.vyr.plim.modem.ResponseInfo info);
  oneway void respondDeleteImsProfile(in vendor.vyr.plim.modem.ResponseInfo info);
  oneway void respondGetActiveMbnInfo(in vendor.vyr.plim.modem.ResponseInfo info, in byte[] result);
  oneway void respondGetMetaMbnInfo(in vendor.vyr.plim.modem.ResponseInfo info, in byte[] result);
  oneway void respondGetMbnList(in vendor.vyr.plim.modem.ResponseInfo info, in String[] result);
  oneway void respondDeleteAllMbns(in vendor.vyr.plim.modem.ResponseInfo info);
  oneway void respondSelectMbn(in vendor.vyr.plim.modem.ResponseInfo info);
  oneway void respondLoadMbn(in vendor.vyr.plim.modem.ResponseInfo info);
  oneway void respondActivateMbn(in vendor.vyr.plim.modem.ResponseInfo info);
  oneway void respondDeactivateMbn(in vendor.vyr.plim.modem.ResponseInfo info);
  oneway void respondActivateMbnByName(in vendor.vyr.plim.modem.ResponseInfo info);
  oneway void respondRestoreDiffQcn(in vendor.vyr.plim.modem.ResponseInfo info);
  oneway void respondRebootModem(in vendor.vyr.plim.modem.ResponseInfo info);
  oneway void respondRemoveRatMask(in vendor.vyr.plim.modem.ResponseInfo info);
  oneway void respondGetModemProperty(in vendor.vyr.plim.modem.ResponseInfo info, in byte[] result);
  oneway void respondSetModemProperty(in vendor.vyr.plim.modem.ResponseInfo info);
  oneway void respondDeleteModemProperty(in vendor.vyr.plim.modem.ResponseInfo info);
  oneway void respondGet5gPowerSaveSwitch(in vendor.vyr.plim.modem.ResponseInfo info, boolean result);
  oneway void respondSet5gPowerSaveSwitch(in vendor.vyr.plim.modem.ResponseInfo info);
  oneway void respondSet5gPowerSaveMode(in vendor.vyr.plim.modem.ResponseInfo info);
  oneway void respondForceAsdiv(in vendor.vyr.plim.modem.ResponseInfo info);
  oneway void respondGetSimlockFuseState(in vendor.vyr.plim.modem.ResponseInfo info, int result);
  oneway void respondGetQstMode(in vendor.vyr.plim.modem.ResponseInfo info, int result);
  oneway void respondSetQstMode(in vendor.vyr.plim.modem.ResponseInfo info);
  oneway void respondAbortRrcConnection(in vendor.vyr.plim.modem.ResponseInfo info);
  oneway void respondSetSarState(in vendor.vyr.plim.modem.ResponseInfo info);
  oneway void respondInformScreenState(in vendor.vyr.plim.modem.ResponseInfo info);
}
