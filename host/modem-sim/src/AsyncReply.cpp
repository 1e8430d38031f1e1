/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "AsyncReply.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace modemsim {

void AsyncReply::deliver() const {
    modem_api_async_response sent = record;
    auto result = static_cast<modem_api_result_type>(record.result);
    if (!tamper) {
        callback(&sent, sizeof(sent), userData, result);
        return;
    }
    if (tamper->result) {
        sent.result = *tamper->result;
        result = static_cast<modem_api_result_type>(*tamper->result);
    }
    if (tamper->payload) {
        const std::vector<uint8_t>& payload = *tamper->payload;
        std::memset(sent.payload, 0, sizeof(sent.payload));
        std::memcpy(sent.payload, payload.data(), std::min(payload.size(), sizeof(sent.payload)));
    }
    const size_t length = tamper->length.value_or(sizeof(sent));
    if (tamper->nullRecord) {
        callback(nullptr, length, userData, result);
    } else if (length <= sizeof(sent)) {
        callback(&sent, length, userData, result);
    } else {
        // A reader that trusts the length reads all of it: it must be there to read.
        std::vector<uint8_t> extended(length, 0);
        std::memcpy(extended.data(), &sent, sizeof(sent));
        callback(extended.data(), length, userData, result);
    }
}

}  // namespace modemsim
