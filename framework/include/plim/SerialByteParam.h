/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <cstdint>
#include <string>

#include <plim/SerialParam.h>

namespace com::vyr::plim {

/** The parameter of a request with a byte argument. */
class SerialByteParam : public SerialParam {
  public:
    inline static const std::string RTTI_TYPE{"SerialByteParam"};

    SerialByteParam(int32_t serial, uint8_t value) : SerialParam(serial), value(value) {
        enableRtti(RTTI_TYPE);
    }
    ~SerialByteParam() override = default;

    const uint8_t value;
};

}  // namespace com::vyr::plim
