/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The control channel: each command reaches the control function it names with the values
// given, memory reports this process's heap as it changes, a bad line changes nothing and leaves
// the connection usable, and no client (a stranger, one that vanishes mid-line, sends too much or
// never reads) stops it serving the others.

#include <gmock/gmock.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "ControlChannel.h"
#include "ModemSimTest.h"

namespace modemsim {
namespace {

using std::chrono::milliseconds;

std::string tempPath(const char* name) {
    return "/tmp/plim-simctl-" + std::to_string(getpid()) + "-" + name;
}

bool exists(const std::string& path) {
    struct stat info {};
    return lstat(path.c_str(), &info) == 0;
}

/** One connection to a channel, as a test drives it. */
class Client {
  public:
    explicit Client(const std::string& path) : fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
        connected_ = connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0;
    }
    ~Client() { close(fd_); }

    bool connected() const { return connected_; }
    /** Sends the bytes as they are; false if the channel has stopped taking them. */
    bool send(const std::string& bytes) {
        return ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(bytes.size());
    }
    /** The next reply line, or nothing if the connection closed or stayed silent for 5 s. */
    std::optional<std::string> readLine() {
        for (;;) {
            const size_t newline = buffer_.find('\n');
            if (newline != std::string::npos) {
                std::string line = buffer_.substr(0, newline);
                buffer_.erase(0, newline + 1);
                return line;
            }
            pollfd polled{fd_, POLLIN, 0};
            char bytes[512];
            if (poll(&polled, 1, 5000) != 1)
                return std::nullopt;
            const ssize_t got = recv(fd_, bytes, sizeof(bytes), 0);
            if (got <= 0)
                return std::nullopt;
            buffer_.append(bytes, static_cast<size_t>(got));
        }
    }
    std::string ask(const std::string& line) {
        if (!send(line + "\n"))
            return "(send failed)";
        return readLine().value_or("(no reply)");
    }
    /** Whether the channel closed this connection (within 5 s), with nothing more to read. */
    bool closedByChannel() {
        pollfd polled{fd_, POLLIN, 0};
        char byte;
        // A channel closing with our bytes unread resets the connection instead of ending it.
        return poll(&polled, 1, 5000) == 1 && recv(fd_, &byte, 1, 0) <= 0;
    }

  private:
    const int fd_;
    bool connected_ = false;
    std::string buffer_;
};

/** Calls modem_diag_pan_force_asdiv, which needs no service: it shows a planned fault. */
modem_api_result_type asdiv() {
    return modem_diag_pan_force_asdiv(1);
}

class ControlChannelTest : public ModemSimTest<> {
  public:
    // For the rows' set-up and checks.
    using ModemSimTest::connect;
    using ModemSimTest::startLibrary;

  protected:
    void SetUp() override {
        ModemSimTest::SetUp();
        std::string why;
        channel_ = ControlChannel::open(path_, geteuid(), &why);
        ASSERT_NE(nullptr, channel_) << "the channel did not open: " << why;
    }
    void TearDown() override {
        channel_.reset();
        EXPECT_FALSE(exists(path_)) << "the channel left its socket behind";
        ModemSimTest::TearDown();
    }

