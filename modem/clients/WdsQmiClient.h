/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <modem_api.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include <plim/Errno.h>
#include <plim/Message.h>

#include "QmiClient.h"

namespace com::vyr::plim::modem {

/**
 * Client of the modem's wireless data service (WDS) for one subscription: deletes every IMS
 * profile the modem holds. Binds its subscription on every connected event. Threads as QmiClient.
 */
class WdsQmiClient : public QmiClient {
  public:
    inline static const std::string RTTI_TYPE{"WdsQmiClient"};

    enum MessageId : int {
        DELETE_IMS_PROFILE = 1,
    };

    explicit WdsQmiClient(int32_t instanceId);
    ~WdsQmiClient() override;

    int handle(std::shared_ptr<Message> msg) override;
    void onConnected() override;
    int setup() override { return openConnection(); }
    int release() override { return closeConnection(); }

    /** Answered by respondDeleteImsProfile. OK, or an error the caller answers itself. */
    int deleteImsProfile(int serial);

  private:
    using ProfileTable = std::array<modem_qdp_profile_id, MODEM_QDP_MAX_PROFILES>;

    int handleDeleteImsProfileMessage(const std::shared_ptr<Message>& msg);
    /** Lists the profiles into `table` and deletes them in order, stopping at the first failure. */
    Errno deleteAllImsProfiles(const char* func, ProfileTable& table) const;

    const int32_t instanceId_;
};

}  // namespace com::vyr::plim::modem
