/*
 * Copyright (C) 2026 The plim-modem developers
 */

// One reference on a Node (see Node::acquireLocked), dropped when the hold goes.

#pragma once

#include <memory>

#include "Node.h"

namespace hostbinder {

class NodeHold {
  public:
    NodeHold() = default;
    // Takes a reference on node, whose lock the caller holds; owner is node's shared owner.
    static NodeHold acquireLocked(Node& node, std::shared_ptr<Node> owner) HOST_REQUIRES(node.lock);
    ~NodeHold() { reset(); }
    NodeHold(NodeHold&& other) noexcept = default;
    NodeHold& operator=(NodeHold&& other) noexcept;
    NodeHold(const NodeHold&) = delete;
    NodeHold& operator=(const NodeHold&) = delete;

    // Must not be called with the node's lock held.
    void reset();
    Node* get() const { return mNode.get(); }
    const std::shared_ptr<Node>& node() const { return mNode; }

  private:
    explicit NodeHold(std::shared_ptr<Node> node) : mNode(std::move(node)) {}

    std::shared_ptr<Node> mNode;
};

}  // namespace hostbinder
