/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <string>

#include <plim/RttiContext.h>

namespace com::vyr::plim {

/**
 * Base of every parameter carried by a Message. Parameters are made with std::make_shared on
 * the thread that posts the request and read, after a tag check, on the thread that handles it;
 * they are immutable in between.
 */
class Param : public RttiContext {
  public:
    inline static const std::string RTTI_TYPE{"Param"};

    Param() { enableRtti(RTTI_TYPE); }
    ~Param() override = default;
};

}  // namespace com::vyr::plim
