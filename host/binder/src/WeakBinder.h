/*
 * Copyright (C) 2026 The plim-modem developers
 */

// AIBinder_Weak: a weak reference on a binder, promotable while the binder has strong ones.

#pragma once

#include "Binder.h"

struct AIBinder_Weak {
  public:
    explicit AIBinder_Weak(AIBinder* binder) : mBinder(binder) { mBinder->incWeak(); }
    ~AIBinder_Weak() { mBinder->decWeak(); }
    AIBinder_Weak(const AIBinder_Weak&) = delete;
    AIBinder_Weak& operator=(const AIBinder_Weak&) = delete;

    // The binder with one more strong reference, or null if it has none left.
    AIBinder* promote() const { return mBinder->tryIncStrong() ? mBinder : nullptr; }

  private:
    AIBinder* const mBinder;
};
