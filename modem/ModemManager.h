/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <modem_api.h>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace com::vyr::plim::modem {

class DiagClient;
class DmsQmiClient;
class NasQmiClient;
class PdcQmiClient;
class QmiClient;
class SarQmiClient;
class VsQmiClient;
class WdsQmiClient;

/**
 * Starts the modem library, makes the clients of this daemon's instance, owns them for the life
 * of the process, and routes the library's events to them.
 *
 * Instance 0 gets every client; instance 1 (the second subscription) only NAS, VS and WDS. A
 * client pointer that stays empty makes the requests of its service fail at the request entry.
 *
 * Threads: init() on the main thread during start-up, before the binder thread pool starts; the
 * client pointers are written only there and read without a lock afterwards, from any thread.
 * modemApiEventCallback() runs on the modem library's event thread.
 */
class ModemManager {
  public:
    ModemManager() = delete;

    static std::shared_ptr<DiagClient> diagClient;
    static std::shared_ptr<DmsQmiClient> dmsClient;
    static std::shared_ptr<NasQmiClient> nasClient;
    static std::shared_ptr<PdcQmiClient> pdcClient;
    static std::shared_ptr<SarQmiClient> sarClient;
    static std::shared_ptr<VsQmiClient> vsClient;
    static std::shared_ptr<WdsQmiClient> wdsClient;

    /**
     * Makes and sets up the instance's clients, then starts the library and subscribes to its
     * events. The first client whose setup() fails ends it with that result (the clients made
     * so far stay; the library is not started). Runs once: later calls return INVALID_STATE.
     */
    static int init(int instanceId);

    /** The library's event callback: services connected and disconnected, the PDC answers. */
    static void modemApiEventCallback(modem_api_event_type event, void* data, size_t len);

  private:
    static int initOnce(int instanceId);
    static void onServiceEvent(bool connected, const void* data, size_t len);
    static std::shared_ptr<QmiClient> clientOf(int32_t serviceId);
    /** The PDC client for one of its answers, or empty (logged) where there is none. */
    static std::shared_ptr<PdcQmiClient> pdcForAnswer();
};

}  // namespace com::vyr::plim::modem
