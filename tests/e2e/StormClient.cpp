/*
 * Copyright (C) 2026 The plim-modem developers
 */

// plim-storm-client: one client process of the storm test. It registers its callbacks with the
// daemon, says so by creating the --ready file, waits for the --go file, then sends --requests
// requests from --threads threads, each thread its own run of serials from --first-serial on,
// each with at most --window of its requests unanswered (0: no limit). Answers are counted on
// the binder thread that takes them. Every 1000 calls it prints "progress N". At the end it
// waits for its answers, a moment more for any answer given twice, then prints "summary ..."
// and the ledger (StormLedger::write), and exits 0; 1 if a thread stalled or answers are
// missing, 2 on a bad command line or when the service is not found.

#include <aidl/vendor/vyr/plim/modem/IModem.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <getopt.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "Response.h"
#include "StormLedger.h"
#include "StormMix.h"

namespace com::vyr::plim::e2e {
namespace {

using aidl::vendor::vyr::plim::modem::IModem;
using namespace std::chrono_literals;

struct Options {
    int instance = 0;
    int32_t firstSerial = 1;
    int requests = 1000;
    int threads = 2;
    int window = 64;
    std::string ready;
    std::string go;
};

bool parse(int argc, char** argv, Options* options) {
    static const option kLong[] = {{"instance", required_argument, nullptr, 'i'},
                                   {"first-serial", required_argument, nullptr, 'f'},
                                   {"requests", required_argument, nullptr, 'n'},
                                   {"threads", required_argument, nullptr, 't'},
                                   {"window", required_argument, nullptr, 'w'},
                                   {"ready", required_argument, nullptr, 'r'},
                                   {"go", required_argument, nullptr, 'g'},
                                   {nullptr, 0, nullptr, 0}};
    for (int c; (c = getopt_long(argc, argv, "", kLong, nullptr)) != -1;) {
        switch (c) {
            case 'i':
                options->instance = std::atoi(optarg);
                break;
            case 'f':
                options->firstSerial = std::atoi(optarg);
                break;
            case 'n':
                options->requests = std::atoi(optarg);
                break;
            case 't':
                options->threads = std::atoi(optarg);
                break;
            case 'w':
                options->window = std::atoi(optarg);
                break;
            case 'r':
                options->ready = optarg;
                break;
            case 'g':
                options->go = optarg;
                break;
            default:
                return false;
        }
    }
    return optind == argc && options->firstSerial > 0 && options->requests > 0 &&
           options->threads > 0 && options->window >= 0 && !options->ready.empty() &&
           !options->go.empty();
}

std::shared_ptr<IModem> findModem(int instance) {
    const std::string name =
            std::string(IModem::descriptor) + "/instance" + std::to_string(instance);
    for (int tries = 0; tries < 500; ++tries) {
        if (auto modem = IModem::fromBinder(
                    ndk::SpAIBinder(AServiceManager_checkService(name.c_str())))) {
            return modem;
        }
        std::this_thread::sleep_for(10ms);
    }
    return nullptr;
}

/** Prints "progress N" from whichever thread makes the Nth call, N a multiple of 1000. */
void countCall(std::atomic<int>& calls) {
    const int made = ++calls;
    if (made % 1000 == 0) {
        const std::string line = "progress " + std::to_string(made) + "\n";
        // One write: lines from several threads never mix, and nothing waits in a buffer if the
        // process is killed.
        (void)!::write(STDOUT_FILENO, line.data(), line.size());
    }
}

int run(const Options& options) {
    // Both outlive run(): the binder thread may still take an answer while the process exits.
    static const StormMix* const mix = new StormMix();
    const int perThread = (options.requests + options.threads - 1) / options.threads;
    const auto ledger =
            std::make_shared<StormLedger>(options.firstSerial, options.threads, perThread);

    // Answers are oneway calls: one binder thread takes them in order.
    ABinderProcess_setThreadPoolMaxThreadCount(0);
    ABinderProcess_startThreadPool();
    const std::shared_ptr<IModem> modem = findModem(options.instance);
    if (modem == nullptr) {
        std::cerr << "plim-storm-client: the daemon's service was not found\n";
        return 2;
    }
    const ndk::ScopedAStatus registered =
            modem->setCallback(cli::makeResponseReceiver([ledger](cli::Reply reply) {
                                   ledger->answered(reply.serial, reply.method, reply.error);
                               }),
                               cli::makeIndicationReceiver());
    if (!registered.isOk()) {
        std::cerr << "plim-storm-client: setCallback failed: " << registered.getDescription()
                  << "\n";
        return 2;
    }
    std::ofstream(options.ready).close();
    const auto goBy = std::chrono::steady_clock::now() + 60s;
    while (!std::filesystem::exists(options.go)) {
        if (std::chrono::steady_clock::now() > goBy) {
            std::cerr << "plim-storm-client: never told to go\n";
            return 2;
        }
        std::this_thread::sleep_for(2ms);
    }

    std::atomic<int> calls{0};
    std::atomic<int> stalled{0};
    std::vector<std::thread> senders;
    const auto started = std::chrono::steady_clock::now();
    for (int lane = 0; lane < options.threads; ++lane) {
        senders.emplace_back([&, lane] {
            const int count = std::min(perThread, options.requests - lane * perThread);
            for (int i = 0; i < count; ++i) {
                if (options.window > 0 && !ledger->waitForRoom(lane, options.window, 20s)) {
                    ++stalled;
                    return;
                }
                const int32_t serial = ledger->serialOf(lane, i);
                const StormRequest& request = mix->forSerial(serial);
                ledger->sending(serial, &request.responseMethod);
                const ndk::ScopedAStatus status =
                        request.command->send(*modem, serial, request.args);
                ledger->sent(serial, status.isOk() ? 0 : status.getStatus());
                countCall(calls);
            }
        });
    }
    for (std::thread& sender : senders) {
        sender.join();
    }
    const auto sentAll = std::chrono::steady_clock::now();
    const bool allAnswered = ledger->waitForAll(30s);
    const auto answeredAll = std::chrono::steady_clock::now();
    // An answer given twice would come soon after the first: the daemon sends it as it goes.
    std::this_thread::sleep_for(300ms);
    const auto ms = [&](auto end) {
        return std::chrono::duration_cast<std::chrono::milliseconds>(end - started).count();
    };
    std::cout << "summary calls=" << calls << " stalled=" << stalled
              << " all_answered=" << allAnswered << " send_ms=" << ms(sentAll)
              << " answered_ms=" << ms(answeredAll) << "\n";
    ledger->write(std::cout);
    std::cout.flush();
    return stalled == 0 && allAnswered ? 0 : 1;
}

}  // namespace
}  // namespace com::vyr::plim::e2e

int main(int argc, char** argv) {
    com::vyr::plim::e2e::Options options;
    if (!com::vyr::plim::e2e::parse(argc, argv, &options)) {
        std::cerr << "usage: plim-storm-client --first-serial N --requests N --threads N "
                     "--window N --ready FILE --go FILE [--instance N]\n";
        return 2;
    }
    return com::vyr::plim::e2e::run(options);
}
