/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <cstdint>
#include <string>

#include <plim/SerialParam.h>

namespace com::vyr::plim {

/** The parameter of a request that has no argument besides its serial. */
class SerialVoidParam : public SerialParam {
  public:
    inline static const std::string RTTI_TYPE{"SerialVoidParam"};

    explicit SerialVoidParam(int32_t serial) : SerialParam(serial) { enableRtti(RTTI_TYPE); }
    ~SerialVoidParam() override = default;
};

}  // namespace com::vyr::plim
