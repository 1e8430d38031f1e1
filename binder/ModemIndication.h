/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

namespace com::vyr::plim::modem {

/**
 * Unsolicited events to the client's IModemIndication. Version 1 sends none: indicateCacheInfo()
 * only confirms that an indication callback is held.
 *
 * Threads: any thread; no state of its own.
 */
class ModemIndication {
  public:
    ModemIndication() = delete;

    /** OK when an indication callback is held, INVALID_STATE otherwise. Calls no client method. */
    static int indicateCacheInfo();
};

}  // namespace com::vyr::plim::modem
