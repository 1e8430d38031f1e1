/*
 * Copyright (C) 2026 The plim-modem developers
 */

// plim-storm-client FIRST-SERIAL REQUESTS WINDOW READY-FILE GO-FILE: one client process of the
// storm test. It registers its callbacks with instance 0, creates READY-FILE, waits for GO-FILE,
// then sends REQUESTS requests of a weighted mix from two threads, each its own run of serials
// with at most WINDOW of them unanswered (0: no limit), printing "progress N" every 1000 calls.
// At the end it waits for its answers, and a moment more for any answer given twice, then prints
// "own SERIAL STATUS ANSWERS WRONG-METHOD" for each serial of its own not accepted (STATUS 0) and
// answered once on its method, "other SERIAL ANSWERS" for each serial of another client answered
// here (the daemon answers every client to the one callback it holds), and last "summary ...".
// Exits 0; 1 if a thread stalled or answers are missing; 2 when it cannot start.

#include <aidl/vendor/vyr/plim/modem/IModem.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <fstream>
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
    std::string responseMethod;
};

/** The request `serial` sends, the same in every thread and process. */
const Request& requestFor(int32_t serial) {
    // Every client of the modem, reads mostly: a change of value makes the simulated modem save
    // its state (an fsync under its lock). Rows that fail in the modem stay in: an error is an
    // answer too. No reboots (the test restarts the modem itself) and no MBN loads (a load reads
    // files on the daemon's main thread).
    static const std::pair<const char*, int> kMix[] = {
            {"get-operating-mode", 90},
            {"get-nr-network-mode", 80},
            {"get-vonr-mode", 50},
            {"get-build-id", 90},
            {"get-build-time", 70},
            {"get-qst-mode", 40},
            {"get-simlock-fuse-state", 40},
            {"get-5g-power-save-switch", 40},
            {"get-modem-property --key persist.storm", 40},
            {"read-nv --nv-id 550 --sub-id 0 --index 0", 50},
            {"read-efs --efs-id 40 --sub-id 0", 30},
            {"get-active-mbn-info --type 1", 40},
            {"get-meta-mbn-info --id MbnApp_/storm/none", 20},
            {"force-asdiv --mode 1", 30},
            {"set-sar-state --state 1", 30},
            {"inform-screen-state on", 20},
            {"set-radio-info-report-switch on", 20},
            {"set-nr-network-mode --mode 2", 10},
            {"set-operating-mode --mode 0", 10},
            {"set-modem-property --key persist.storm --value on", 10},
            {"write-nv --nv-id 550 --sub-id 0 --index 0 --data 01", 10},
            {"delete-ims-profile", 5},
            {"select-mbn --type 1 --id MbnApp_/storm/none", 5},
            {"get-mbn-list", 2},
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

int run(int32_t first, int requests, int window, const std::string& ready, const std::string& go) {
    const int perLane = (requests + kThreads - 1) / kThreads;
    // The binder thread may still take an answer while the process exits.
    const auto ledger = std::make_shared<Ledger>();
    ledger->serials.resize(static_cast<size_t>(perLane) * kThreads);
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
    std::ofstream(ready).close();
    for (const auto goBy = std::chrono::steady_clock::now() + 60s; !std::filesystem::exists(go);) {
        if (std::chrono::steady_clock::now() > goBy) {
            std::cerr << "plim-storm-client: never told to go\n";
            return 2;
        }
        std::this_thread::sleep_for(2ms);
    }

    std::atomic<int> calls{0};
    std::atomic<int> stalled{0};
    std::vector<std::thread> senders;
    for (int lane = 0; lane < kThreads; ++lane) {
        senders.emplace_back([&, lane] {
            for (int i = 0; i < std::min(perLane, requests - lane * perLane); ++i) {
                const int32_t serial = first + lane * perLane + i;
                {
                    std::unique_lock<std::mutex> lock(ledger->mutex);
                    // No room within 20 s: an answer has gone missing, waiting on is futile.
                    if (window > 0 && !ledger->answeredOne.wait_for(lock, 20s, [&] {
                            return ledger->unanswered[lane] < window;
                        })) {
                        ++stalled;
                        return;
                    }
                    // Before the call: an answer may come before the call returns.
                    ++ledger->unanswered[lane];
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
                    // One write: lines of two threads never mix, and none waits in a buffer if
                    // the process is killed.
                    const std::string line = "progress " + std::to_string(made) + "\n";
                    (void)!::write(STDOUT_FILENO, line.data(), line.size());
                }
            }
        });
    }
    for (std::thread& sender : senders) {
        sender.join();
    }
    std::unique_lock<std::mutex> lock(ledger->mutex);
    const bool allAnswered = ledger->answeredOne.wait_for(lock, 30s, [&] {
        return std::all_of(std::begin(ledger->unanswered), std::end(ledger->unanswered),
                           [](int64_t left) { return left <= 0; });
    });
    // An answer given twice would come soon after the first: the daemon sends it as it goes.
    lock.unlock();
    std::this_thread::sleep_for(300ms);
    lock.lock();
    for (size_t i = 0; i < ledger->serials.size(); ++i) {
        const Ledger::Serial& entry = ledger->serials[i];
        if (entry.status != 0 || entry.answers != 1 || entry.wrongMethod != 0) {
            std::cout << "own " << first + static_cast<int64_t>(i) << ' ' << entry.status << ' '
                      << entry.answers << ' ' << entry.wrongMethod << '\n';
        }
    }
    for (const auto& [serial, answers] : ledger->others) {
        std::cout << "other " << serial << ' ' << answers << '\n';
    }
    std::cout << "summary calls=" << calls << " stalled=" << stalled
              << " all_answered=" << allAnswered << std::endl;
    return stalled == 0 && allAnswered ? 0 : 1;
}

}  // namespace
}  // namespace com::vyr::plim::e2e

int main(int argc, char** argv) {
    if (argc != 6 || std::atoi(argv[1]) <= 0 || std::atoi(argv[2]) <= 0 || std::atoi(argv[3]) < 0) {
        std::cerr << "usage: plim-storm-client FIRST-SERIAL REQUESTS WINDOW READY-FILE GO-FILE\n";
        return 2;
    }
    return com::vyr::plim::e2e::run(std::atoi(argv[1]), std::atoi(argv[2]), std::atoi(argv[3]),
                                    argv[4], argv[5]);
}
