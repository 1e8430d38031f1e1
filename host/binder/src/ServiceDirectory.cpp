/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "ServiceDirectory.h"

#include <dirent.h>
#include <errno.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <climits>

namespace hostbinder {

namespace {

bool makeDirectory(const std::string& path, gid_t group) {
    const mode_t mode = group == static_cast<gid_t>(-1) ? 0700 : 0770;
    if (mkdir(path.c_str(), mode) != 0)
        return errno == EEXIST;
    // mkdir's mode goes through the umask; this one does not.
    if (chmod(path.c_str(), mode) != 0)
        return false;
    return group == static_cast<gid_t>(-1) ||
           chown(path.c_str(), static_cast<uid_t>(-1), group) == 0;
}

}  // namespace

bool ServiceDirectory::prepare(gid_t group) const {
    return makeDirectory(mRoot, group) && makeDirectory(mRoot + "/services", group);
}

std::string ServiceDirectory::entryPath(const std::string& service) const {
    // Names may hold '/', which a file name cannot; '%' is not allowed in names, so the mapping
    // is one to one. The prefix keeps "." and ".." ordinary names.
    std::string file = "s-" + service;
    for (char& c : file) {
        if (c == '/')
            c = '%';
    }
    return mRoot + "/services/" + file;
}

bool ServiceDirectory::publish(const std::string& service, const std::string& owner) const {
    static std::atomic<unsigned> counter{0};
    const std::string temporary = mRoot + "/services/t-" + std::to_string(getpid()) + "-" +
                                  std::to_string(counter.fetch_add(1));
    unlink(temporary.c_str());
    if (symlink(owner.c_str(), temporary.c_str()) != 0)
        return false;
    if (rename(temporary.c_str(), entryPath(service).c_str()) != 0) {
        unlink(temporary.c_str());
        return false;
    }
    return true;
}

std::optional<std::string> ServiceDirectory::owner(const std::string& service) const {
    char target[PATH_MAX];
    const ssize_t size = readlink(entryPath(service).c_str(), target, sizeof(target));
    if (size <= 0 || static_cast<size_t>(size) >= sizeof(target))
        return std::nullopt;
    return std::string(target, static_cast<size_t>(size));
}

std::vector<std::string> ServiceDirectory::socketNames() const {
    std::vector<std::string> names;
    DIR* dir = opendir(mRoot.c_str());
    if (dir == nullptr)
        return names;
    while (const dirent* entry = readdir(dir)) {
        if (entry->d_type == DT_SOCK || entry->d_type == DT_UNKNOWN)
            names.emplace_back(entry->d_name);
    }
    closedir(dir);
    return names;
}

void ServiceDirectory::removeIfStale(const std::string& socketName, pid_t pid) const {
    if (pid <= 0)
        return;
    const std::string path = socketPath(socketName);
    struct stat info {};
    // Another user's files are theirs to clean up; a live pid (or one we may not signal) is not
    // known to be stale, even if it was reused.
    if (lstat(path.c_str(), &info) != 0 || !S_ISSOCK(info.st_mode) || info.st_uid != geteuid() ||
        kill(pid, 0) == 0 || errno != ESRCH)
        return;
    unlink(path.c_str());
}

}  // namespace hostbinder
