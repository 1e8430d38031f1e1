/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <cstdint>

#include <plim/SerialParam.h>

namespace com::vyr::plim {

/**
 * The parameter of a request with one argument of type T, copied in. Carries no tag of its own:
 * each instantiation that travels in a message gets a tagged subclass, so that a receiver can
 * tell the instantiations apart.
 */
template <typename T>
class SerialDataParam : public SerialParam {
  public:
    SerialDataParam(int32_t serial, const T& value) : SerialParam(serial), value(value) {}
    ~SerialDataParam() override = default;

    const T value;
};

}  // namespace com::vyr::plim
