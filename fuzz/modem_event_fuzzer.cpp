/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Modem events of any type, length and content, as the modem library hands them to
// ModemManager::modemApiEventCallback on its event thread: service connected and disconnected,
// the configuration (PDC) answers 17 and 18, and every other value. The manager holds instance
// 0's clients; the library itself is never started, so nothing but the input sends events. The
// response callback is an object of this process: every answer is seen before the call returns.
//
// Input: byte 0 picks the event (bits 0-2: 0 connected, 1 disconnected, 2 event 17, 3 event 18,
// 4-7 the next 4 bytes are the event), whether the data is cut or zero-padded to the event's own
// size (bit 3: 4 bytes for the service events, the record for 17 and 18) and whether the library
// passes a null pointer with that length (bit 4). The rest is the data.
//
// Checks: a service event of a 4-byte id sets exactly that service's client, when instance 0
// has one, to the event's state, and any other event changes no client; a PDC record is answered
// once, by its own method, with its token and result, exactly when it is whole and names a token;
// nothing else is ever answered.

#include <android/log.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <modem_api.h>
#include <plim/Errno.h>

#include "CallbackHolders.h"
#include "DiagClient.h"
#include "DmsQmiClient.h"
#include "FuzzCheck.h"
#include "ModemManager.h"
#include "NasQmiClient.h"
#include "PdcQmiClient.h"
#include "RecordingResponse.h"
#include "SarQmiClient.h"
#include "VsQmiClient.h"
#include "WdsQmiClient.h"