    const std::string path_ = tempPath("control");
    std::unique_ptr<ControlChannel> channel_;
};

// ---- Each command reaches its control function ------------------------------------------------

struct CommandRow {
    const char* name;
    std::function<void()> before;
    std::string line;
    ::testing::Matcher<std::string> reply;
    std::function<void()> after;  // checks what the command did
};

void PrintTo(const CommandRow& row, std::ostream* os) {
    *os << row.name;
}

class ControlChannelCommandTest : public ControlChannelTest,
                                  public ::testing::WithParamInterface<CommandRow> {};

TEST_P(ControlChannelCommandTest, Line_WhenWellFormed_CallsItsControlFunctionAndSaysOk) {
    GetParam().before();
    Client client(path_);
    ASSERT_TRUE(client.connected()) << "cannot connect to the channel";
    EXPECT_THAT(client.ask(GetParam().line), GetParam().reply) << "wrong reply to the command";
    GetParam().after();
}

void nothing() {}

// Only a process under AddressSanitizer can look for leaks while it runs.
#ifdef PLIM_ADDRESS_SANITIZED_BUILD
constexpr const char* kLeakCheckReply = "ok leaks=0";
#else
constexpr const char* kLeakCheckReply = "ok unchecked";
#endif

void startWithService3() {
    ControlChannelTest::startLibrary();
    ControlChannelTest::connect({3});
    EventLog::instance().clear();
}

template <typename Call>
milliseconds timeOf(Call call) {
    const auto start = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
}

INSTANTIATE_TEST_SUITE_P(
        ControlChannel, ControlChannelCommandTest,
        ::testing::Values(
                CommandRow{"FailAfterSkip", nothing, "fail modem_diag_pan_force_asdiv 2 -5 1", "ok",
                           [] {
                               EXPECT_EQ(0, asdiv()) << "the skipped call failed";
                               EXPECT_EQ(-5, asdiv()) << "first planned failure missing";
                               EXPECT_EQ(-5, asdiv()) << "second planned failure missing";
                               EXPECT_EQ(0, asdiv()) << "failed more than count times";
                           }},
                CommandRow{"FailCountZeroCancels",
                           [] { Control::failNextCalls("modem_diag_pan_force_asdiv", 5, 4); },
                           "fail   modem_diag_pan_force_asdiv\t0 4", "ok",
                           [] { EXPECT_EQ(0, asdiv()) << "the planned failures were kept"; }},
                CommandRow{"LatencyOfOneFunction", nothing,
                           "latency modem_diag_pan_force_asdiv 60000", "ok",
                           [] {
                               EXPECT_GE(timeOf(asdiv), milliseconds(60))
                                       << "the function did not take the latency";
                           }},
                CommandRow{"LatencyOfEveryFunction", nothing, "latency * 60000", "ok",
                           [] {
                               EXPECT_GE(timeOf([] { modem_set_sar_dsi(1); }), milliseconds(60))
                                       << "* did not reach every function";
                           }},
                CommandRow{"ServiceDown", startWithService3, "service 3 down", "ok",
                           [] {
                               EXPECT_FALSE(Control::isConnected(3)) << "service 3 still connected";
                               ASSERT_TRUE(EventLog::instance().waitForCount(1)) << "no event";
                               EXPECT_EQ("disconnected 3", EventLog::instance().lines()[0]);
                           }},
                CommandRow{"ServiceUp",
                           [] {
                               Control::setServiceAvailable(3, false);
                               ControlChannelTest::startLibrary();
                               ASSERT_EQ(0, modem_api_init_qmi_connection(3, 0));
                           },
                           "service 3 up", "ok",
                           [] {
                               ASSERT_TRUE(Control::waitForIdle()) << "never settled";
                               EXPECT_TRUE(Control::isConnected(3)) << "service 3 did not connect";
                           }},
                CommandRow{"RestartDropsThenRestores", startWithService3, "restart 50", "ok",
                           [] {
                               EXPECT_FALSE(Control::isConnected(3)) << "service 3 did not drop";
                               ASSERT_TRUE(Control::waitForIdle()) << "never came back";
                               EXPECT_TRUE(Control::isConnected(3)) << "service 3 not back";
                           }},
                CommandRow{"ConnectDelay", nothing, "connect-delay 150", "ok",
                           [] {
                               ControlChannelTest::startLibrary();
                               const milliseconds took = timeOf([] {
                                   modem_api_init_qmi_connection(3, 0);
                                   Control::waitForIdle();
                               });
                               EXPECT_GE(took, milliseconds(150)) << "connected before the delay";
                               EXPECT_TRUE(Control::isConnected(3)) << "never connected";
                           }},
                CommandRow{"StateSummary",
                           [] {
                               Control::editState([](State& s) {
                                   s.operatingMode = 4;
                                   s.nvItems[{0, 1, 0}] = {1};
                                   s.nvItems[{0, 2, 0}] = {1};
                                   s.properties["a"] = "b";
                                   s.reboots = 7;
                               });
                           },
                           "state",
                           "ok operatingMode=4 nrNetworkMode=0 vonrMode=0 nv=2 efs=0 efsDirs=2 "
                           "properties=1 pdcConfigs=0 reboots=7",
                           nothing},
                CommandRow{"ClearCalls",
                           [] {
                               asdiv();
                               asdiv();
                           },
                           "clear-calls", "ok",
                           [] {
                               EXPECT_EQ(0u, Control::calls().size())
                                       << "the record of calls was not emptied";
                           }},
                CommandRow{"MemoryFigures", nothing, "memory",
                           ::testing::MatchesRegex(
                                   "ok heap=[0-9]+ arena=[0-9]+ mmapped=[0-9]+ free=[0-9]+"),
                           nothing},
                CommandRow{"LeakCheck", nothing, "leak-check", kLeakCheckReply, nothing},
                CommandRow{"CarriageReturnTolerated", nothing, "connect-delay 0\r", "ok", nothing}),
        RowName());

// ---- memory follows the heap -----------------------------------------------------------------

/** The name=value figures of a memory reply; empty unless it said ok. */
// The memory command reports glibc's heap; a sanitizer's allocator bypasses it, leaving zeros.
#ifdef PLIM_SANITIZED_BUILD
#define SKIP_UNLESS_GLIBC_HEAP() GTEST_SKIP() << "the sanitizer's allocator bypasses glibc's heap"
#else
#define SKIP_UNLESS_GLIBC_HEAP() static_cast<void>(0)
#endif

std::map<std::string, uint64_t> memoryFigures(const std::string& reply) {
    std::map<std::string, uint64_t> figures;
    if (reply.rfind("ok ", 0) != 0)
        return figures;
    size_t at = 3;
    while (at < reply.size()) {
        const size_t equals = reply.find('=', at);
        const size_t end = std::min(reply.find(' ', at), reply.size());
        if (equals == std::string::npos || equals > end)
            return {};
        figures[reply.substr(at, equals - at)] =
                std::strtoull(reply.c_str() + equals + 1, nullptr, 10);
        at = end + 1;
    }
    return figures;
}

TEST_F(ControlChannelTest, Memory_WhenTheProcessTakesAndGivesBackABlock_FollowsIt) {
    SKIP_UNLESS_GLIBC_HEAP();
    // Beyond glibc's largest mmap threshold: always mapped apart, whatever the arena holds.
    constexpr uint64_t kBlock = 64u << 20;
    Client client(path_);
    auto before = memoryFigures(client.ask("memory"));
    ASSERT_EQ(4u, before.size()) << "not ok heap= arena= mmapped= free=";
    EXPECT_LE(before["free"], before["arena"]) << "more free in the arena than the arena holds";
    EXPECT_LE(before["heap"], before["arena"] + before["mmapped"])
            << "more in use than the arena and the mapped blocks hold";

    void* block = std::malloc(kBlock);
    ASSERT_NE(nullptr, block);
    // Keeps the compiler from eliding the pair of calls.
    asm volatile("" : : "r"(block) : "memory");
    auto held = memoryFigures(client.ask("memory"));
    std::free(block);
    auto after = memoryFigures(client.ask("memory"));

    EXPECT_GE(held["heap"], before["heap"] + kBlock) << "a block in use is not counted as heap";
    EXPECT_GE(held["mmapped"], before["mmapped"] + kBlock) << "a mapped block is not in mmapped";
    EXPECT_LE(after["heap"] + kBlock, held["heap"]) << "a freed block is still counted as heap";
    EXPECT_LE(after["mmapped"] + kBlock, held["mmapped"]) << "an unmapped block is still mmapped";
}

TEST_F(ControlChannelTest, Memory_WhenTheRecordOfCallsIsCleared_ShowsWhatItHeld) {
    SKIP_UNLESS_GLIBC_HEAP();
    // A full record: at least a 64-byte Call each.
    for (int i = 0; i < 4096; ++i)
        asdiv();
    Client client(path_);
    auto full = memoryFigures(client.ask("memory"));
    ASSERT_EQ("ok", client.ask("clear-calls")) << "clear-calls refused";
    auto cleared = memoryFigures(client.ask("memory"));
    EXPECT_LE(cleared["heap"] + 4096 * 64 * 3 / 4, full["heap"])
            << "clearing a full record of calls did not give back its heap";
}

// ---- A bad line changes nothing ---------------------------------------------------------------

struct RefusalRow {
    const char* name;
    std::string line;
    std::string reply;
};

void PrintTo(const RefusalRow& row, std::ostream* os) {
    *os << row.name;
}

class ControlChannelRefusalTest : public ControlChannelTest,
                                  public ::testing::WithParamInterface<RefusalRow> {};

TEST_P(ControlChannelRefusalTest, Line_WhenMalformed_SaysWhyChangesNothingAndServesOn) {
    Client client(path_);
    ASSERT_TRUE(client.connected()) << "cannot connect to the channel";
    EXPECT_EQ(GetParam().reply, client.ask(GetParam().line)) << "wrong reason given";
    EXPECT_EQ(0, asdiv()) << "a refused line planned a fault anyway";
    EXPECT_EQ(1u, Control::calls().size()) << "a refused line called into the library";
    EXPECT_EQ("ok", client.ask("connect-delay 0")) << "the connection is unusable after a refusal";
}

RefusalRow refusal(const char* name, std::string line, std::string reply) {
    return RefusalRow{name, std::move(line), std::move(reply)};
}

INSTANTIATE_TEST_SUITE_P(
        ControlChannel, ControlChannelRefusalTest,
        ::testing::Values(
                refusal("EmptyLine", "  ", "error: empty line (try help)"),
                refusal("UnknownCommand", "reboot 5", "error: unknown command 'reboot' (try help)"),
                refusal("ControlBytesEscaped", std::string("st\x01\x1b[2J", 7),
                        "error: unknown command 'st\\x01\\x1b[2J' (try help)"),
                refusal("MissingArgument", "restart", "error: usage: restart <ms>"),
                refusal("ExtraArgument", "fail modem_diag_pan_force_asdiv 1 5 0 0",
                        "error: usage: fail <function> <count> <result> [skip]"),
                refusal("MemoryTakesNoArgument", "memory now", "error: usage: memory"),
                refusal("ClearCallsTakesNoArgument", "clear-calls all",
                        "error: usage: clear-calls"),
                refusal("NegativeMs", "restart -1",
                        "error: ms '-1' is not an integer in 0..3600000"),
                refusal("HexNotTaken", "connect-delay 0x10",
                        "error: ms '0x10' is not an integer in 0..3600000"),
                refusal("TrailingUnit", "connect-delay 10ms",
                        "error: ms '10ms' is not an integer in 0..3600000"),
                refusal("ServiceZero", "service 0 down",
                        "error: id '0' is not an integer in 1..255"),
                refusal("ServiceUpDownTypo", "service 3 dwn", "error: 'dwn' is not up or down"),
                refusal("FunctionNotOfTheApi", "fail read_nv 1 5",
                        "error: function 'read_nv' is not a modem_... function name"),
                refusal("CountNegative", "fail modem_diag_pan_force_asdiv -1 5",
                        "error: count '-1' is not an integer in 0..2147483647"),
                refusal("ResultOverflow", "fail modem_diag_pan_force_asdiv 1 2147483648",
                        "error: result '2147483648' is not an integer in -2147483648..2147483647"),
                refusal("LatencyOverAMinute", "latency * 60000001",
                        "error: microseconds '60000001' is not an integer in 0..60000000"),
                refusal("LatencyStarInName", "latency modem_* 5",
                        "error: function 'modem_*' is not a modem_... function name")),
        RowName());

// ---- Clients
// --------------------------------------------------------------------------------------

TEST_F(ControlChannelTest, Connection_WhenSeveralLinesComeInOneWrite_AnswersEachInOrder) {
    Client client(path_);
    ASSERT_TRUE(client.send("fail modem_diag_pan_force_asdiv 1 5\nbogus\nhelp\n"));
    EXPECT_EQ("ok", client.readLine().value_or("(none)")) << "first line";
    EXPECT_EQ("error: unknown command 'bogus' (try help)", client.readLine().value_or("(none)"));
    EXPECT_EQ(0u, client.readLine().value_or("(none)").rfind("ok restart <ms> | service", 0))
            << "help was not the third reply";
    EXPECT_EQ(5, asdiv()) << "the first line was not acted on";
}

TEST_F(ControlChannelTest, Connection_WhenItVanishesMidLine_NothingIsDoneAndOthersAreServed) {
    {
        Client client(path_);
        ASSERT_TRUE(client.send("fail modem_diag_pan_force_asdiv 1 5")) << "cannot send";
    }
    Client next(path_);
    EXPECT_EQ("ok", next.ask("connect-delay 0")) << "the channel stopped serving";
    EXPECT_EQ(0, asdiv()) << "half a line was acted on";
}

TEST_F(ControlChannelTest, Connection_WhenALineIsOverlong_IsRefusedAndClosed) {
    // The longest line taken, and one byte more.
    const std::string longest = "connect-delay" + std::string(1024 - 15, ' ') + "10";
    ASSERT_EQ(ControlChannel::kMaxLine, longest.size());
    Client client(path_);
    EXPECT_EQ("ok", client.ask(longest)) << "a line of exactly the limit was refused";
    EXPECT_EQ("error: line longer than 1024 bytes", client.ask(longest + "0"))
            << "one byte over the limit was taken";
    EXPECT_TRUE(client.closedByChannel()) << "the connection stayed open after an overlong line";

    Client endless(path_);
    ASSERT_TRUE(endless.send(std::string(4096, 'x'))) << "cannot send";
    EXPECT_EQ("error: line longer than 1024 bytes", endless.readLine().value_or("(none)"))
            << "a line without end was not cut off";
    EXPECT_TRUE(endless.closedByChannel()) << "a line without end kept the connection";
}

TEST_F(ControlChannelTest, Connection_WhenIdle_HoldsUpNoOtherClient) {
    Client idle(path_);
    ASSERT_TRUE(idle.connected());
    ASSERT_TRUE(idle.send("sta")) << "cannot send";
    Client busy(path_);
    EXPECT_EQ("ok", busy.ask("connect-delay 0")) << "an idle client held up another";
    EXPECT_EQ("ok", idle.ask("te").substr(0, 2))
            << "the idle client's line was not completed across writes";
}

TEST_F(ControlChannelTest, Connection_WhenClientNeverReadsItsReplies_IsDroppedAndOthersServed) {
    Client flood(path_);
    std::string lines;
    for (int i = 0; i < 4096; ++i)
        lines += "help\n";
    // Replies are longer than the lines: the channel's send buffer fills long before this ends.
    bool refused = false;
    for (int i = 0; i < 1000 && !refused; ++i)
        refused = !flood.send(lines);
    EXPECT_TRUE(refused) << "the channel went on taking lines whose replies were not read";
    Client next(path_);
    EXPECT_EQ("ok", next.ask("connect-delay 0")) << "the channel stopped serving";
}

TEST(ControlChannelOwnerTest, Connection_FromAnotherUser_IsClosedUnansweredAndLogged) {
    const std::string path = tempPath("stranger");
    std::string why;
    // Owned by someone else, this process is the stranger.
    std::unique_ptr<ControlChannel> channel = ControlChannel::open(path, geteuid() + 1, &why);
    ASSERT_NE(nullptr, channel) << why;
    ::testing::internal::CaptureStderr();
    {
        Client stranger(path);
        ASSERT_TRUE(stranger.connected()) << "the stranger could not even connect";
        stranger.send("fail modem_diag_pan_force_asdiv 1 5\n");  // may find it closed already
        EXPECT_TRUE(stranger.closedByChannel()) << "a stranger was answered";
    }
    const std::string logged = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(std::string::npos, logged.find("refused pid " + std::to_string(getpid())))
            << "the stranger was not logged: " << logged;
    EXPECT_EQ(0, asdiv()) << "a stranger's line was acted on";
}

// ---- Opening ----------------------------------------------------------------------------------

TEST(ControlChannelOpenTest, Open_WhereItMustNot_RefusesWithAReason) {
    const std::string file = tempPath("regular");
    std::ofstream(file) << "keep me";
    std::string why;
    EXPECT_EQ(nullptr, ControlChannel::open(file, geteuid(), &why)) << "took over a regular file";
    EXPECT_EQ(file + ": exists and is not a socket", why);
    EXPECT_TRUE(exists(file)) << "a regular file was removed";
    std::remove(file.c_str());

    const std::string tooLong = "/tmp/" + std::string(120, 'x');
    EXPECT_EQ(nullptr, ControlChannel::open(tooLong, geteuid(), &why)) << "path over 107 bytes";
    EXPECT_EQ(tooLong + ": not a socket path of 1..107 bytes", why);
}

TEST(ControlChannelOpenTest, Open_OverAnotherChannelsSocket_TakesItAndItIsNotRemovedByTheOld) {
    const std::string path = tempPath("twice");
    std::string why;
    std::unique_ptr<ControlChannel> old = ControlChannel::open(path, geteuid(), &why);
    ASSERT_NE(nullptr, old) << why;
    struct stat mode {};
    ASSERT_EQ(0, lstat(path.c_str(), &mode));
    EXPECT_EQ(0600u, mode.st_mode & 0777u) << "the socket is open to others";
    std::unique_ptr<ControlChannel> fresh = ControlChannel::open(path, geteuid(), &why);
    ASSERT_NE(nullptr, fresh) << "a stale socket was not replaced: " << why;
    old.reset();
    Client client(path);
    EXPECT_EQ("ok", client.ask("connect-delay 0")) << "the old channel removed the new socket";
    fresh.reset();
    EXPECT_FALSE(exists(path)) << "the socket outlived its channel";
}

}  // namespace
}  // namespace modemsim
