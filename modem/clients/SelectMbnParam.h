/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <plim/SerialParam.h>

namespace com::vyr::plim::modem {

/** A configuration to select: its type as the modem numbers them, and its id as raw bytes, any
 *  length (the handler applies the limit). */
class SelectMbnParam : public SerialParam {
  public:
    inline static const std::string RTTI_TYPE{"SelectMbnParam"};

    SelectMbnParam(int32_t serial, int32_t configType, const std::vector<uint8_t>& configId)
        : SerialParam(serial), configType(configType), configId(configId) {
        enableRtti(RTTI_TYPE);
    }
    ~SelectMbnParam() override = default;

    const int32_t configType;
    const std::vector<uint8_t> configId;
};

}  // namespace com::vyr::plim::modem
