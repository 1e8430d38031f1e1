/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <cstdint>
#include <string>

#include <plim/Param.h>

namespace com::vyr::plim {

/** A parameter of one binder request: carries the serial that its response must return. */
class SerialParam : public Param {
  public:
    inline static const std::string RTTI_TYPE{"SerialParam"};

    explicit SerialParam(int32_t serial) : serial(serial) { enableRtti(RTTI_TYPE); }
    ~SerialParam() override = default;

    const int32_t serial;
};

}  // namespace com::vyr::plim
