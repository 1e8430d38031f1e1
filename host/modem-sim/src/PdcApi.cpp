/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The C API's configuration (PDC) functions: configurations loaded in chunks, selected and
// activated by configuration type, and the two queries the modem answers by event.

#include <algorithm>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <modem_api.h>

#include "ArgText.h"
#include "BoundedText.h"
#include "Modem.h"

using modemsim::argList;
using modemsim::boundedText;
using modemsim::bufferArg;
using modemsim::Device;
using modemsim::EventTamper;
using modemsim::isTerminatedText;
using modemsim::Modem;
using modemsim::PdcLoad;
using modemsim::quotedArg;
using modemsim::quotedBytesArg;
using modemsim::State;

namespace {

constexpr size_t kIdSize = MODEM_PDC_CONFIG_ID_SIZE;

modem_api_result_type pdcCall(const char* function, std::string args, bool argsValid,
                              const Modem::Body& body) {
    return Modem::instance().call(function, std::move(args), MODEM_API_SERVICE_PDC, argsValid,
                                  body);
}

bool isValidChunk(const char* id, const void* chunk, uint32_t length, uint32_t total) {
    return isTerminatedText(id, kIdSize) && chunk != nullptr && length > 0 && length <= total;
}

modem_api_result_type appendChunk(State& state, const std::string& id, const uint8_t* chunk,
                                  uint32_t length, uint32_t total) {
    auto underWay = state.pdcLoads.find(id);
    if (underWay != state.pdcLoads.end() &&
        (underWay->second.total != total || underWay->second.bytes.size() + length > total)) {
        // A chunk that does not continue its load leaves nothing of it worth keeping.
        state.pdcLoads.erase(underWay);
        return MODEM_API_INVALID_ARGUMENT;
    }
    PdcLoad& load = state.pdcLoads[id];
    load.total = total;
    load.bytes.insert(load.bytes.end(), chunk, chunk + length);
    if (load.bytes.size() == total) {
        state.pdcConfigs[id] = std::move(load.bytes);
        state.pdcLoads.erase(id);
    }
    return MODEM_API_SUCCESS;
}

bool holdsId(const std::map<int, std::string>& byType, const std::string& id) {
    return std::any_of(byType.begin(), byType.end(),
                       [&](const auto& entry) { return entry.second == id; });
}

std::string describeConfig(const State& state, const std::string& id, size_t size) {
    const char* stage = holdsId(state.pdcActive, id)     ? "active"
                        : holdsId(state.pdcSelected, id) ? "selected"
                                                         : "stored";
    return "size=" + std::to_string(size) + ";state=" + stage;
}

// Both answer records share their layout but for the size of info. A text planted longer than
// info (only editState() can make one) is cut to fit.
template <typename Record>
Record answerRecord(modem_api_result_type result, uint32_t token, const std::string& info) {
    Record record{};
    record.result = result;
    record.token_valid = 1;
    record.token = token;
    const size_t length = std::min(info.size(), sizeof(record.info));
    std::memcpy(record.info, info.data(), length);
    record.info_len = static_cast<uint32_t>(length);
    return record;
}

// Queues the answer, with the tamper a test planned for it; taken here, under the modem's lock,
// so that plans count answers in call order.
template <typename Record>
void answer(Device& device, modem_api_event_type event, Record record) {
    const std::optional<EventTamper> tamper = device.eventTampers.take(event);
    if (tamper) {
        record.result = tamper->result.value_or(record.result);
        record.token_valid = tamper->tokenValid.value_or(record.token_valid);
        record.token = tamper->token.value_or(record.token);
        record.info_len = tamper->infoLen.value_or(record.info_len);
    }
    std::vector<uint8_t> data(sizeof(record));
    std::memcpy(data.data(), &record, sizeof(record));
    // A reader that trusts a longer length reads all of it: zeros must be there to read.
    if (tamper && tamper->length)
        data.resize(*tamper->length, 0);
    device.answers.push_back(Device::Answer{event, std::move(data)});
}

}  // namespace

