/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <atomic>
#include <condition_variable>
#include <memory>
#include <thread>

#include <plim/Mutex.h>
#include <plim/ThreadAnnotations.h>

namespace com::vyr::plim {

class Message;

/**
 * One thread's message queue and the loop that drains it.
 *
 * A thread gets its looper from prepareThreadLocalLooper(); every Handler constructed on that
 * thread then posts its messages here, and loop() on that thread calls each message's handler, one
 * message at a time, in the order the messages were posted.
 *
 * Threads: loop() only on the owning thread; post() (through Message::dispatch) and quit() from
 * any thread at any time. The queue is an intrusive list through the messages themselves, so
 * posting allocates nothing, and the loop thread is woken with a system call only when it is
 * actually asleep.
 *
 * Nothing posted is lost: a message is either accepted (and then handled exactly once) or post()
 * returns an error. After quit(), loop() still handles everything accepted before it and then
 * returns; later posts are refused. When the owning thread ends, messages it never handled are
 * dropped (with a warning) so that they release their handlers.
 */
class Looper final {
  public:
    /** Creates the calling thread's looper if it has none. Returns an Errno value. */
    static int prepareThreadLocalLooper();

    /** The calling thread's looper, or empty if none was prepared. */
    static std::shared_ptr<Looper> getThreadLocalLooper();

    /**
     * Handles messages until quit() has been called and the queue is empty. Owning thread only.
     * Returns OK when ended by quit(), INVALID_STATE when called on another thread or from
     * inside a handler of this looper.
     */
    int loop();

    /** Ends the loop once everything accepted so far has been handled. Any thread. */
    void quit();

    /** Queues `msg` at the tail. Any thread. Returns OK, or INVALID_STATE after quit(). */
    int post(std::shared_ptr<Message> msg);

    /** True while a loop() call is sleeping for lack of messages (for tests and benchmarks). */
    bool isSleeping();

    ~Looper();
    Looper(const Looper&) = delete;
    Looper& operator=(const Looper&) = delete;

  private:
    struct PrivateKey {};
    class ThreadSlot;
    static ThreadSlot& threadSlot();

  public:
    /** Use prepareThreadLocalLooper(); public only for std::make_shared. */
    explicit Looper(PrivateKey);

  private:
    /** Takes the whole queue; blocks while it is empty. Empty result: quit and drained. */
    std::shared_ptr<Message> takeAll();
    /** Returns when something was queued or after a few microseconds, without sleeping. */
    void awaitBriefly();
    /** Refuses further posts and drops what is queued: the owning thread is ending. */
    void abandon();

    const std::thread::id owner_;
    bool looping_ = false;  // touched only by the owning thread

    Mutex mutex_;
    std::condition_variable wakeup_;
    // The queue: head_ owns the first message, each message owns the next through its `next_`
    // link (which only this looper touches, under mutex_), tail_ points at the last.
    std::shared_ptr<Message> head_ GUARDED_BY(mutex_);
    Message* tail_ GUARDED_BY(mutex_) = nullptr;
    bool sleeping_ GUARDED_BY(mutex_) = false;
    // Whether head_ may hold messages (or quit() was called): read without the lock by the loop
    // while it waits briefly, written under it.
    std::atomic<bool> queued_{false};
    bool quitting_ GUARDED_BY(mutex_) = false;
};

}  // namespace com::vyr::plim
