/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "Processes.h"

#include <fcntl.h>
#include <grp.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <thread>

extern char** environ;

namespace com::vyr::plim::e2e {

namespace fs = std::filesystem;

std::string Process::readAll(const std::string& path) {
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

Process::Process(std::string name, const std::string& binary, const std::vector<std::string>& args,
                 const Env& env, const std::string& logPrefix, std::optional<uid_t> uid)
    : name_(std::move(name)), outPath_(logPrefix + ".out"), errPath_(logPrefix + ".err") {
    // Everything the child needs is made before fork: after it, only system calls.
    std::vector<std::string> vars, argStrings{binary};
    for (char** e = environ; *e != nullptr; ++e) {
        if (std::string(*e).rfind("PLIM_", 0) != 0) {
            vars.emplace_back(*e);
        }
    }
    for (const auto& [key, value] : env) {
        vars.push_back(key + "=" + value);
    }
    argStrings.insert(argStrings.end(), args.begin(), args.end());
    std::vector<char*> envp, argv;
    for (auto [from, to] : {std::pair{&vars, &envp}, {&argStrings, &argv}}) {
        for (std::string& s : *from) {
            to->push_back(s.data());
        }
        to->push_back(nullptr);
    }

    pid_ = fork();
    if (pid_ < 0) {
        throw std::runtime_error("fork failed for " + name_);
    }
    if (pid_ == 0) {
        const int in = open("/dev/null", O_RDONLY);
        const int out = open(outPath_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const int err = open(errPath_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (in < 0 || out < 0 || err < 0 || dup2(in, 0) < 0 || dup2(out, 1) < 0 ||
            dup2(err, 2) < 0 ||
            (uid && (setgroups(0, nullptr) != 0 || setgid(*uid) != 0 || setuid(*uid) != 0))) {
            _exit(126);
        }
        // A test that crashes or times out takes its children along (set after setuid, which
        // clears it).
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        execve(argv[0], argv.data(), envp.data());
        _exit(127);
    }
}

bool Process::wait(std::chrono::milliseconds timeout) {
    return waitUntil(
            [&] {
                int status = 0;
                if (!status_ && waitpid(pid_, &status, WNOHANG) == pid_) {
                    status_ = status;
                }
                return status_.has_value();
            },
            timeout);
}

std::string Process::describe() const {
    return name_ + (!status_       ? ": running"
                    : termSignal() ? ": killed by signal " + std::to_string(termSignal())
                                   : ": exit " + std::to_string(exitCode()));
}

bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(10ms);
    }
    return true;
}

size_t occurrences(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

std::vector<std::string> words(const std::string& text) {
    std::istringstream in(text);
    return {std::istream_iterator<std::string>(in), std::istream_iterator<std::string>()};
}

void E2eTest::SetUp() {
    // Short: socket paths must fit in sun_path, MBN paths in the modem's configuration ids.
    char dir[] = "/tmp/plim-e2e-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(dir)) << "no scratch directory";
    scratch_ = dir;
    // Passable by another user, for the test that runs the CLI as one.
    fs::permissions(scratch_, fs::perms::others_exec, fs::perm_options::add);
    mbnRoot_ = scratch_ + "/mbn";
    for (const auto& [sub, size] : std::map<std::string, size_t>{
                 {"row/carrier-a", 2500}, {"row/carrier-b", 900}, {"lab/test-sim", 1}}) {
        fs::create_directories(mbnRoot_ + "/" + sub);
        std::ofstream(mbnRoot_ + "/" + sub + "/mcfg_sw.mbn") << std::string(size, 'm');
    }
    fs::create_directories(mbnRoot_ + "/lab/empty");
    std::ofstream(mbnRoot_ + "/row/README") << "not a configuration\n";
}

void E2eTest::TearDown() {
    for (const auto& [instance, daemon] : daemons_) {
#ifdef PLIM_ADDRESS_SANITIZED_BUILD
        // The signal below skips LeakSanitizer's check at exit: the daemon is asked for one first.
        if (daemon->running()) {
            const CliResult check = cli(
                    {"sim", "--control", env(instance).at("PLIM_MODEM_SIM_CONTROL"), "leak-check"});
            EXPECT_EQ("ok leaks=0\n", check.out)
                    << daemon->describe() << " leaks or did not check: " << check.err << "\n"
                    << daemon->err();
        }
#endif
        daemon->kill(SIGTERM);
        EXPECT_TRUE(daemon->wait(60s)) << daemon->describe() << " ignored SIGTERM";
        const std::string log = daemon->err();
        EXPECT_TRUE(daemon->termSignal() == SIGTERM || daemon->termSignal() == SIGKILL)
                << daemon->describe() << " ended on its own:\n"
                << log;
        EXPECT_EQ(std::string::npos, log.find("Sanitizer")) << log;
        EXPECT_EQ(std::string::npos, log.find("runtime error")) << log;
    }
    daemons_.clear();
    int status = 0;
    const pid_t left = waitpid(-1, &status, WNOHANG);
    EXPECT_TRUE(left == -1 && errno == ECHILD) << "a child process was left behind: " << left;
    std::error_code ignored;
    fs::remove_all(scratch_, ignored);
}

Process& E2eTest::startDaemon(int instance) {
    const std::string n = std::to_string(instance);
    daemons_.emplace_back(
            instance, std::make_unique<Process>("daemon" + n, PLIM_MODEM_BINARY,
                                                std::vector<std::string>{"-i", n}, env(instance),
                                                logPrefix("daemon" + n)));
    Process& daemon = *daemons_.back().second;
    // Up once its last client's service is connected and a client reaches it over binder.
    const std::string last = "[" + n +
                             "] modemApiEventCallback: " + (instance == 0 ? "SAR" : "WDS") +
                             " qmi service is connected";
    EXPECT_TRUE(waitUntil([&] {
                    return !daemon.running() ||
                           (logged(daemon, last) &&
                            cli({"--instance", n, "--timeout", "10", "get-build-id"}).status == 0);
                }) &&
                daemon.running())
            << daemon.describe() << " never served:\n"
            << daemon.err();
    return daemon;
}

CliResult E2eTest::cli(const std::vector<std::string>& args) {
    const std::unique_ptr<Process> client = spawnCli(args);
    EXPECT_TRUE(client->wait(60s)) << "the CLI hung: " << ::testing::PrintToString(args);
    return {client->exitCode(), client->out(), client->err()};
}

}  // namespace com::vyr::plim::e2e
