/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "ControlChannel.h"

#include <fcntl.h>
#include <malloc.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <modem_sim/ModemSimControl.h>

// LeakSanitizer comes with AddressSanitizer, under either compiler.
#if defined(__SANITIZE_ADDRESS__)
#define MODEM_SIM_LEAK_CHECK 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define MODEM_SIM_LEAK_CHECK 1
#endif
#endif
#ifdef MODEM_SIM_LEAK_CHECK
#include <sanitizer/lsan_interface.h>
#endif

namespace modemsim {

namespace {

using Tokens = std::vector<std::string_view>;

// Bounds that keep a mistyped value from stalling the modem for days.
constexpr int64_t kMaxMilliseconds = 3600 * 1000;
constexpr int64_t kMaxMicroseconds = 60 * 1000 * 1000;

std::string errnoText(const char* what) {
    return std::string(what) + ": " + std::strerror(errno);
}

/** A token as it may appear in a reply: printable, short, on one line whatever was sent. */
std::string quoted(std::string_view token) {
    constexpr size_t kShown = 40;
    std::string text = "'";
    for (size_t i = 0; i < token.size() && i < kShown; ++i) {
        const unsigned char c = static_cast<unsigned char>(token[i]);
        if (c >= 0x20 && c < 0x7f) {
            text += static_cast<char>(c);
        } else {
            char escaped[8];
            std::snprintf(escaped, sizeof(escaped), "\\x%02x", c);
            text += escaped;
        }
    }
    return text + (token.size() > kShown ? "...'" : "'");
}

Tokens split(std::string_view line) {
    Tokens tokens;
    size_t at = 0;
    while (at < line.size()) {
        if (line[at] == ' ' || line[at] == '\t') {
            ++at;
            continue;
        }
        size_t end = at;
        while (end < line.size() && line[end] != ' ' && line[end] != '\t')
            ++end;
        tokens.push_back(line.substr(at, end - at));
        at = end;
    }
    return tokens;
}

/** A decimal integer in [min, max]; otherwise false with the reply to give. */
bool number(std::string_view token, const char* name, int64_t min, int64_t max, int64_t* value,
            std::string* reply) {
    const char* end = token.data() + token.size();
    const std::from_chars_result parsed = std::from_chars(token.data(), end, *value);
    if (parsed.ec == std::errc() && parsed.ptr == end && *value >= min && *value <= max)
        return true;
    *reply = "error: " + std::string(name) + " " + quoted(token) + " is not an integer in " +
             std::to_string(min) + ".." + std::to_string(max);
    return false;
}

/** A C function name of the library's API; a typo would otherwise plan a fault never hit. */
bool functionName(std::string_view token, std::string* reply) {
    bool valid = token.rfind("modem_", 0) == 0;
    for (char c : token)
        valid = valid && ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_');
    if (!valid)
        *reply = "error: function " + quoted(token) + " is not a modem_... function name";
    return valid;
}

std::string stateSummary() {
    const State s = Control::state();
    return "ok operatingMode=" + std::to_string(s.operatingMode) +
           " nrNetworkMode=" + std::to_string(s.nrNetworkMode) +
           " vonrMode=" + std::to_string(s.vonrMode) + " nv=" + std::to_string(s.nvItems.size()) +
           " efs=" + std::to_string(s.efsFiles.size()) +
           " efsDirs=" + std::to_string(s.efsDirs.size()) +
           " properties=" + std::to_string(s.properties.size()) +
           " pdcConfigs=" + std::to_string(s.pdcConfigs.size()) +
           " reboots=" + std::to_string(s.reboots);
}

// Each runs with its argument count checked and leaves the reply in `reply`.
using Handler = void (*)(const Tokens& args, std::string* reply);

struct CommandRow {
    const char* name;
    const char* usage;
    size_t minArgs;
    size_t maxArgs;
    Handler run;
};

void restart(const Tokens& args, std::string* reply) {
    int64_t ms = 0;
    if (number(args[0], "ms", 0, kMaxMilliseconds, &ms, reply))
        Control::restartModem(std::chrono::milliseconds(ms));
}

void service(const Tokens& args, std::string* reply) {
    int64_t id = 0;
    if (!number(args[0], "id", 1, 255, &id, reply))
        return;
    if (args[1] != "up" && args[1] != "down") {
        *reply = "error: " + quoted(args[1]) + " is not up or down";
        return;
    }
    Control::setServiceAvailable(static_cast<int32_t>(id), args[1] == "up");
}

void fail(const Tokens& args, std::string* reply) {
    int64_t count = 0;
    int64_t result = 0;
    int64_t skip = 0;
    if (!functionName(args[0], reply) || !number(args[1], "count", 0, INT_MAX, &count, reply) ||
        !number(args[2], "result", INT32_MIN, INT32_MAX, &result, reply) ||
        (args.size() == 4 && !number(args[3], "skip", 0, INT_MAX, &skip, reply))) {
        return;
    }
    Control::failNextCalls(std::string(args[0]), static_cast<int>(count),
                           static_cast<modem_api_result_type>(result), static_cast<int>(skip));
}

void latency(const Tokens& args, std::string* reply) {
    int64_t us = 0;
    if ((args[0] != "*" && !functionName(args[0], reply)) ||
        !number(args[1], "microseconds", 0, kMaxMicroseconds, &us, reply)) {
        return;
    }
    Control::setLatency(args[0] == "*" ? std::string() : std::string(args[0]),
                        std::chrono::microseconds(us));
}

void connectDelay(const Tokens& args, std::string* reply) {
    int64_t ms = 0;
    if (number(args[0], "ms", 0, kMaxMilliseconds, &ms, reply))
        Control::setConnectDelay(std::chrono::milliseconds(ms));
}

void clearCalls(const Tokens&, std::string*) {
    Control::clearCalls();
}

void state(const Tokens&, std::string* reply) {
    *reply = stateSummary();
}

// The process's heap as glibc counts it, read here because the library lives in the daemon's
// process. mallinfo2 sees only the main arena (and every mmapped block): whole only when the
// process runs with MALLOC_ARENA_MAX=1.
void memory(const Tokens&, std::string* reply) {
    const struct mallinfo2 info = mallinfo2();
    *reply = "ok heap=" + std::to_string(info.uordblks + info.hblkhd) +
             " arena=" + std::to_string(info.arena) + " mmapped=" + std::to_string(info.hblkhd) +
             " free=" + std::to_string(info.fordblks);
}

// A leak check of the running process: one ended by a signal, as a daemon is, never gets the
// check at exit. The report, if any, goes to the process's stderr.
void leakCheck(const Tokens&, std::string* reply) {
#ifdef MODEM_SIM_LEAK_CHECK
    *reply = __lsan_do_recoverable_leak_check() == 0 ? "ok leaks=0" : "ok leaks=1";
#else
    *reply = "ok unchecked";
#endif
}

void help(const Tokens&, std::string* reply);

const CommandRow kCommands[] = {
        {"restart", "restart <ms>", 1, 1, restart},
        {"service", "service <id> up|down", 2, 2, service},
        {"fail", "fail <function> <count> <result> [skip]", 3, 4, fail},
        {"latency", "latency <function|*> <microseconds>", 2, 2, latency},
        {"connect-delay", "connect-delay <ms>", 1, 1, connectDelay},
        {"clear-calls", "clear-calls", 0, 0, clearCalls},
        {"state", "state", 0, 0, state},
        {"memory", "memory", 0, 0, memory},
        {"leak-check", "leak-check", 0, 0, leakCheck},
        {"help", "help", 0, 0, help},
};

void help(const Tokens&, std::string* reply) {
    *reply = "ok";
    for (const CommandRow& row : kCommands)
        *reply += std::string(&row == kCommands ? " " : " | ") + row.usage;
}

// The channel the environment asked for: never destroyed, like the library, so the atexit
// handler can still reach it.
ControlChannel* gProcessChannel = nullptr;

}  // namespace

std::string ControlChannel::execute(std::string_view line) {
    const Tokens tokens = split(line);
    if (tokens.empty())
        return "error: empty line (try help)";
    for (const CommandRow& row : kCommands) {
        if (tokens[0] != row.name)
            continue;
        const Tokens args(tokens.begin() + 1, tokens.end());
        if (args.size() < row.minArgs || args.size() > row.maxArgs)
            return std::string("error: usage: ") + row.usage;
        std::string reply = "ok";
        row.run(args, &reply);
        return reply;
    }
    return "error: unknown command " + quoted(tokens[0]) + " (try help)";
}

std::unique_ptr<ControlChannel> ControlChannel::open(const std::string& path, uid_t owner,
                                                     std::string* why) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof(address.sun_path)) {
        *why = path + ": not a socket path of 1.." + std::to_string(sizeof(address.sun_path) - 1) +
               " bytes";
        return nullptr;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);

    // Only a socket is taken to be a stale one: a mistyped path must not cost someone a file.
    struct stat existing {};
    if (lstat(path.c_str(), &existing) == 0) {
        if (!S_ISSOCK(existing.st_mode)) {
            *why = path + ": exists and is not a socket";
            return nullptr;
        }
        if (unlink(path.c_str()) != 0) {
            *why = errnoText(path.c_str());
            return nullptr;
        }
    }
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (listener < 0) {
        *why = errnoText("socket");
        return nullptr;
    }
    if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        *why = errnoText(path.c_str());
        close(listener);
        return nullptr;
    }
    struct stat bound {};
    int wake[2];
    // Made owner-only before it listens, so no one else connects meanwhile.
    if (chmod(path.c_str(), 0600) != 0 || listen(listener, static_cast<int>(kMaxClients)) != 0 ||
        lstat(path.c_str(), &bound) != 0 || pipe2(wake, O_CLOEXEC) != 0) {
        *why = errnoText(path.c_str());
        close(listener);
        unlink(path.c_str());
        return nullptr;
    }
    std::unique_ptr<ControlChannel> channel(new ControlChannel(path, listener, wake[0], wake[1],
                                                               owner, bound.st_dev, bound.st_ino));
    channel->mThread = std::thread([raw = channel.get()] { raw->serve(); });
    return channel;
}

