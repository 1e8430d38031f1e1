/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <cstdint>
#include <string>

#include <plim/SerialParam.h>

namespace com::vyr::plim {

/** The parameter of a request with an int argument. */
class SerialIntParam : public SerialParam {
  public:
    inline static const std::string RTTI_TYPE{"SerialIntParam"};

    SerialIntParam(int32_t serial, int32_t value) : SerialParam(serial), value(value) {
        enableRtti(RTTI_TYPE);
    }
    ~SerialIntParam() override = default;

    const int32_t value;
};

}  // namespace com::vyr::plim
