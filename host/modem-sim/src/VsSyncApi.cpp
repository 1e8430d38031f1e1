/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The C API's synchronous vendor-specific functions: NV items, EFS files, properties, and the
// modem's switches and maintenance commands.

#include <cstring>
#include <vector>

#include <modem_api.h>

#include "ArgText.h"
#include "BoundedText.h"
#include "Modem.h"
#include "SettingCalls.h"

using modemsim::argList;
using modemsim::boundedText;
using modemsim::bufferArg;
using modemsim::countArg;
using modemsim::Device;
using modemsim::getSetting;
using modemsim::isTerminatedText;
using modemsim::Modem;
using modemsim::quotedArg;
using modemsim::setSetting;
using modemsim::State;

namespace {

modem_api_result_type vsCall(const char* function, std::string args, bool argsValid,
                             const Modem::Body& body) {
    return Modem::instance().call(function, std::move(args), MODEM_API_SERVICE_VS, argsValid, body);
}

bool isStorable(const uint8_t* data, size_t length, size_t maxLength) {
    return data != nullptr && length > 0 && length <= maxLength;
}

// The item or file under `key`, missing being an invalid argument. *length: the buffer's size in,
// the stored length out. Too small a buffer is left untouched and told the length needed, so the
// caller can retry.
template <typename Store>
modem_api_result_type copyOut(const Store& store, const typename Store::key_type& key,
                              uint8_t* buffer, size_t* length) {
    auto found = store.find(key);
    if (found == store.end())
        return MODEM_API_INVALID_ARGUMENT;
    const std::vector<uint8_t>& stored = found->second;
    const size_t capacity = *length;
    *length = stored.size();
    if (stored.size() > capacity)
        return MODEM_API_NO_MEMORY;
    std::memcpy(buffer, stored.data(), stored.size());
    return MODEM_API_SUCCESS;
}

}  // namespace

extern "C" {

modem_api_result_type modem_read_nv_for_subid(uint8_t sub_id, int32_t nv_id, uint8_t index,
                                              uint8_t* buf, size_t* len) {
    return vsCall("modem_read_nv_for_subid", argList(sub_id, nv_id, index, countArg(len)),
                  buf != nullptr && len != nullptr, [=](Device& device) {
                      return copyOut(device.settings.nvItems, {sub_id, nv_id, index}, buf, len);
                  });
}

modem_api_result_type modem_write_nv_for_subid(uint8_t sub_id, int32_t nv_id, const uint8_t* data,
                                               size_t len) {
    return vsCall("modem_write_nv_for_subid", argList(sub_id, nv_id, bufferArg(data, len)),
                  isStorable(data, len, MODEM_NV_ITEM_MAX_SIZE), [=](Device& device) {
                      // The write names no index: it is the item's first.
                      device.settings.nvItems[{sub_id, nv_id, 0}].assign(data, data + len);
                      return MODEM_API_SUCCESS;
                  });
}

modem_api_result_type modem_read_efs_for_subid(uint8_t sub_id, int32_t efs_id, uint8_t* buf,
                                               size_t* len) {
    return vsCall("modem_read_efs_for_subid", argList(sub_id, efs_id, countArg(len)),
                  buf != nullptr && len != nullptr, [=](Device& device) {
                      return copyOut(device.settings.efsFiles, {sub_id, efs_id}, buf, len);
                  });
}

modem_api_result_type modem_write_efs_for_subid(uint8_t sub_id, int32_t efs_id, const uint8_t* data,
                                                size_t len) {
    return vsCall("modem_write_efs_for_subid", argList(sub_id, efs_id, bufferArg(data, len)),
                  isStorable(data, len, MODEM_EFS_FILE_MAX_SIZE), [=](Device& device) {
                      device.settings.efsFiles[{sub_id, efs_id}].assign(data, data + len);
                      return MODEM_API_SUCCESS;
                  });
}

modem_api_result_type modem_del_efs_for_subid(uint8_t sub_id, int32_t efs_id) {
    return vsCall("modem_del_efs_for_subid", argList(sub_id, efs_id), true, [=](Device& device) {
        return device.settings.efsFiles.erase({sub_id, efs_id}) != 0 ? MODEM_API_SUCCESS
                                                                     : MODEM_API_INVALID_ARGUMENT;
    });
}

modem_api_result_type modem_del_efs_file_dir(int32_t efs_id) {
    return vsCall("modem_del_efs_file_dir", argList(efs_id), true, [=](Device& device) {
        return device.settings.efsDirs.erase(efs_id) != 0 ? MODEM_API_SUCCESS
                                                          : MODEM_API_INVALID_ARGUMENT;
    });
}

modem_api_result_type modem_restore_qcn_data(void) {
    return vsCall("modem_restore_qcn_data", "", true, [](Device& device) {
        ++device.settings.qcnRestores;
        return MODEM_API_SUCCESS;
    });
}

modem_api_result_type modem_subsystem_reboot(void) {
    return vsCall("modem_subsystem_reboot", "", true, [](Device& device) {
        ++device.settings.reboots;
        // Every service drops as the call returns and comes back once the modem is up, so the
        // daemon's clients see the disconnect and rebind.
        device.services.restart(Modem::Clock::now() + device.rebootDowntime);
        return MODEM_API_SUCCESS;
    });
}

modem_api_result_type modem_api_delete_modem_property_sync(const char* key) {
    return vsCall(
            "modem_api_delete_modem_property_sync", quotedArg(key, MODEM_PROPERTY_KEY_BUFFER_SIZE),
            isTerminatedText(key, MODEM_PROPERTY_KEY_BUFFER_SIZE), [key](Device& device) {
                const std::string name = boundedText(key, MODEM_PROPERTY_KEY_BUFFER_SIZE);
                return device.settings.properties.erase(name) != 0 ? MODEM_API_SUCCESS
                                                                   : MODEM_API_INVALID_ARGUMENT;
            });
}

modem_api_result_type modem_api_get_simlock_fuse_status(int* state) {
    return getSetting("modem_api_get_simlock_fuse_status", MODEM_API_SERVICE_VS, state,
                      &State::simlockFuseState);
}

modem_api_result_type modem_get_qst_mode(int* mode) {
    return getSetting("modem_get_qst_mode", MODEM_API_SERVICE_VS, mode, &State::qstMode);
}

modem_api_result_type modem_set_qst_mode(int mode) {
    return setSetting("modem_set_qst_mode", MODEM_API_SERVICE_VS, mode, &State::qstMode);
}

modem_api_result_type modem_notify_screen_state(bool screen_on) {
    return setSetting("modem_notify_screen_state", MODEM_API_SERVICE_VS, screen_on,
                      &State::screenOn);
}

}  // extern "C"
