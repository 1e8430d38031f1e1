/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <memory>

namespace com::vyr::plim::modem {

class ModemImpl;

/**
 * Publishes the IModem service as "vendor.vyr.plim.modem.IModem/instance<id>" and starts the
 * binder thread pool (at most one thread) that delivers its requests.
 *
 * Threads: setup() on the main thread during start-up; requests may arrive on the pool as soon
 * as the registration succeeds.
 */
class AidlService {
  public:
    AidlService() = delete;

    /**
     * Returns OK; FAILED when the pool size is refused or the registration fails (the service
     * object is then dropped); NO_MEMORY when the service object cannot be made. Runs once per
     * process: later calls return INVALID_STATE and change nothing.
     */
    static int setup(int instanceId);

    /** The registered service object, or empty. Set only by setup(). */
    static std::shared_ptr<ModemImpl> getService();
};

}  // namespace com::vyr::plim::modem
