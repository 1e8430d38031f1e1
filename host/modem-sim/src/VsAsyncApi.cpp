/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The C API's asynchronous vendor-specific functions. Whatever a call passes by pointer is read
// before it returns: the reply comes later, when the daemon's buffers may be gone.

#include <algorithm>
#include <cstring>
#include <string>

#include <modem_api.h>

#include "ArgText.h"
#include "BoundedText.h"
#include "Modem.h"

using modemsim::argList;
using modemsim::boundedText;
using modemsim::Device;
using modemsim::isTerminatedText;
using modemsim::Modem;
using modemsim::pointerArg;
using modemsim::quotedArg;
using modemsim::State;

namespace {

// The longest key and value a property record may carry: its buffers less the terminator.
constexpr uint32_t kMaxPropertyKeyLength = MODEM_PROPERTY_KEY_BUFFER_SIZE - 1;
constexpr uint32_t kMaxPropertyValueLength = MODEM_PROPERTY_VALUE_BUFFER_SIZE - 1;
constexpr size_t kPayloadSize = MODEM_API_ASYNC_PAYLOAD_SIZE;

modem_api_result_type vsCallAsync(const char* function, std::string args, bool argsValid,
                                  void* userData, modem_api_async_cb cb, Modem::ReplyBody body) {
    std::string text = args.empty() ? "" : args + ", ";
    text += argList(pointerArg(userData != nullptr), pointerArg(cb != nullptr));
    return Modem::instance().callAsync(function, std::move(text), MODEM_API_SERVICE_VS, argsValid,
                                       userData, cb, std::move(body));
}

// A uint32_t length, then the text without terminator; a text planted longer than the payload
// holds is cut.
modem_api_result_type putLengthAndText(const std::string& text, uint8_t* payload) {
    const uint32_t length =
            static_cast<uint32_t>(std::min(text.size(), kPayloadSize - sizeof(uint32_t)));
    std::memcpy(payload, &length, sizeof(length));
    std::memcpy(payload + sizeof(length), text.data(), length);
    return MODEM_API_SUCCESS;
}

modem_api_result_type putText(const char* function, void* userData, modem_api_async_cb cb,
                              std::string State::*text) {
    return vsCallAsync(function, "", true, userData, cb, [text](Device& device, uint8_t* payload) {
        return putLengthAndText(device.settings.*text, payload);
    });
}

// An asynchronous call that sets one setting and answers without payload.
template <typename T>
modem_api_result_type setSettingAsync(const char* function, T value, void* userData,
                                      modem_api_async_cb cb, T State::*setting) {
    return vsCallAsync(function, argList(value), true, userData, cb,
                       [value, setting](Device& device, uint8_t*) {
                           device.settings.*setting = value;
                           return MODEM_API_SUCCESS;
                       });
}

bool isValidRecord(const modem_api_property_record* record) {
    return record != nullptr && record->key_len > 0 && record->key_len <= kMaxPropertyKeyLength &&
           record->value_len <= kMaxPropertyValueLength;
}

// The key and value as the record holds them, with the lengths it claims: a length that counts
// the terminator shows.
std::string recordArgs(const modem_api_property_record* record) {
    if (record == nullptr)
        return "null";
    return argList(quotedArg(record->key, sizeof(record->key)), record->key_len,
                   quotedArg(record->value, sizeof(record->value)), record->value_len);
}

}  // namespace

