/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <plim/SerialDataParam.h>

namespace com::vyr::plim {

/** The parameter of a request with a byte-array argument. */
class SerialByteArrayParam : public SerialDataParam<std::vector<uint8_t>> {
  public:
    inline static const std::string RTTI_TYPE{"SerialByteArrayParam"};

    SerialByteArrayParam(int32_t serial, const std::vector<uint8_t>& value)
        : SerialDataParam(serial, value) {
        enableRtti(RTTI_TYPE);
    }
    ~SerialByteArrayParam() override = default;
};

}  // namespace com::vyr::plim
