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
interface IModem {
  void setCallback(in @nullable vendor.vyr.plim.modem.IModemResponse resp, in @nullable vendor.vyr.plim.modem.IModemIndication ind);
  void getBuildTime(int serial);
  void getBuildId(int serial);
  void readNv(int serial, int nvId, byte subId, byte index);
  void writeNv(int serial, int nvId, byte subId, byte index, in byte[] data);
  void readEfs(int serial, int efsId, byte subId);
  void writeEfs(int serial, int efsId, byte subId, in byte[] data);
  void deleteEfsFile(int serial, int efsId, byte subId);
  void deleteEfsDir(int serial, int efsId);
  void getNrNetworkMode(int serial);
  void setNrNetworkMode(int serial, int mode);
  void getVonrMode(int serial);
  void setVonrMode(int serial, int mode);
  void getOperatingMode(int serial);
  void setOperatingMode(int serial, int mode);
  void setRadioInfoReportSwitch(int serial, boolean on);
  void deleteImsProfile(int serial);
  void getActiveMbnInfo(int serial, int subId);
  void getMetaMbnInfo(int serial, in byte[] target);
  void getMbnList(int serial);
  void deleteAllMbns(int serial);
  void selectMbn(int serial, int subId, in byte[] target);
  void loadMbn(int serial, in byte[] target);
  void activateMbn(int serial, int subId);
  void deactivateMbn(int serial, int subId);
  void activateMbnByName(int serial, in byte[] name);
  void restoreDiffQcn(int serial);
  void rebootModem(int serial);
  void removeRatMask(int serial);
  void getModemProperty(int serial, in byte[] key);
  void setModemProperty(int serial, in byte[] key, in byte[] val);
  void deleteModemProperty(int serial, in byte[] key);
  void get5gPowerSaveSwitch(int serial);
  void set5gPowerSaveSwitch(int serial, boolean on);
  void set5gPowerSaveMode(int serial, byte mode);
  void forceAsdiv(int serial, int mode);
  void getSimlockFuseState(int serial);
  void getQstMode(int serial);
  void setQstMode(int serial, int mode);
  void abortRrcConnection(int serial);
  void setSarState(int serial, int state);
  void informScreenState(int serial, boolean on);
}