extern "C" {

modem_api_result_type modem_get_build_time(void* user_data, modem_api_async_cb cb) {
    return putText("modem_get_build_time", user_data, cb, &State::buildTime);
}

modem_api_result_type modem_get_build_id(void* user_data, modem_api_async_cb cb) {
    return putText("modem_get_build_id", user_data, cb, &State::buildId);
}

modem_api_result_type modem_api_set_radio_info_report_enabled(bool enabled, void* user_data,
                                                              modem_api_async_cb cb) {
    return setSettingAsync("modem_api_set_radio_info_report_enabled", enabled, user_data, cb,
                           &State::radioInfoReportEnabled);
}

modem_api_result_type modem_api_active_mbn(const char* name, void* user_data,
                                           modem_api_async_cb cb) {
    return vsCallAsync(
            "modem_api_active_mbn", quotedArg(name, MODEM_MBN_NAME_BUFFER_SIZE),
            isTerminatedText(name, MODEM_MBN_NAME_BUFFER_SIZE), user_data, cb,
            [mbn = boundedText(name, MODEM_MBN_NAME_BUFFER_SIZE)](Device& device, uint8_t*) {
                device.settings.activeMbn = mbn;
                return MODEM_API_SUCCESS;
            });
}

modem_api_result_type modem_api_remove_rat_mask(void* user_data, modem_api_async_cb cb) {
    return vsCallAsync("modem_api_remove_rat_mask", "", true, user_data, cb,
                       [](Device& device, uint8_t*) {
                           device.settings.ratMaskRemoved = true;
                           return MODEM_API_SUCCESS;
                       });
}

modem_api_result_type modem_api_get_modem_property(const char* key, void* user_data,
                                                   modem_api_async_cb cb) {
    return vsCallAsync(
            "modem_api_get_modem_property", quotedArg(key, MODEM_PROPERTY_KEY_BUFFER_SIZE),
            isTerminatedText(key, MODEM_PROPERTY_KEY_BUFFER_SIZE), user_data, cb,
            [name = boundedText(key, MODEM_PROPERTY_KEY_BUFFER_SIZE)](
                    Device& device, uint8_t* payload) -> modem_api_result_type {
                const auto& properties = device.settings.properties;
                auto found = properties.find(name);
                if (found == properties.end())
                    return MODEM_API_INVALID_ARGUMENT;
                // The record is zero-filled: what is copied is terminated.
                const std::string& value = found->second;
                std::memcpy(payload, value.data(), std::min(value.size(), kPayloadSize - 1));
                return MODEM_API_SUCCESS;
            });
}

modem_api_result_type modem_api_set_modem_property(const modem_api_property_record* record,
                                                   void* user_data, modem_api_async_cb cb) {
    const bool valid = isValidRecord(record);
    std::string key, value;
    if (valid) {
        key.assign(record->key, record->key_len);
        value.assign(record->value, record->value_len);
    }
    return vsCallAsync("modem_api_set_modem_property", recordArgs(record), valid, user_data, cb,
                       [key, value](Device& device, uint8_t*) {
                           device.settings.properties[key] = value;
                           return MODEM_API_SUCCESS;
                       });
}

modem_api_result_type modem_api_get_power_save_mode(void* user_data, modem_api_async_cb cb) {
    return vsCallAsync("modem_api_get_power_save_mode", "", true, user_data, cb,
                       [](Device& device, uint8_t* payload) {
                           payload[0] = device.settings.powerSaveSwitch ? 1 : 0;
                           return MODEM_API_SUCCESS;
                       });
}

modem_api_result_type modem_api_set_power_save_mode(bool on, void* user_data,
                                                    modem_api_async_cb cb) {
    return setSettingAsync("modem_api_set_power_save_mode", on, user_data, cb,
                           &State::powerSaveSwitch);
}

modem_api_result_type modem_api_set_power_save_status(uint8_t mode, void* user_data,
                                                      modem_api_async_cb cb) {
    return setSettingAsync("modem_api_set_power_save_status", mode, user_data, cb,
                           &State::powerSaveMode);
}

modem_api_result_type modem_abort_rrc_connection(void* user_data, modem_api_async_cb cb) {
    return vsCallAsync("modem_abort_rrc_connection", "", true, user_data, cb,
                       [](Device& device, uint8_t*) {
                           ++device.settings.rrcAborts;
                           return MODEM_API_SUCCESS;
                       });
}

}  // extern "C"
