/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Event 17 and 18 records of any length and content, as the modem library could hand them over,
// through the configuration client's two answer paths, with a response object of this process
// as the client's callback: calls on it are direct, so every answer is seen before the path
// returns.
//
// Input: byte 0 picks the event (bit 0) and, unless bits 1 and 2 are both clear, cuts or pads
// the record to exactly the event's size so that most inputs reach the record's fields. The
// other bytes are the record.

#include <aidl/vendor/vyr/plim/modem/BnModemResponse.h>
#include <android/log.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <modem_api.h>
#include <plim/Errno.h>

#include "CallbackHolders.h"
#include "FuzzCheck.h"
#include "PdcQmiClient.h"

namespace {

using aidl::vendor::vyr::plim::modem::BnModemResponse;
using aidl::vendor::vyr::plim::modem::ResponseInfo;
using com::vyr::plim::modem::CallbackHolders;
using com::vyr::plim::modem::PdcQmiClient;

// What the response object received while one record was processed.
struct Seen {
    int answers = 0;  // respondGetActiveMbnInfo and respondGetMetaMbnInfo calls
    int others = 0;   // calls of any other method
    int event = 0;    // the event the last answer belongs to
    ResponseInfo info;
    std::vector<uint8_t> result;
};
Seen seen;

class Recorder : public BnModemResponse {
  public:
    ndk::ScopedAStatus respondGetActiveMbnInfo(const ResponseInfo& info,
                                               const std::vector<uint8_t>& result) override {
        return record(MODEM_API_EVENT_PDC_ACTIVE_CONFIG_INFO, info, result);
    }
    ndk::ScopedAStatus respondGetMetaMbnInfo(const ResponseInfo& info,
                                             const std::vector<uint8_t>& result) override {
        return record(MODEM_API_EVENT_PDC_CONFIG_INFO, info, result);
    }

#define PLIM_OTHER(Method)                                    \
    ndk::ScopedAStatus Method(const ResponseInfo&) override { \
        ++seen.others;                                        \
        return ndk::ScopedAStatus::ok();                      \
    }
#define PLIM_OTHER_RESULT(Method, Type)                             \
    ndk::ScopedAStatus Method(const ResponseInfo&, Type) override { \
        ++seen.others;                                              \
        return ndk::ScopedAStatus::ok();                            \
    }
    PLIM_OTHER_RESULT(respondGetBuildTime, const std::string&)
    PLIM_OTHER_RESULT(respondGetBuildId, const std::string&)
    PLIM_OTHER_RESULT(respondReadNv, const std::vector<uint8_t>&)
    PLIM_OTHER(respondWriteNv)
    PLIM_OTHER_RESULT(respondReadEfs, const std::vector<uint8_t>&)
    PLIM_OTHER(respondWriteEfs)
    PLIM_OTHER(respondDeleteEfsFile)
    PLIM_OTHER(respondDeleteEfsDir)
    PLIM_OTHER_RESULT(respondGetNrNetworkMode, int32_t)
    PLIM_OTHER(respondSetNrNetworkMode)
    PLIM_OTHER_RESULT(respondGetVonrMode, int32_t)
    PLIM_OTHER(respondSetVonrMode)
    PLIM_OTHER_RESULT(respondGetOperatingMode, int32_t)
    PLIM_OTHER(respondSetOperatingMode)
    PLIM_OTHER(respondSetRadioInfoReportSwitch)
    PLIM_OTHER(respondDeleteImsProfile)
    PLIM_OTHER_RESULT(respondGetMbnList, const std::vector<std::string>&)
    PLIM_OTHER(respondDeleteAllMbns)
    PLIM_OTHER(respondSelectMbn)
    PLIM_OTHER(respondLoadMbn)
    PLIM_OTHER(respondActivateMbn)
    PLIM_OTHER(respondDeactivateMbn)
    PLIM_OTHER(respondActivateMbnByName)
    PLIM_OTHER(respondRestoreDiffQcn)
    PLIM_OTHER(respondRebootModem)
    PLIM_OTHER(respondRemoveRatMask)
    PLIM_OTHER_RESULT(respondGetModemProperty, const std::vector<uint8_t>&)
    PLIM_OTHER(respondSetModemProperty)
    PLIM_OTHER(respondDeleteModemProperty)
    PLIM_OTHER_RESULT(respondGet5gPowerSaveSwitch, bool)
    PLIM_OTHER(respondSet5gPowerSaveSwitch)
    PLIM_OTHER(respondSet5gPowerSaveMode)
    PLIM_OTHER(respondForceAsdiv)
    PLIM_OTHER_RESULT(respondGetSimlockFuseState, int32_t)
    PLIM_OTHER_RESULT(respondGetQstMode, int32_t)
    PLIM_OTHER(respondSetQstMode)
    PLIM_OTHER(respondAbortRrcConnection)
    PLIM_OTHER(respondSetSarState)
    PLIM_OTHER(respondInformScreenState)
#undef PLIM_OTHER
#undef PLIM_OTHER_RESULT