extern "C" {

modem_api_result_type modem_pdc_get_activate_config_info(int config_type, uint32_t token) {
    return pdcCall("modem_pdc_get_activate_config_info", argList(config_type, token), true,
                   [=](Device& device) {
                       const auto& active = device.settings.pdcActive;
                       auto found = active.find(config_type);
                       const std::string id = found != active.end() ? found->second : "";
                       answer(device, MODEM_API_EVENT_PDC_ACTIVE_CONFIG_INFO,
                              answerRecord<modem_pdc_active_config_info_event>(MODEM_API_SUCCESS,
                                                                               token, id));
                       return MODEM_API_SUCCESS;
                   });
}

modem_api_result_type modem_pdc_get_config_info(const uint8_t* data, uint32_t len, uint32_t token) {
    return pdcCall("modem_pdc_get_config_info", argList(quotedBytesArg(data, len), len, token),
                   data != nullptr && len > 0, [=](Device& device) {
                       const std::string id(reinterpret_cast<const char*>(data), len);
                       const auto& configs = device.settings.pdcConfigs;
                       auto found = configs.find(id);
                       const bool known = found != configs.end();
                       const std::string info =
                               known ? describeConfig(device.settings, id, found->second.size())
                                     : "";
                       answer(device, MODEM_API_EVENT_PDC_CONFIG_INFO,
                              answerRecord<modem_pdc_config_info_event>(
                                      known ? MODEM_API_SUCCESS : MODEM_API_INVALID_ARGUMENT, token,
                                      info));
                       return MODEM_API_SUCCESS;
                   });
}

modem_api_result_type modem_pdc_delete_all_mbns(void) {
    return pdcCall("modem_pdc_delete_all_mbns", "", true, [](Device& device) {
        State& state = device.settings;
        state.pdcConfigs.clear();
        state.pdcLoads.clear();
        state.pdcSelected.clear();
        state.pdcActive.clear();
        return MODEM_API_SUCCESS;
    });
}

modem_api_result_type modem_pdc_set_selected_config_info(int config_type, const char* config_id) {
    return pdcCall("modem_pdc_set_selected_config_info",
                   argList(config_type, quotedArg(config_id, kIdSize)),
                   isTerminatedText(config_id, kIdSize),
                   [config_type, id = boundedText(config_id, kIdSize)](Device& device) {
                       State& state = device.settings;
                       if (state.pdcConfigs.count(id) == 0)
                           return MODEM_API_INVALID_ARGUMENT;
                       state.pdcSelected[config_type] = id;
                       return MODEM_API_SUCCESS;
                   });
}

modem_api_result_type modem_pdc_load_configuration(const char* config_id, const void* chunk,
                                                   uint32_t chunk_len, uint32_t total_len) {
    return pdcCall("modem_pdc_load_configuration",
                   argList(quotedArg(config_id, kIdSize), bufferArg(chunk, chunk_len), total_len),
                   isValidChunk(config_id, chunk, chunk_len, total_len),
                   [=, id = boundedText(config_id, kIdSize)](Device& device) {
                       return appendChunk(device.settings, id, static_cast<const uint8_t*>(chunk),
                                          chunk_len, total_len);
                   });
}

modem_api_result_type modem_pdc_activate_config(int config_type) {
    return pdcCall("modem_pdc_activate_config", argList(config_type), true, [=](Device& device) {
        State& state = device.settings;
        auto selected = state.pdcSelected.find(config_type);
        if (selected == state.pdcSelected.end())
            return MODEM_API_INVALID_ARGUMENT;
        state.pdcActive[config_type] = selected->second;
        return MODEM_API_SUCCESS;
    });
}

modem_api_result_type modem_pdc_deactivate_config(int config_type) {
    return pdcCall("modem_pdc_deactivate_config", argList(config_type), true, [=](Device& device) {
        return device.settings.pdcActive.erase(config_type) != 0 ? MODEM_API_SUCCESS
                                                                 : MODEM_API_INVALID_ARGUMENT;
    });
}

}  // extern "C"
