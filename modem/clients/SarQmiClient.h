/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <memory>
#include <string>

#include <plim/Message.h>

#include "QmiClient.h"

namespace com::vyr::plim::modem {

/** Client of the modem's SAR service: sets the SAR (transmit power back-off) state. Threads as
 *  QmiClient. */
class SarQmiClient : public QmiClient {
  public:
    inline static const std::string RTTI_TYPE{"SarQmiClient"};

    enum MessageId : int {
        SET_SAR_STATE = 1,
    };

    SarQmiClient();
    ~SarQmiClient() override;

    int handle(std::shared_ptr<Message> msg) override;
    void onConnected() override;
    int setup() override { return openConnection(); }
    int release() override { return closeConnection(); }

    /** Answered by respondSetSarState. OK, or an error the caller answers itself. */
    int setSarState(int serial, int state);

  private:
    int handleSetSarStateMessage(const std::shared_ptr<Message>& msg);
};

}  // namespace com::vyr::plim::modem
