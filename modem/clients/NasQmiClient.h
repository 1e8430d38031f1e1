/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <plim/Message.h>

#include "QmiClient.h"

namespace com::vyr::plim::modem {

/**
 * Client of the modem's network access service (NAS) for one subscription: reads and sets the NR
 * network mode and the VoNR mode. Binds its subscription on every connected event.
 * Threads as QmiClient.
 */
class NasQmiClient : public QmiClient {
  public:
    inline static const std::string RTTI_TYPE{"NasQmiClient"};

    enum MessageId : int {
        GET_NR_NETWORK_MODE = 1,
        SET_NR_NETWORK_MODE = 2,
        GET_VONR_MODE = 3,
        SET_VONR_MODE = 4,
    };

    explicit NasQmiClient(int32_t instanceId);
    ~NasQmiClient() override;

    int handle(std::shared_ptr<Message> msg) override;
    void onConnected() override;
    int setup() override { return openConnection(); }
    int release() override { return closeConnection(); }

    /** Each answered by the response of the same name; OK, or an error the caller answers. */
    int getNrNetworkMode(int serial);
    int setNrNetworkMode(int serial, int mode);
    int getVonrMode(int serial);
    int setVonrMode(int serial, int mode);

  private:
    int handleGetNrNetworkModeMessage(const std::shared_ptr<Message>& msg);
    int handleSetNrNetworkModeMessage(const std::shared_ptr<Message>& msg);
    int handleGetVonrModeMessage(const std::shared_ptr<Message>& msg);
    int handleSetVonrModeMessage(const std::shared_ptr<Message>& msg);

    const int32_t instanceId_;
};

}  // namespace com::vyr::plim::modem
