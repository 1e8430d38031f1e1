/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <aidl/vendor/vyr/plim/modem/IModemIndication.h>
#include <aidl/vendor/vyr/plim/modem/IModemResponse.h>

#include "CallbackWrapper.h"

namespace com::vyr::plim::modem {

/**
 * The process's two callback holders, one per callback type. Built during static initialisation
 * (thread-safe, empty) and destroyed at process exit; any thread may use them.
 */
class CallbackHolders {
  public:
    CallbackHolders() = delete;

    static CallbackWrapper<aidl::vendor::vyr::plim::modem::IModemResponse>& response();
    static CallbackWrapper<aidl::vendor::vyr::plim::modem::IModemIndication>& indication();
};

}  // namespace com::vyr::plim::modem
