/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "ProcessFootprint.h"

#include <filesystem>
#include <fstream>

namespace com::vyr::plim::e2e {

namespace fs = std::filesystem;

ProcessFootprint ProcessFootprint::of(pid_t pid, bool withTargets) {
    ProcessFootprint footprint;
    const std::string proc = "/proc/" + std::to_string(pid);
    std::error_code error;
    int fds = 0;
    for (fs::directory_iterator it(proc + "/fd", error), end; !error && it != end;
         it.increment(error)) {
        ++fds;
        if (withTargets) {
            std::error_code unreadable;  // closed meanwhile
            footprint.fdTargets += it->path().filename().string() + " -> " +
                                   fs::read_symlink(it->path(), unreadable).string() + "\n";
        }
    }
    footprint.fds = error ? -1 : fds;
    std::ifstream status(proc + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmRSS:", 0) == 0) {
            footprint.rssKib = std::stoll(line.substr(6));
        }
    }
    return footprint;
}

}  // namespace com::vyr::plim::e2e
