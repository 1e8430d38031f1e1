/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The rendezvous of processes that talk binder over sockets: a directory holding each process's
// socket and, under services/, one symbolic link per service name whose target is the socket
// name of the process that registered it. Links are replaced atomically (rename), so a second
// registration replaces the first and a reader sees one or the other. A link whose process is
// gone is left in place: looking it up fails to connect, which is what "not registered" means,
// and removing it could race with a new registration.
//
// Threads: any thread; the file system serializes.

#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace hostbinder {

class ServiceDirectory {
  public:
    explicit ServiceDirectory(std::string root) : mRoot(std::move(root)) {}

    // Creates the directories that are missing, readable only by the owner (and group, when
    // group is not -1). False (errno set) on failure.
    bool prepare(gid_t group) const;

    std::string socketPath(const std::string& socketName) const { return mRoot + "/" + socketName; }

    // Points service at owner, replacing any earlier registration. service must be a valid name.
    bool publish(const std::string& service, const std::string& owner) const;
    // The socket name of the process that registered service last.
    std::optional<std::string> owner(const std::string& service) const;
    // Where the registrations are, to watch for new ones.
    std::string servicesPath() const { return mRoot + "/services"; }

    // The names of the entries beside services/: sockets, live or stale.
    std::vector<std::string> socketNames() const;
    // Removes the socket file of process pid if that process is gone and the file is a socket
    // of this user: a killed process cannot remove its own. Its name is never used again (it
    // holds a random part), so removing it cannot race with a new process's socket.
    void removeIfStale(const std::string& socketName, pid_t pid) const;

  private:
    std::string entryPath(const std::string& service) const;

    const std::string mRoot;
};

}  // namespace hostbinder
