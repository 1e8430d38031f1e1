/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <plim/SerialParam.h>

namespace com::vyr::plim::modem {

/** A vendor modem property to set: key and value as raw bytes, without terminator, any length
 *  (the handler applies the limits). */
class ModemPropertyParam : public SerialParam {
  public:
    inline static const std::string RTTI_TYPE{"ModemPropertyParam"};

    ModemPropertyParam(int32_t serial, const std::vector<uint8_t>& key,
                       const std::vector<uint8_t>& value)
        : SerialParam(serial), key(key), value(value) {
        enableRtti(RTTI_TYPE);
    }
    ~ModemPropertyParam() override = default;

    const std::vector<uint8_t> key;
    const std::vector<uint8_t> value;
};

}  // namespace com::vyr::plim::modem
