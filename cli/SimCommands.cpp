/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "SimCommands.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "Cli.h"
#include "Values.h"

namespace com::vyr::plim::cli {

namespace {

constexpr const char* kProgram = "plim-modem-cli";

// What the channel accepts, checked here too so that a bad command line sends nothing.
enum class SimArg { Ms, ServiceId, UpDown, Function, FunctionOrAll, Count, Result, Skip, Micros };

struct SimCommand {
    const char* name;
    const char* usage;
    std::vector<SimArg> args;
    size_t optional;  // trailing args that may be left out
    const char* help;
};

const std::vector<SimCommand>& simCommands() {
    static const std::vector<SimCommand> kCommands{
            {"restart", "restart MS", {SimArg::Ms}, 0, "every service drops, back after MS"},
            {"service",
             "service ID up|down",
             {SimArg::ServiceId, SimArg::UpDown},
             0,
             "makes service ID (1..255) available on the modem side or not"},
            {"fail",
             "fail FUNCTION COUNT RESULT [SKIP]",
             {SimArg::Function, SimArg::Count, SimArg::Result, SimArg::Skip},
             1,
             "after SKIP calls, the next COUNT calls of FUNCTION return RESULT (COUNT 0 cancels)"},
            {"latency",
             "latency FUNCTION|'*' MICROSECONDS",
             {SimArg::FunctionOrAll, SimArg::Micros},
             0,
             "every later call of FUNCTION (of every function for *) takes that much longer"},
            {"connect-delay",
             "connect-delay MS",
             {SimArg::Ms},
             0,
             "how long a service takes to be reported connected"},
            {"clear-calls",
             "clear-calls",
             {},
             0,
             "empties the simulator's record of library calls (up to 4096, on the daemon's heap)"},
            {"state", "state", {}, 0, "prints a summary of the modem's state"},
            {"memory",
             "memory",
             {},
             0,
             "prints the daemon's heap in bytes from mallinfo2; main arena only, so start the "
             "daemon with MALLOC_ARENA_MAX=1 for all of it"},
            {"leak-check",
             "leak-check",
             {},
             0,
             "checks the daemon's process for leaks now (AddressSanitizer builds; others say "
             "unchecked), the report on the daemon's stderr"},
            {"help", "help", {}, 0, "prints the simulator's own list of commands"},
    };
    return kCommands;
}

bool isFunctionName(const std::string& text) {
    bool valid = text.rfind("modem_", 0) == 0;
    for (char c : text) {
        valid = valid && ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_');
    }
    return valid;
}

/** One argument in the channel's form, or false with a reason. */
bool simArg(SimArg kind, const std::string& text, std::string* sent, std::string* why) {
    struct Range {
        const char* name;
        int64_t min;
        int64_t max;
    };
    Range range{};
    switch (kind) {
        case SimArg::UpDown:
            *sent = text;
            *why = "'" + text + "' is not up or down";
            return text == "up" || text == "down";
        case SimArg::Function:
        case SimArg::FunctionOrAll:
            *sent = text;
            *why = "'" + text + "' is not a modem_... function name" +
                   (kind == SimArg::FunctionOrAll ? " or *" : "");
            return (kind == SimArg::FunctionOrAll && text == "*") || isFunctionName(text);
        case SimArg::Ms:
            range = {"MS", 0, 3600 * 1000};
            break;
        case SimArg::ServiceId:
            range = {"ID", 1, 255};
            break;
        case SimArg::Count:
            range = {"COUNT", 0, INT_MAX};
            break;
        case SimArg::Result:
            range = {"RESULT", INT32_MIN, INT32_MAX};
            break;
        case SimArg::Skip:
            range = {"SKIP", 0, INT_MAX};
            break;
        case SimArg::Micros:
            range = {"MICROSECONDS", 0, 60 * 1000 * 1000};
            break;
    }
    int64_t number = 0;
    if (!parseInteger(text, range.min, range.max, &number)) {
        *why = std::string(range.name) + ": '" + text + "' is not an integer in " +
               std::to_string(range.min) + ".." + std::to_string(range.max);
        return false;
    }
    *sent = std::to_string(number);
    return true;
}

int usageError(std::ostream& err, const std::string& message) {
    err << kProgram << ": sim: " << message << " (see sim --help)\n";
    return EXIT_USAGE;
}

class Fd {
  public:
    explicit Fd(int fd) : fd_(fd) {}
    ~Fd() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    int get() const { return fd_; }

