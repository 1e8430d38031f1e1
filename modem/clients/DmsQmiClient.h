/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <memory>
#include <string>

#include <plim/Message.h>

#include "QmiClient.h"

namespace com::vyr::plim::modem {

/**
 * Client of the modem's device management service (DMS): reads and sets the operating mode.
 * Threads as QmiClient: request operations on binder threads, handlers on the main looper.
 */
class DmsQmiClient : public QmiClient {
  public:
    inline static const std::string RTTI_TYPE{"DmsQmiClient"};

    enum MessageId : int {
        GET_OPERATING_MODE = 1,
        SET_OPERATING_MODE = 2,
    };

    DmsQmiClient();
    ~DmsQmiClient() override;

    int handle(std::shared_ptr<Message> msg) override;
    void onConnected() override;
    int setup() override { return openConnection(); }
    int release() override { return closeConnection(); }

    /** Answered by respondGetOperatingMode. OK, or an error the caller answers itself. */
    int getOperatingMode(int serial);
    /** Answered by respondSetOperatingMode. OK, or an error the caller answers itself. */
    int setOperatingMode(int serial, int mode);

  private:
    int handleGetOperatingModeMessage(const std::shared_ptr<Message>& msg);
    int handleSetOperatingModeMessage(const std::shared_ptr<Message>& msg);
};

}  // namespace com::vyr::plim::modem
