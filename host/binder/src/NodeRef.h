/*
 * Copyright (C) 2026 The plim-modem developers
 */

// What a proxy of the in-process transport holds: a reference on its object's Node.

#pragma once

#include "NodeHold.h"
#include "Transport.h"

namespace hostbinder {

class NodeRef : public RemoteRef {
  public:
    NodeRef(Transport& transport, NodeHold hold) : mTransport(transport), mHold(std::move(hold)) {}

    Transport& transport() override { return mTransport; }
    Node& node() const { return *mHold.get(); }
    const std::shared_ptr<Node>& nodeRef() const { return mHold.node(); }

  private:
    Transport& mTransport;
    NodeHold mHold;
};

}  // namespace hostbinder