  private:
    const int fd_;
};

/** Sends `line` to the channel at `path` and reads one reply line; an exit status. */
int exchange(const std::string& path, const std::string& line, double timeoutSeconds,
             std::ostream& out, std::ostream& err) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof(address.sun_path)) {
        return usageError(err, "'" + path + "' is not a socket path of 1.." +
                                       std::to_string(sizeof(address.sun_path) - 1) + " bytes");
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const Fd socketFd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (socketFd.get() < 0 || connect(socketFd.get(), reinterpret_cast<const sockaddr*>(&address),
                                      sizeof(address)) != 0) {
        err << kProgram << ": sim: cannot reach " << path << ": " << std::strerror(errno) << "\n";
        return EXIT_NO_SERVICE;
    }
    const std::string sent = line + "\n";
    if (send(socketFd.get(), sent.data(), sent.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(sent.size())) {
        err << kProgram << ": sim: " << path << ": " << std::strerror(errno) << "\n";
        return EXIT_NO_SERVICE;
    }

    const auto deadline = std::chrono::steady_clock::now() +
                          std::chrono::milliseconds(std::llround(timeoutSeconds * 1000));
    std::string reply;
    for (;;) {
        const size_t newline = reply.find('\n');
        if (newline != std::string::npos) {
            reply.resize(newline);
            break;
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
        pollfd polled{socketFd.get(), POLLIN, 0};
        const int ready = left.count() > 0 ? poll(&polled, 1, static_cast<int>(left.count())) : 0;
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        if (ready == 0) {
            err << kProgram << ": sim: no reply from " << path << " within " << timeoutSeconds
                << " s\n";
            return EXIT_TIMEOUT;
        }
        char buffer[512];
        const ssize_t got = ready < 0 ? -1 : recv(socketFd.get(), buffer, sizeof(buffer), 0);
        if (got <= 0) {
            err << kProgram << ": sim: " << path << " closed the connection without a reply\n";
            return EXIT_NO_SERVICE;
        }
        reply.append(buffer, static_cast<size_t>(got));
    }

    if (reply == "ok" || reply.rfind("ok ", 0) == 0) {
        out << reply << "\n";
        return EXIT_OK;
    }
    if (reply.rfind("error: ", 0) == 0) {
        out << reply << "\n";
        return EXIT_SIM_REFUSED;
    }
    err << kProgram << ": sim: unexpected reply: " << printable(reply) << "\n";
    return EXIT_BAD_ANSWER;
}

}  // namespace

bool simLine(const std::vector<std::string>& args, std::string* line, std::string* why) {
    if (args.empty()) {
        *why = "missing command";
        return false;
    }
    for (const SimCommand& command : simCommands()) {
        if (args[0] != command.name) {
            continue;
        }
        const size_t given = args.size() - 1;
        if (given > command.args.size() || given < command.args.size() - command.optional) {
            *why = std::string(command.name) + ": usage: sim " + command.usage;
            return false;
        }
        *line = command.name;
        for (size_t i = 0; i < given; ++i) {
            std::string sent;
            if (!simArg(command.args[i], args[i + 1], &sent, why)) {
                *why = std::string(command.name) + ": " + *why;
                return false;
            }
            *line += " " + sent;
        }
        return true;
    }
    *why = "unknown command '" + args[0] + "'";
    return false;
}

std::optional<int> parseSim(const std::vector<std::string>& args, std::string* path,
                            std::string* line, std::ostream& err) {
    path->clear();
    const char* fromEnvironment = std::getenv(kSimControlVariable);
    if (fromEnvironment != nullptr) {
        *path = fromEnvironment;
    }
    size_t first = 0;
    if (!args.empty() && args[0] == "--help") {
        printSimUsage(err);
        return EXIT_OK;
    }
    if (!args.empty() && args[0] == "--control") {
        if (args.size() < 2) {
            return usageError(err, "--control needs a value");
        }
        *path = args[1];
        first = 2;
    } else if (!args.empty() && args[0].rfind("--control=", 0) == 0) {
        *path = args[0].substr(std::strlen("--control="));
        first = 1;
    }
    std::string why;
    if (!simLine(std::vector<std::string>(args.begin() + first, args.end()), line, &why)) {
        return usageError(err, why);
    }
    if (path->empty()) {
        return usageError(err, std::string("no control socket: set ") + kSimControlVariable +
                                       " or give --control PATH");
    }
    return std::nullopt;
}

int exchangeSim(const std::string& path, const std::string& line, double timeoutSeconds,
                std::ostream& out, std::ostream& err) {
    return exchange(path, line, timeoutSeconds, out, err);
}

void printSimUsage(std::ostream& err) {
    err << "usage: " << kProgram << " [--timeout SECONDS] sim [--control PATH] COMMAND [ARGS]\n\n"
        << "Host builds only: steers the simulated modem of a running daemon through its control\n"
           "socket, PATH or else $"
        << kSimControlVariable << ". Prints the simulator's reply line.\n\ncommands:\n";
    for (const SimCommand& command : simCommands()) {
        err << "  sim " << command.usage << "\n      " << command.help << "\n";
    }
    err << "\nNumbers: decimal or 0x hex. exit status: 0 ok; 1 the simulator refused the command;\n"
           "64 usage error (nothing was sent); 69 the socket cannot be reached, or it closed\n"
           "without a reply; 70 an unexpected reply; 75 no reply in time.\n";
}

}  // namespace com::vyr::plim::cli
