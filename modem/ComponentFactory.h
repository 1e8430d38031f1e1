/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

namespace com::vyr::plim::modem {

/**
 * Builds the daemon's components at start-up: the modem side (ModemManager), then the binder
 * service (AidlService). One process-wide object without state.
 *
 * Threads: the main thread, once, after its looper is prepared (the clients attach to it).
 */
class ComponentFactory {
  public:
    static ComponentFactory& getInstance();
    virtual ~ComponentFactory();

    /** Returns OK, or the first failing step's error (logged). */
    int make(int instanceId);

  private:
    ComponentFactory() = default;
};

}  // namespace com::vyr::plim::modem
