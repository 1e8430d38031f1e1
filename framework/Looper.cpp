/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include <plim/Looper.h>

#include <chrono>
#include <utility>

#include <plim/Errno.h>
#include <plim/Handler.h>
#include <plim/Log.h>
#include <plim/Message.h>

namespace com::vyr::plim {

namespace {
constexpr const char* TAG = "plim-framework";

// How long an idle loop watches its queue before it sleeps, and how often it reads the clock.
constexpr std::chrono::microseconds SPIN_TIME{5};
constexpr int SPINS_PER_CLOCK_READ = 16;

inline void cpuRelax() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__) || defined(__arm__)
    asm volatile("yield");
#endif
}
}  // namespace

/** The per-thread slot. When its thread ends it abandons the looper, which also breaks the
 *  ownership cycle looper -> queued message -> handler -> looper. */
class Looper::ThreadSlot {
  public:
    ~ThreadSlot() {
        if (looper) {
            looper->abandon();
        }
    }
    std::shared_ptr<Looper> looper;
};

Looper::ThreadSlot& Looper::threadSlot() {
    thread_local ThreadSlot slot;
    return slot;
}

int Looper::prepareThreadLocalLooper() {
    ThreadSlot& slot = threadSlot();
    if (!slot.looper) {
        slot.looper = std::make_shared<Looper>(PrivateKey{});
    }
    return OK;
}

std::shared_ptr<Looper> Looper::getThreadLocalLooper() {
    return threadSlot().looper;
}

Looper::Looper(PrivateKey) : owner_(std::this_thread::get_id()) {}

Looper::~Looper() {
    // Unlink one by one: destroying a long chain through its links would recurse once per message.
    MutexLock lock(mutex_);
    while (head_) {
        head_ = std::move(head_->next_);
    }
}

int Looper::loop() {
    if (std::this_thread::get_id() != owner_) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: called on a thread that does not own the looper",
                             "loop");
        return INVALID_STATE;
    }
    if (looping_) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: already looping on this thread", "loop");
        return INVALID_STATE;
    }
    looping_ = true;
    while (std::shared_ptr<Message> msg = takeAll()) {
        while (msg) {
            std::shared_ptr<Message> next = std::move(msg->next_);
            // From here on the message may be dispatched again, even by its own handler.
            msg->queued_.store(false, std::memory_order_release);
            Handler& target = *msg->target_;
            target.handle(std::move(msg));
            msg = std::move(next);
        }
    }
    looping_ = false;
    return OK;
}

std::shared_ptr<Message> Looper::takeAll() {
    awaitBriefly();
    MutexLock lock(mutex_);
    while (!head_) {
        if (quitting_) {
            return nullptr;
        }
        sleeping_ = true;
        lock.wait(wakeup_);
    }
    sleeping_ = false;
    tail_ = nullptr;
    queued_.store(false, std::memory_order_relaxed);
    return std::move(head_);
}

void Looper::awaitBriefly() {
    // Requests come in bursts: a message posted within a few microseconds is taken without the
    // loop going to sleep, and so without its poster paying for a wake-up call.
    const auto until = std::chrono::steady_clock::now() + SPIN_TIME;
    do {
        for (int i = 0; i < SPINS_PER_CLOCK_READ; ++i) {
            if (queued_.load(std::memory_order_acquire)) {
                return;
            }
            cpuRelax();
        }
    } while (std::chrono::steady_clock::now() < until);
}

int Looper::post(std::shared_ptr<Message> msg) {
    bool wake = false;
    {
        MutexLock lock(mutex_);
        if (quitting_) {
            return INVALID_STATE;
        }
        Message* last = msg.get();
        if (tail_ != nullptr) {
            tail_->next_ = std::move(msg);
        } else {
            head_ = std::move(msg);
        }
        tail_ = last;
        queued_.store(true, std::memory_order_release);
        // Only the post that finds the loop asleep pays for the wake-up call.
        wake = sleeping_;
        sleeping_ = false;
    }
    if (wake) {
        wakeup_.notify_one();
    }
    return OK;
}

void Looper::quit() {
    bool wake = false;
    {
        MutexLock lock(mutex_);
        quitting_ = true;
        queued_.store(true, std::memory_order_release);
        wake = sleeping_;
        sleeping_ = false;
    }
    if (wake) {
        wakeup_.notify_one();
    }
}

bool Looper::isSleeping() {
    MutexLock lock(mutex_);
    return sleeping_;
}

void Looper::abandon() {
    std::shared_ptr<Message> dropped;
    {
        MutexLock lock(mutex_);
        quitting_ = true;
        dropped = std::move(head_);
        tail_ = nullptr;
    }
    size_t count = 0;
    while (dropped) {
        dropped = std::move(dropped->next_);
        ++count;
    }
    if (count > 0) {
        Log::printAndroidLog(Log::WARN, TAG, "%s: thread ended, %zu unhandled messages dropped",
                             "abandon", count);
    }
}

}  // namespace com::vyr::plim
