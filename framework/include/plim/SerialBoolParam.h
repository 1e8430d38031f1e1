/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <cstdint>
#include <string>

#include <plim/SerialParam.h>

namespace com::vyr::plim {

/** The parameter of a request with a boolean argument. */
class SerialBoolParam : public SerialParam {
  public:
    inline static const std::string RTTI_TYPE{"SerialBoolParam"};

    SerialBoolParam(int32_t serial, bool value) : SerialParam(serial), value(value) {
        enableRtti(RTTI_TYPE);
    }
    ~SerialBoolParam() override = default;

    const bool value;
};

}  // namespace com::vyr::plim