namespace {

using com::vyr::plim::fuzz::RecordingResponse;
using com::vyr::plim::fuzz::ResponseCall;
using com::vyr::plim::modem::CallbackHolders;
using com::vyr::plim::modem::DmsQmiClient;
using com::vyr::plim::modem::ModemManager;
using com::vyr::plim::modem::NasQmiClient;
using com::vyr::plim::modem::PdcQmiClient;
using com::vyr::plim::modem::QmiClient;
using com::vyr::plim::modem::SarQmiClient;
using com::vyr::plim::modem::VsQmiClient;
using com::vyr::plim::modem::WdsQmiClient;

std::shared_ptr<RecordingResponse> response;

// Instance 0's clients by service id.
constexpr std::array<int32_t, 6> kServices{MODEM_API_SERVICE_WDS, MODEM_API_SERVICE_DMS,
                                           MODEM_API_SERVICE_NAS, MODEM_API_SERVICE_SAR,
                                           MODEM_API_SERVICE_PDC, MODEM_API_SERVICE_VS};

std::shared_ptr<QmiClient> clientOf(int32_t serviceId) {
    switch (serviceId) {
        case MODEM_API_SERVICE_WDS:
            return ModemManager::wdsClient;
        case MODEM_API_SERVICE_DMS:
            return ModemManager::dmsClient;
        case MODEM_API_SERVICE_NAS:
            return ModemManager::nasClient;
        case MODEM_API_SERVICE_SAR:
            return ModemManager::sarClient;
        case MODEM_API_SERVICE_PDC:
            return ModemManager::pdcClient;
        case MODEM_API_SERVICE_VS:
            return ModemManager::vsClient;
    }
    return nullptr;
}

std::array<bool, kServices.size()> connections() {
    std::array<bool, kServices.size()> states{};
    for (size_t i = 0; i < kServices.size(); ++i) {
        states[i] = clientOf(kServices[i])->isConnected();
    }
    return states;
}

size_t sizeOf(modem_api_event_type event) {
    switch (event) {
        case MODEM_API_EVENT_SERVICE_CONNECTED:
        case MODEM_API_EVENT_SERVICE_DISCONNECTED:
            return sizeof(int32_t);
        case MODEM_API_EVENT_PDC_ACTIVE_CONFIG_INFO:
            return sizeof(modem_pdc_active_config_info_event);
        case MODEM_API_EVENT_PDC_CONFIG_INFO:
            return sizeof(modem_pdc_config_info_event);
    }
    return 0;
}

void checkServiceEvent(bool connected, const uint8_t* data, size_t length,
                       const std::array<bool, kServices.size()>& before) {
    std::array<bool, kServices.size()> expected = before;
    if (data != nullptr && length == sizeof(int32_t)) {
        int32_t serviceId;
        std::memcpy(&serviceId, data, sizeof(serviceId));
        for (size_t i = 0; i < kServices.size(); ++i) {
            if (kServices[i] == serviceId) {
                expected[i] = connected;
            }
        }
    }
    CHECK(connections() == expected);
}

/** A PDC record: answered once when whole and tokened, with what the record says. */
template <typename Event>
void checkPdcAnswer(const char* method, const uint8_t* data, size_t length,
                    const std::vector<ResponseCall>& calls) {
    Event record{};
    if (data != nullptr && length == sizeof(Event)) {
        std::memcpy(&record, data, sizeof(Event));
    }
    if (data == nullptr || length != sizeof(Event) || record.token_valid == 0) {
        // No serial to answer: the request stays unanswered rather than get a made-up one.
        CHECK(calls.empty());
        return;
    }
    CHECK(calls.size() == 1);
    const ResponseCall& call = calls[0];
    CHECK(call.method == method);
    CHECK(call.info.serial == static_cast<int32_t>(record.token));
    CHECK((call.info.error == 0) == (record.result == 0));
    if (call.info.error != 0) {
        CHECK(call.bytes.empty());
        return;
    }
    const size_t infoLength = std::min<size_t>(record.info_len, sizeof(record.info));
    CHECK(call.bytes.size() == infoLength);
    CHECK(std::equal(call.bytes.begin(), call.bytes.end(), record.info));
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    // Every event is logged; at fuzzing rates that drowns libFuzzer's own output.
    __android_log_set_minimum_priority(ANDROID_LOG_FATAL);
    // Instance 0's clients, as ModemManager::init makes them, without starting the library.
    ModemManager::nasClient = std::make_shared<NasQmiClient>(0);
    ModemManager::vsClient = std::make_shared<VsQmiClient>(0);
    ModemManager::wdsClient = std::make_shared<WdsQmiClient>(0);
    ModemManager::dmsClient = std::make_shared<DmsQmiClient>();
    ModemManager::pdcClient = std::make_shared<PdcQmiClient>();
    ModemManager::sarClient = std::make_shared<SarQmiClient>();
    response = ndk::SharedRefBase::make<RecordingResponse>();
    CallbackHolders::response().update(response);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    const uint8_t shape = data[0];
    ++data;
    --size;
    modem_api_event_type event;
    switch (shape & 7) {
        case 0:
            event = MODEM_API_EVENT_SERVICE_CONNECTED;
            break;
        case 1:
            event = MODEM_API_EVENT_SERVICE_DISCONNECTED;
            break;
        case 2:
            event = MODEM_API_EVENT_PDC_ACTIVE_CONFIG_INFO;
            break;
        case 3:
            event = MODEM_API_EVENT_PDC_CONFIG_INFO;
            break;
        default: {
            uint8_t bytes[4] = {};
            std::memcpy(bytes, data, std::min<size_t>(size, 4));
            event = static_cast<modem_api_event_type>(bytes[0] | bytes[1] << 8 | bytes[2] << 16 |
                                                      static_cast<uint32_t>(bytes[3]) << 24);
            const size_t used = std::min<size_t>(size, 4);
            data += used;
            size -= used;
            break;
        }
    }
    const bool exact = (shape & 8) != 0;
    const bool nullData = (shape & 0x10) != 0;

    const size_t length = exact ? sizeOf(event) : size;
    // A heap block of exactly the data's length, so that a read past it is ASan's to report.
    std::unique_ptr<uint8_t[]> bytes(new uint8_t[length + (length == 0 ? 1 : 0)]());
    std::memcpy(bytes.get(), data, std::min(size, length));
    uint8_t* delivered = nullData ? nullptr : bytes.get();

    const auto before = connections();
    ModemManager::modemApiEventCallback(event, delivered, length);
    const std::vector<ResponseCall> calls = response->take();

    switch (event) {
        case MODEM_API_EVENT_SERVICE_CONNECTED:
        case MODEM_API_EVENT_SERVICE_DISCONNECTED:
            checkServiceEvent(event == MODEM_API_EVENT_SERVICE_CONNECTED, delivered, length,
                              before);
            CHECK(calls.empty());
            return 0;
        case MODEM_API_EVENT_PDC_ACTIVE_CONFIG_INFO:
            checkPdcAnswer<modem_pdc_active_config_info_event>("respondGetActiveMbnInfo", delivered,
                                                               length, calls);
            break;
        case MODEM_API_EVENT_PDC_CONFIG_INFO:
            checkPdcAnswer<modem_pdc_config_info_event>("respondGetMetaMbnInfo", delivered, length,
                                                        calls);
            break;
        default:
            CHECK(calls.empty());
            break;
    }
    CHECK(connections() == before);
    return 0;
}
