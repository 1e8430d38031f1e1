/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The C API's synchronous DMS, NAS, SAR, WDS and diagnostic functions.

#include <algorithm>

#include <modem_api.h>

#include "ArgText.h"
#include "Modem.h"
#include "SettingCalls.h"

using modemsim::argList;
using modemsim::Device;
using modemsim::getSetting;
using modemsim::Modem;
using modemsim::setSetting;
using modemsim::State;

namespace {

bool sameProfile(const modem_qdp_profile_id& a, const modem_qdp_profile_id& b) {
    return a.technology == b.technology && a.index == b.index;
}

}  // namespace

extern "C" {

modem_api_result_type modem_get_operating_mode(int* mode) {
    return getSetting("modem_get_operating_mode", MODEM_API_SERVICE_DMS, mode,
                      &State::operatingMode);
}

modem_api_result_type modem_set_operating_mode(int mode) {
    return setSetting("modem_set_operating_mode", MODEM_API_SERVICE_DMS, mode,
                      &State::operatingMode);
}

modem_api_result_type modem_get_nr_network_mode(int* mode) {
    return getSetting("modem_get_nr_network_mode", MODEM_API_SERVICE_NAS, mode,
                      &State::nrNetworkMode);
}

modem_api_result_type modem_switch_nr_network_mode(int mode) {
    return setSetting("modem_switch_nr_network_mode", MODEM_API_SERVICE_NAS, mode,
                      &State::nrNetworkMode);
}

modem_api_result_type modem_get_vonr_mode(int* mode) {
    return getSetting("modem_get_vonr_mode", MODEM_API_SERVICE_NAS, mode, &State::vonrMode);
}

modem_api_result_type modem_set_vonr_mode(int mode) {
    return setSetting("modem_set_vonr_mode", MODEM_API_SERVICE_NAS, mode, &State::vonrMode);
}

modem_api_result_type modem_set_sar_dsi(int state) {
    return setSetting("modem_set_sar_dsi", MODEM_API_SERVICE_SAR, state, &State::sarState);
}

modem_api_result_type modem_diag_pan_force_asdiv(int mode) {
    return setSetting("modem_diag_pan_force_asdiv", Modem::kNoService, mode, &State::asdivMode);
}

modem_api_result_type modem_qdp_get_ims_profile(modem_qdp_profile_id* profiles, uint8_t* count) {
    return Modem::instance().call(
            "modem_qdp_get_ims_profile", count != nullptr ? argList(*count) : "null",
            MODEM_API_SERVICE_WDS, profiles != nullptr && count != nullptr,
            [profiles, count](Device& device) {
                const std::vector<modem_qdp_profile_id>& table = device.settings.imsProfiles;
                const size_t copied = std::min<size_t>(*count, table.size());
                std::copy_n(table.begin(), copied, profiles);
                // The number found, which may exceed what fitted: the caller can tell.
                *count = static_cast<uint8_t>(table.size());
                return MODEM_API_SUCCESS;
            });
}

modem_api_result_type modem_qdp_delete_ims_profile(const modem_qdp_profile_id* profile) {
    return Modem::instance().call(
            "modem_qdp_delete_ims_profile",
            profile != nullptr ? argList(profile->technology, profile->index) : "null",
            MODEM_API_SERVICE_WDS, profile != nullptr, [profile](Device& device) {
                std::vector<modem_qdp_profile_id>& table = device.settings.imsProfiles;
                auto found = std::find_if(table.begin(), table.end(), [&](const auto& entry) {
                    return sameProfile(entry, *profile);
                });
                if (found == table.end())
                    return MODEM_API_INVALID_ARGUMENT;
                table.erase(found);
                return MODEM_API_SUCCESS;
            });
}

}  // extern "C"
