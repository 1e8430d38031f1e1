/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>

namespace com::vyr::plim::bench {

/**
 * A number one thread sets and another waits for, with the bare futex calls: the cheapest
 * cross-thread wake-up the kernel offers, and so the reference the request path is held to.
 */
class FutexFlag {
  public:
    void set(uint32_t value) {
        value_.store(value, std::memory_order_release);
        syscall(SYS_futex, &value_, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
    }

    /** Blocks until the flag holds `value`. */
    void waitFor(uint32_t value) {
        for (;;) {
            uint32_t current = value_.load(std::memory_order_acquire);
            if (current == value) {
                return;
            }
            syscall(SYS_futex, &value_, FUTEX_WAIT_PRIVATE, current, nullptr, nullptr, 0);
        }
    }

  private:
    std::atomic<uint32_t> value_{0};
};

}  // namespace com::vyr::plim::bench
