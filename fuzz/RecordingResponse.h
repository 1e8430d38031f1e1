/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The fuzzers' IModemResponse: records every call it receives, for the checks to compare with
// what the input should have produced.
//
// Threads: any; calls may arrive on binder threads while the fuzzer reads the record.

#pragma once

#include <aidl/vendor/vyr/plim/modem/BnModemResponse.h>

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace com::vyr::plim::fuzz {

/** One call as received; the result fields the method has not are left empty. */
struct ResponseCall {
    std::string method;  // e.g. "respondGetBuildTime"
    aidl::vendor::vyr::plim::modem::ResponseInfo info;
    std::string text;
    std::vector<uint8_t> bytes;
    int32_t number = 0;
    std::vector<std::string> texts;
};

class RecordingResponse : public aidl::vendor::vyr::plim::modem::BnModemResponse {
  public:
    using ResponseInfo = aidl::vendor::vyr::plim::modem::ResponseInfo;

    /** The calls received so far, removed from the record. */
    std::vector<ResponseCall> take();

#define PLIM_RECORD(Method)                                        \
    ndk::ScopedAStatus Method(const ResponseInfo& info) override { \
        return record({#Method, info, {}, {}, 0, {}});             \
    }
#define PLIM_RECORD_TEXT(Method)                                                            \
    ndk::ScopedAStatus Method(const ResponseInfo& info, const std::string& text) override { \
        return record({#Method, info, text, {}, 0, {}});                                    \
    }
#define PLIM_RECORD_BYTES(Method)                                                          \
    ndk::ScopedAStatus Method(const ResponseInfo& info, const std::vector<uint8_t>& bytes) \
            override {                                                                     \
        return record({#Method, info, {}, bytes, 0, {}});                                  \
    }
#define PLIM_RECORD_NUMBER(Method, Type)                                          \
    ndk::ScopedAStatus Method(const ResponseInfo& info, Type number) override {   \
        return record({#Method, info, {}, {}, static_cast<int32_t>(number), {}}); \
    }
#define PLIM_RECORD_TEXTS(Method)                                                              \
    ndk::ScopedAStatus Method(const ResponseInfo& info, const std::vector<std::string>& texts) \
            override {                                                                         \
        return record({#Method, info, {}, {}, 0, texts});                                      \
    }
    PLIM_RECORD_TEXT(respondGetBuildTime)
    PLIM_RECORD_TEXT(respondGetBuildId)
    PLIM_RECORD_BYTES(respondReadNv)
    PLIM_RECORD(respondWriteNv)
    PLIM_RECORD_BYTES(respondReadEfs)
    PLIM_RECORD(respondWriteEfs)
    PLIM_RECORD(respondDeleteEfsFile)
    PLIM_RECORD(respondDeleteEfsDir)
    PLIM_RECORD_NUMBER(respondGetNrNetworkMode, int32_t)
    PLIM_RECORD(respondSetNrNetworkMode)
    PLIM_RECORD_NUMBER(respondGetVonrMode, int32_t)
    PLIM_RECORD(respondSetVonrMode)
    PLIM_RECORD_NUMBER(respondGetOperatingMode, int32_t)
    PLIM_RECORD(respondSetOperatingMode)
    PLIM_RECORD(respondSetRadioInfoReportSwitch)
    PLIM_RECORD(respondDeleteImsProfile)
    PLIM_RECORD_BYTES(respondGetActiveMbnInfo)
    PLIM_RECORD_BYTES(respondGetMetaMbnInfo)
    PLIM_RECORD_TEXTS(respondGetMbnList)
    PLIM_RECORD(respondDeleteAllMbns)
    PLIM_RECORD(respondSelectMbn)
    PLIM_RECORD(respondLoadMbn)
    PLIM_RECORD(respondActivateMbn)
    PLIM_RECORD(respondDeactivateMbn)
    PLIM_RECORD(respondActivateMbnByName)
    PLIM_RECORD(respondRestoreDiffQcn)
    PLIM_RECORD(respondRebootModem)
    PLIM_RECORD(respondRemoveRatMask)
    PLIM_RECORD_BYTES(respondGetModemProperty)
    PLIM_RECORD(respondSetModemProperty)
    PLIM_RECORD(respondDeleteModemProperty)
    PLIM_RECORD_NUMBER(respondGet5gPowerSaveSwitch, bool)
    PLIM_RECORD(respondSet5gPowerSaveSwitch)
    PLIM_RECORD(respondSet5gPowerSaveMode)
    PLIM_RECORD(respondForceAsdiv)
    PLIM_RECORD_NUMBER(respondGetSimlockFuseState, int32_t)
    PLIM_RECORD_NUMBER(respondGetQstMode, int32_t)
    PLIM_RECORD(respondSetQstMode)
    PLIM_RECORD(respondAbortRrcConnection)
    PLIM_RECORD(respondSetSarState)
    PLIM_RECORD(respondInformScreenState)
#undef PLIM_RECORD
#undef PLIM_RECORD_TEXT
#undef PLIM_RECORD_BYTES
#undef PLIM_RECORD_NUMBER
#undef PLIM_RECORD_TEXTS

  private:
    ndk::ScopedAStatus record(ResponseCall call);

    std::mutex mutex_;
    std::vector<ResponseCall> calls_;
};

}  // namespace com::vyr::plim::fuzz