  private:
    static ndk::ScopedAStatus record(int event, const ResponseInfo& info,
                                     const std::vector<uint8_t>& result) {
        ++seen.answers;
        seen.event = event;
        seen.info = info;
        seen.result = result;
        return ndk::ScopedAStatus::ok();
    }
};

std::shared_ptr<PdcQmiClient> client;

using Process = int (PdcQmiClient::*)(const void*, unsigned long) const;

/** Hands `size` input bytes, or exactly an Event's worth, to `process` and checks the answer. */
template <typename Event>
void fuzzRecord(int event, Process process, const uint8_t* data, size_t size, bool exact) {
    const size_t length = exact ? sizeof(Event) : size;
    // A heap block of exactly the record's length, so that a read past it is ASan's to report.
    std::unique_ptr<uint8_t[]> bytes(new uint8_t[length]());
    std::memcpy(bytes.get(), data, std::min(size, length));

    seen = Seen{};
    const int ret = (client.get()->*process)(bytes.get(), length);

    CHECK(seen.others == 0);
    CHECK(seen.answers <= 1);
    Event record{};
    if (length == sizeof(Event)) {
        std::memcpy(&record, bytes.get(), sizeof(Event));
    }
    if (length != sizeof(Event) || record.token_valid == 0) {
        // No serial to answer: the request stays unanswered rather than get a made-up one.
        CHECK(seen.answers == 0);
        CHECK(ret == com::vyr::plim::INVALID_ARGUMENT);
        return;
    }
    CHECK(seen.answers == 1);
    CHECK(ret == com::vyr::plim::OK);
    CHECK(seen.event == event);
    CHECK(seen.info.serial == static_cast<int32_t>(record.token));
    CHECK((seen.info.error == 0) == (record.result == 0));
    if (seen.info.error != 0) {
        CHECK(seen.result.empty());
        return;
    }
    const size_t infoLength = std::min<size_t>(record.info_len, sizeof(record.info));
    CHECK(seen.result.size() == infoLength);
    CHECK(std::equal(seen.result.begin(), seen.result.end(), record.info));
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    // Every dropped record is logged; at fuzzing rates that drowns libFuzzer's own output.
    __android_log_set_minimum_priority(ANDROID_LOG_FATAL);
    client = std::make_shared<PdcQmiClient>();
    CallbackHolders::response().update(ndk::SharedRefBase::make<Recorder>());
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    const bool meta = (data[0] & 1) != 0;
    const bool exact = (data[0] & 6) != 0;
    if (meta) {
        fuzzRecord<modem_pdc_config_info_event>(MODEM_API_EVENT_PDC_CONFIG_INFO,
                                                &PdcQmiClient::processGetMetaMbnInfoAsyncResponse,
                                                data + 1, size - 1, exact);
    } else {
        fuzzRecord<modem_pdc_active_config_info_event>(
                MODEM_API_EVENT_PDC_ACTIVE_CONFIG_INFO,
                &PdcQmiClient::processGetActiveMbnInfoAsyncResponse, data + 1, size - 1, exact);
    }
    return 0;
}
