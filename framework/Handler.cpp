/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include <plim/Handler.h>

#include <plim/Looper.h>

namespace com::vyr::plim {

Handler::Handler() : looper_(Looper::getThreadLocalLooper()) {
    enableRtti(RTTI_TYPE);
}

Handler::~Handler() = default;

}  // namespace com::vyr::plim