void ControlChannel::openFromEnvironment() {
    static const bool opened = [] {
        const char* path = std::getenv(kControlSocketVariable);
        if (path == nullptr || *path == '\0')
            return false;
        std::string why;
        std::unique_ptr<ControlChannel> channel = open(path, geteuid(), &why);
        if (channel == nullptr) {
            std::fprintf(stderr, "modem-sim: no control channel: %s\n", why.c_str());
            return false;
        }
        gProcessChannel = channel.release();
        std::atexit([] { gProcessChannel->removeSocket(); });
        return true;
    }();
    (void)opened;
}

ControlChannel::ControlChannel(std::string path, int listener, int wakeRead, int wakeWrite,
                               uid_t owner, dev_t device, ino_t inode)
    : mPath(std::move(path)),
      mListener(listener),
      mWakeRead(wakeRead),
      mWakeWrite(wakeWrite),
      mOwner(owner),
      mDevice(device),
      mInode(inode) {}

ControlChannel::~ControlChannel() {
    const char stop = 0;
    while (write(mWakeWrite, &stop, 1) < 0 && errno == EINTR) {
    }
    mThread.join();
    removeSocket();
    close(mListener);
    close(mWakeRead);
    close(mWakeWrite);
}

void ControlChannel::removeSocket() const {
    struct stat now {};
    if (lstat(mPath.c_str(), &now) == 0 && now.st_dev == mDevice && now.st_ino == mInode)
        unlink(mPath.c_str());
}

