/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "DaemonMemory.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <fstream>

namespace com::vyr::plim::bench {

namespace {

constexpr int kReplyTimeoutMs = 5000;

/** The value of `name=` in a reply of name=value words; false if it is not there. */
bool field(const std::string& reply, const char* name, uint64_t* value) {
    const std::string key = std::string(" ") + name + "=";
    const size_t at = reply.find(key);
    return at != std::string::npos &&
           std::sscanf(reply.c_str() + at + key.size(), "%" SCNu64, value) == 1;
}

}  // namespace

DaemonMemory::DaemonMemory(pid_t pid, std::string controlSocket)
    : statusPath_("/proc/" + std::to_string(pid) + "/status"),
      controlSocket_(std::move(controlSocket)) {}

DaemonMemory::~DaemonMemory() {
    if (fd_ >= 0) {
        close(fd_);
    }
}

bool DaemonMemory::connect() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (controlSocket_.size() >= sizeof(address.sun_path)) {
        return false;
    }
    std::memcpy(address.sun_path, controlSocket_.c_str(), controlSocket_.size() + 1);
    fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd_ >= 0 &&
        ::connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) {
        return true;
    }
    if (fd_ >= 0) {
        close(fd_);
    }
    fd_ = -1;
    return false;
}

std::optional<std::string> DaemonMemory::ask(const std::string& line) {
    if (fd_ < 0 && !connect()) {
        return std::nullopt;
    }
    const std::string sent = line + "\n";
    if (send(fd_, sent.data(), sent.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(sent.size())) {
        return std::nullopt;
    }
    for (;;) {
        const size_t newline = pending_.find('\n');
        if (newline != std::string::npos) {
            std::string reply = pending_.substr(0, newline);
            pending_.erase(0, newline + 1);
            return reply;
        }
        pollfd polled{fd_, POLLIN, 0};
        char buffer[256];
        if (poll(&polled, 1, kReplyTimeoutMs) != 1) {
            return std::nullopt;
        }
        const ssize_t got = recv(fd_, buffer, sizeof(buffer), 0);
        if (got <= 0) {
            return std::nullopt;
        }
        pending_.append(buffer, static_cast<size_t>(got));
    }
}

bool DaemonMemory::clearCallRecord() {
    return ask("clear-calls") == std::optional<std::string>("ok");
}

std::optional<DaemonMemory::Reading> DaemonMemory::read() {
    Reading reading;
    const std::optional<std::string> reply = ask("memory");
    if (!reply || reply->rfind("ok ", 0) != 0 || !field(*reply, "heap", &reading.heapBytes) ||
        !field(*reply, "arena", &reading.arenaBytes) ||
        !field(*reply, "mmapped", &reading.mmappedBytes) ||
        !field(*reply, "free", &reading.freeBytes)) {
        return std::nullopt;
    }
    std::ifstream status(statusPath_);
    std::string line;
    while (std::getline(status, line)) {
        uint64_t kib = 0;
        if (std::sscanf(line.c_str(), "VmRSS: %" SCNu64 " kB", &kib) == 1) {
            reading.rssBytes = kib * 1024;
            return reading;
        }
    }
    return std::nullopt;
}

}  // namespace com::vyr::plim::bench
