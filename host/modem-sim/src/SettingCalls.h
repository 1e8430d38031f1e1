/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The synchronous calls that only read or only set one of the modem's settings.

#pragma once

#include <modem_api.h>
#include <modem_sim/ModemSimControl.h>

#include "ArgText.h"
#include "Modem.h"

namespace modemsim {

template <typename T>
modem_api_result_type getSetting(const char* function, int32_t service, T* out, T State::*setting) {
    return Modem::instance().call(function, "", service, out != nullptr, [=](Device& device) {
        *out = device.settings.*setting;
        return MODEM_API_SUCCESS;
    });
}

template <typename T>
modem_api_result_type setSetting(const char* function, int32_t service, T value,
                                 T State::*setting) {
    return Modem::instance().call(function, argList(value), service, true, [=](Device& device) {
        device.settings.*setting = value;
        return MODEM_API_SUCCESS;
    });
}

}  // namespace modemsim
