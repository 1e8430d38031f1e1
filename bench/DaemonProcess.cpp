/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "DaemonProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>

extern char** environ;

namespace com::vyr::plim::bench {

DaemonProcess::DaemonProcess() {
    char directory[] = "/tmp/plim-bench-XXXXXX";
    directory_ = mkdtemp(directory) != nullptr ? directory : "";
    setenv("PLIM_BINDER_SOCKET_DIR", directory_.c_str(), 1);
}

DaemonProcess::~DaemonProcess() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    // Sockets may still come and go in it while the processes that used it wind down, which
    // ends a pass early.
    std::error_code ignored;
    for (int pass = 0; pass < 3 && std::filesystem::exists(directory_, ignored); ++pass) {
        std::filesystem::remove_all(directory_, ignored);
    }
}

bool DaemonProcess::start(const std::vector<std::string>& environment) {
    // This process's environment, with the entries given in place of any of the same name.
    std::vector<char*> childEnvironment;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        bool replaced = false;
        for (const std::string& added : environment) {
            const size_t nameLength = added.find('=') + 1;
            replaced = replaced || std::strncmp(*entry, added.c_str(), nameLength) == 0;
        }
        if (!replaced) {
            childEnvironment.push_back(*entry);
        }
    }
    for (const std::string& added : environment) {
        childEnvironment.push_back(const_cast<char*>(added.c_str()));
    }
    childEnvironment.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    // Its log lines would measure the terminal.
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    char* argv[] = {const_cast<char*>(PLIM_MODEM_BINARY), const_cast<char*>("-i"),
                    const_cast<char*>("0"), nullptr};
    if (posix_spawn(&pid_, PLIM_MODEM_BINARY, &actions, nullptr, argv, childEnvironment.data()) !=
        0) {
        pid_ = -1;
    }
    posix_spawn_file_actions_destroy(&actions);
    return pid_ > 0;
}

}  // namespace com::vyr::plim::bench
