/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "CallbackHolders.h"

namespace com::vyr::plim::modem {

using aidl::vendor::vyr::plim::modem::IModemIndication;
using aidl::vendor::vyr::plim::modem::IModemResponse;

CallbackWrapper<IModemResponse>& CallbackHolders::response() {
    static CallbackWrapper<IModemResponse> holder;
    return holder;
}

CallbackWrapper<IModemIndication>& CallbackHolders::indication() {
    static CallbackWrapper<IModemIndication> holder;
    return holder;
}

namespace {
// Build both holders during static initialisation, before any binder thread can race to be first.
[[maybe_unused]] const bool holdersBuilt =
        (CallbackHolders::response(), CallbackHolders::indication(), true);
}  // namespace

}  // namespace com::vyr::plim::modem
