/*
 * Copyright (C) 2026 The plim-modem developers
 */

// plim-storm-client FIRST-SERIAL REQUESTS WINDOW: one client process of the storm test. It
// registers its callbacks with instance 0, prints "ready", waits for SIGUSR1, then sends REQUESTS
// requests of a weighted mix from two threads, each its own run of serials with at most WINDOW
// unanswered (0: no limit), printing "progress N" every 1000 calls. Then it names on stderr the
// first of its serials not accepted or not answered once on their method, prints "other SERIAL
// ANSWERS" for serials of other clients answered here (the daemon answers all to the callback set
// last). Exits 0; 1 if any serial of its own is wrong; 2 if it cannot start.

#include <aidl/vendor/vyr/plim/modem/IModem.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <map>
#include <mutex>
#include <sstream>
#include <thread>

#include "Commands.h"
#include "Response.h"

namespace com::vyr::plim::e2e {
namespace {

using aidl::vendor::vyr::plim::modem::IModem;
using namespace std::chrono_literals;
constexpr int kThreads = 2;

struct Request {
    const cli::Command* command;
    cli::Args args;
    std::string responseMethod;  // its own: the CLI's table is gone once the process exits
};

/** The request `serial` sends, the same in every thread and process. */
const Request& requestFor(int32_t serial) {
    // Every client of the modem, reads mostly: a change of value makes the simulated modem save
    // its state (an fsync under its lock). Rows that fail in the modem stay in. No reboots (the
    // test restarts the modem itself), no MBN loads (they read files on the main thread).
    static const std::pair<const char*, int> kMix[] = {
            {"get-operating-mode", 90},
            {"get-nr-network-mode", 80},
            {"get-build-id", 90},
            {"get-build-time", 70},
            {"get-modem-property --key persist.storm", 40},
            {"read-nv --nv-id 550 --sub-id 0 --index 0", 50},
            {"get-active-mbn-info --type 1", 40},
            {"force-asdiv --mode 1", 30},
            {"set-sar-state --state 1", 30},
            {"set-radio-info-report-switch on", 20},
            {"set-nr-network-mode --mode 2", 10},
            {"set-operating-mode --mode 0", 10},
            {"set-modem-property --key persist.storm --value on", 10},
            {"write-nv --nv-id 550 --sub-id 0 --index 0 --data 01", 10},
            {"delete-ims-profile", 5},
            {"select-mbn --type 1 --id MbnApp_/storm/none", 5},
    };
    // One per unit of weight; never destroyed, as the binder thread may use it while we exit.
    static const std::vector<Request>* const slots = [] {
        auto* slots = new std::vector<Request>();
        for (const auto& [line, weight] : kMix) {
            std::istringstream in(line);
            std::vector<std::string> tokens{std::istream_iterator<std::string>(in), {}};
            Request request{cli::findCommand(tokens[0]), {}, {}};
            tokens.erase(tokens.begin());
            bool help = false;
            std::string why;
            if (!request.command ||
                !cli::parseArgs(*request.command, tokens, &request.args, &help, &why)) {
                std::cerr << "storm mix: bad row '" << line << "': " << why << "\n";
                std::abort();
            }
            request.responseMethod = cli::responseMethod(*request.command);
            slots->insert(slots->end(), static_cast<size_t>(weight), request);
        }
        return slots;
    }();
    // Scrambled, so that neighbouring serials (one thread's run) differ in kind.
    return (*slots)[(static_cast<uint32_t>(serial) * 2654435761u >> 8) % slots->size()];
}

/** Which calls were accepted and how often each serial was answered. */
struct Ledger {
    struct Serial {
        int32_t status = -1;  // the call's; -1 if never made
        uint32_t answers = 0;
        uint32_t wrongMethod = 0;
    };
    std::mutex mutex;  // over all below
    std::condition_variable answeredOne;
    std::vector<Serial> serials;
    int64_t unanswered[kThreads] = {};  // per thread: calls made, less refused, less answered
    std::map<int32_t, uint32_t> others;
};

/** One write: lines of several threads never mix, and none waits in a buffer if we are killed. */
void say(const std::string& line) {
    (void)!::write(STDOUT_FILENO, line.data(), line.size());
}

int run(int32_t first, int requests, int window) {
    // Told to go by SIGUSR1, blocked in every thread so that sigwait takes it.
    sigset_t go;
    sigemptyset(&go);
    sigaddset(&go, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &go, nullptr);
    const int perLane = (requests + kThreads - 1) / kThreads;
    // The binder thread may still take an answer while the process exits.
    const auto ledger = std::make_shared<Ledger>();
    ledger->serials.resize(static_cast<size_t>(requests));
    const auto answered = [ledger, first, perLane](const cli::Reply& reply) {
        const int64_t index = int64_t{reply.serial} - first;
        std::lock_guard<std::mutex> lock(ledger->mutex);
        if (index < 0 || index >= static_cast<int64_t>(ledger->serials.size())) {
            ++ledger->others[reply.serial];
            return;
        }
        Ledger::Serial& entry = ledger->serials[static_cast<size_t>(index)];
        entry.wrongMethod += reply.method != requestFor(reply.serial).responseMethod;
        if (entry.answers++ == 0) {  // a second answer frees no place in the window
            --ledger->unanswered[index / perLane];
            ledger->answeredOne.notify_all();
        }
    };

    // Answers are oneway calls: one binder thread takes them in order.
    ABinderProcess_setThreadPoolMaxThreadCount(0);
    ABinderProcess_startThreadPool();
    const std::string name = std::string(IModem::descriptor) + "/instance0";
    const auto modem =
            IModem::fromBinder(ndk::SpAIBinder(AServiceManager_getService(name.c_str())));
    if (!modem ||
        !modem->setCallback(cli::makeResponseReceiver(answered), cli::makeIndicationReceiver())
                 .isOk()) {
        std::cerr << "plim-storm-client: no service, or setCallback failed\n";
        return 2;
    }
    say("ready\n");
    int signal = 0;
    sigwait(&go, &signal);

    std::atomic<int> calls{0};
    std::vector<std::thread> senders;
    for (int lane = 0; lane < kThreads; ++lane) {
        senders.emplace_back([&, lane] {
            for (int i = 0; i < std::min(perLane, requests - lane * perLane); ++i) {
                const int32_t serial = first + lane * perLane + i;
                {
                    // No room within 20 s: an answer has gone missing, and the serials left
                    // unsent are reported with it.
                    std::unique_lock<std::mutex> lock(ledger->mutex);
                    if (window > 0 && !ledger->answeredOne.wait_for(lock, 20s, [&] {
                            return ledger->unanswered[lane] < window;
                        })) {
                        return;
                    }
                    ++ledger->unanswered[lane];  // before the call: its answer may come first
                }
                const Request& request = requestFor(serial);
                const ndk::ScopedAStatus status =
                        request.command->send(*modem, serial, request.args);
                {
                    std::lock_guard<std::mutex> lock(ledger->mutex);
                    Ledger::Serial& entry = ledger->serials[static_cast<size_t>(serial - first)];
                    entry.status = status.isOk() ? 0 : status.getStatus();
                    if (entry.status != 0 && entry.answers == 0) {
                        --ledger->unanswered[lane];  // refused: no answer will free its place
                    }
                }
                if (const int made = ++calls; made % 1000 == 0) {
                    say("progress " + std::to_string(made) + "\n");
                }
            }
        });
    }
    for (std::thread& sender : senders) {
        sender.join();
    }
    std::unique_lock<std::mutex> lock(ledger->mutex);
    ledger->answeredOne.wait_for(
            lock, 30s, [&] { return ledger->unanswered[0] <= 0 && ledger->unanswered[1] <= 0; });
    // An answer given twice would come soon after the first: the daemon sends it as it goes.
    lock.unlock();
    std::this_thread::sleep_for(300ms);
    lock.lock();
    size_t wrong = 0;
    for (size_t i = 0; i < ledger->serials.size(); ++i) {
        const Ledger::Serial& entry = ledger->serials[i];
        if ((entry.status != 0 || entry.answers != 1 || entry.wrongMethod != 0) && ++wrong <= 10) {
            std::cerr << "serial " << first + static_cast<int64_t>(i) << ": status " << entry.status
                      << ", answers " << entry.answers << ", on another method "
                      << entry.wrongMethod << "\n";
        }
    }
    for (const auto& [serial, answers] : ledger->others) {
        std::cout << "other " << serial << ' ' << answers << '\n';
    }
    return wrong == 0 ? 0 : 1;
}

}  // namespace
}  // namespace com::vyr::plim::e2e

int main(int argc, char** argv) {
    if (argc != 4 || std::atoi(argv[1]) <= 0 || std::atoi(argv[2]) <= 0 || std::atoi(argv[3]) < 0) {
        std::cerr << "usage: plim-storm-client FIRST-SERIAL REQUESTS WINDOW\n";
        return 2;
    }
    return com::vyr::plim::e2e::run(std::atoi(argv[1]), std::atoi(argv[2]), std::atoi(argv[3]));
}