int ControlChannel::accept() const {
    const int fd = accept4(mListener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd < 0)
        return -1;
    ucred peer{};
    socklen_t size = sizeof(peer);
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 || peer.uid != mOwner) {
        std::fprintf(stderr, "modem-sim: control channel %s: refused pid %d, uid %u\n",
                     mPath.c_str(), static_cast<int>(peer.pid), static_cast<unsigned>(peer.uid));
        close(fd);
        return -1;
    }
    return fd;
}

namespace {

struct Client {
    int fd;
    std::string pending;  // bytes after the last newline
};

/** Sends the whole reply at once, or false: a client that lets its replies pile up is dropped. */
bool sendLine(int fd, const std::string& reply) {
    const std::string line = reply + "\n";
    const ssize_t sent = send(fd, line.data(), line.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    return sent == static_cast<ssize_t>(line.size());
}

/** Reads what has arrived and answers each complete line; false when the client is done. */
bool serveClient(Client& client) {
    char buffer[512];
    const ssize_t got = recv(client.fd, buffer, sizeof(buffer), 0);
    if (got < 0)
        return errno == EINTR || errno == EAGAIN;
    if (got == 0)
        return false;  // gone, perhaps mid-line: what it did not finish is not acted on
    client.pending.append(buffer, static_cast<size_t>(got));
    size_t newline;
    while ((newline = client.pending.find('\n')) != std::string::npos) {
        std::string_view line(client.pending.data(), newline);
        if (!line.empty() && line.back() == '\r')
            line.remove_suffix(1);
        const bool tooLong = line.size() > ControlChannel::kMaxLine;
        const std::string reply = tooLong ? "error: line longer than " +
                                                    std::to_string(ControlChannel::kMaxLine) +
                                                    " bytes"
                                          : ControlChannel::execute(line);
        if (!sendLine(client.fd, reply) || tooLong)
            return false;
        client.pending.erase(0, newline + 1);
    }
    // Where a line would end is lost in an overlong one, so the connection ends with it.
    if (client.pending.size() > ControlChannel::kMaxLine + 1) {
        sendLine(client.fd,
                 "error: line longer than " + std::to_string(ControlChannel::kMaxLine) + " bytes");
        return false;
    }
    return true;
}

}  // namespace

void ControlChannel::serve() {
    std::vector<Client> clients;
    std::vector<pollfd> polled;
    for (;;) {
        polled.assign({{mWakeRead, POLLIN, 0},
                       {mListener, clients.size() < kMaxClients ? short(POLLIN) : short(0), 0}});
        for (const Client& client : clients)
            polled.push_back({client.fd, POLLIN, 0});
        if (poll(polled.data(), polled.size(), -1) < 0) {
            if (errno == EINTR)
                continue;
            std::fprintf(stderr, "modem-sim: control channel %s: %s\n", mPath.c_str(),
                         std::strerror(errno));
            break;
        }
        if (polled[0].revents != 0)
            break;
        // Clients first: the indexes of `polled` follow `clients` as it was before this round.
        for (size_t i = clients.size(); i-- > 0;) {
            if (polled[i + 2].revents != 0 && !serveClient(clients[i])) {
                close(clients[i].fd);
                clients.erase(clients.begin() + static_cast<std::ptrdiff_t>(i));
            }
        }
        if ((polled[1].revents & POLLIN) != 0) {
            const int fd = accept();
            if (fd >= 0)
                clients.push_back(Client{fd, {}});
        }
    }
    for (const Client& client : clients)
        close(client.fd);
}

}  // namespace modemsim
