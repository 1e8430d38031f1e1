/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "ModemOptions.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <limits>

#include <plim/Errno.h>
#include <plim/Log.h>

namespace com::vyr::plim::modem {

namespace {

constexpr const char* TAG = "modem-options";
constexpr int MAX_INSTANCE_ID = 1;

std::optional<int>& storedInstanceId() {
    static std::optional<int> id;
    return id;
}

}  // namespace

int ModemOptions::parse(int argc, char** argv) {
    static constexpr const char* FUNC = "parse";
    if (argc < 1 || argv == nullptr) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: invalid argument input, can't parse options",
                             FUNC);
        return INVALID_ARGUMENT;
    }
    Log::printAndroidLog(Log::INFO, TAG, "%s: parsing modem options", FUNC);

    std::optional<int>& stored = storedInstanceId();
    // We log unknown options ourselves; getopt's own message would only reach stderr.
    opterr = 0;
    optind = 1;
    // The leading '-' returns bare words as option 1 instead of ending the scan at the first.
    int option;
    while ((option = getopt(argc, argv, "-i:")) != -1) {
        if (option == 'i') {
            if (stored.has_value()) {
                Log::printAndroidLog(
                        Log::WARN, TAG,
                        "%s: instance id {%d} was set before, ignore to parse instance id {%s}",
                        FUNC, *stored, optarg);
                continue;
            }
            // As atoi reads it (text that is no number is 0), but wide enough that an id past
            // int's range cannot wrap around to 0 or 1; past long's, strtol saturates. The log
            // lines show such an id saturated to int's range.
            const long id = std::strtol(optarg, nullptr, 10);
            const int shown = static_cast<int>(std::clamp<long>(id, std::numeric_limits<int>::min(),
                                                                std::numeric_limits<int>::max()));
            Log::printAndroidLog(Log::DEBUG, TAG, "%s: input instance id {%s} is parsed as {%d}",
                                 FUNC, optarg, shown);
            if (id < 0 || id > MAX_INSTANCE_ID) {
                Log::printAndroidLog(Log::ERROR, TAG, "%s: invalid instance id {%d} parsed", FUNC,
                                     shown);
                return INVALID_ARGUMENT;
            }
            stored = static_cast<int>(id);
            Log::printAndroidLog(Log::INFO, TAG, "%s: successfully parsed instance id {%d}", FUNC,
                                 *stored);
            continue;
        }
        int skipped = option == '?' ? optopt : option;
        Log::printAndroidLog(Log::INFO, TAG, "%s: skip option {%c(=%d)}", FUNC,
                             static_cast<char>(skipped & 0xff), skipped);
    }
    return OK;
}

const std::optional<int>& ModemOptions::instanceId() {
    return storedInstanceId();
}

void ModemOptions::clearForTesting() {
    storedInstanceId().reset();
}

}  // namespace com::vyr::plim::modem
