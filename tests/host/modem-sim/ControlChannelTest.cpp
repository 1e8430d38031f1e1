/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The control channel: a planned fault applies as the line says (the commands the e2e tests drive
// are not repeated here), a bad line changes nothing and leaves the connection usable, and no
// client that idles, vanishes mid-line or sends too much stops it serving others.

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>

#include "ControlChannel.h"
#include "ModemSimTest.h"

namespace modemsim {
namespace {

/** One connection to a channel, as a test drives it; a read gives up after 5 s. */
class Client {
  public:
    explicit Client(const std::string& path) : fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
        connected_ = connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0;
        const timeval timeout{5, 0};
        setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
    }
    ~Client() { close(fd_); }

    bool connected() const { return connected_; }
    /** Sends the bytes as they are; false if the channel has stopped taking them. */
    bool send(const std::string& bytes) {
        return ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(bytes.size());
    }
    /** The next reply line, or "(none)" if the connection closed or stayed silent. */
    std::string readLine() {
        char byte = 0;
        std::string line;
        while (recv(fd_, &byte, 1, 0) == 1 && byte != '\n')
            line += byte;
        return byte == '\n' ? line : "(none)";
    }
    std::string ask(const std::string& line) { return send(line + "\n") ? readLine() : "(unsent)"; }
    /** Whether the channel closed this connection, with nothing more to read. */
    bool closedByChannel() {
        char byte;
        const ssize_t got = recv(fd_, &byte, 1, 0);
        // A channel closing with our bytes unread resets the connection instead of ending it.
        return got == 0 || (got < 0 && errno == ECONNRESET);
    }

  private:
    const int fd_;
    bool connected_ = false;
};

class ControlChannelTest : public ModemSimTest<> {
  protected:
    void SetUp() override {
        ModemSimTest::SetUp();
        std::string why;
        channel_ = ControlChannel::open(path_, geteuid(), &why);
        ASSERT_NE(nullptr, channel_) << "the channel did not open: " << why;
    }
    void TearDown() override {
        channel_.reset();
        EXPECT_NE(0, access(path_.c_str(), F_OK)) << "the channel left its socket behind";
        ModemSimTest::TearDown();
    }

    const std::string path_ = "/tmp/plim-simctl-" + std::to_string(getpid());
    std::unique_ptr<ControlChannel> channel_;
};

// ---- Planned faults -------------------------------------------------------------------------

TEST_F(ControlChannelTest, Fail_WithSkip_FailsExactlyThePlannedCallsAndChangesNothing) {
    startLibrary();
    connect({MODEM_API_SERVICE_DMS});
    Client client(path_);
    ASSERT_EQ("ok", client.ask("fail modem_set_operating_mode 2 -5 1")) << "fail refused";
    const modem_api_result_type expected[] = {0, -5, -5, 0};
    int kept = 0;
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(expected[i], modem_set_operating_mode(i + 1))
                << "call " << i << ": not skip 1, fail 2, then recover";
        kept = expected[i] == 0 ? i + 1 : kept;
        EXPECT_EQ(kept, Control::state().operatingMode)
                << "a failed call changed the mode (call " << i << ")";
    }
    EXPECT_EQ(4u, Control::countCalls("modem_set_operating_mode"))
            << "failed calls must be recorded too";
}

// ---- A bad line changes nothing ---------------------------------------------------------------

struct RefusalRow {
    const char* name;
    const char* line;
    const char* reply;
};

class ControlChannelRefusalTest : public ControlChannelTest,
                                  public ::testing::WithParamInterface<RefusalRow> {};

TEST_P(ControlChannelRefusalTest, Line_WhenMalformed_SaysWhyChangesNothingAndServesOn) {
    Client client(path_);
    ASSERT_TRUE(client.connected()) << "cannot connect to the channel";
    // With the next line in the same write: the rest of a write must be served after a refusal.
    ASSERT_TRUE(client.send(std::string(GetParam().line) + "\nconnect-delay 0\n")) << "unsent";
    EXPECT_EQ(GetParam().reply, client.readLine()) << "wrong reason given";
    // modem_diag_pan_force_asdiv needs no service: it shows a planned fault.
    EXPECT_EQ(0, modem_diag_pan_force_asdiv(1)) << "a refused line planned a fault anyway";
    EXPECT_EQ(1u, Control::calls().size()) << "a refused line called into the library";
    EXPECT_EQ("ok", client.readLine()) << "the connection is unusable after a refusal";
}

const RefusalRow kRefusalRows[] = {
        {"EmptyLine", "  ", "error: empty line (try help)"},
        {"ControlBytesEscaped", "st\x01\x1b[2J",
         "error: unknown command 'st\\x01\\x1b[2J' (try help)"},
        {"MissingArgument", "restart", "error: usage: restart <ms>"},
        {"ExtraArgument", "fail modem_diag_pan_force_asdiv 1 5 0 0",
         "error: usage: fail <function> <count> <result> [skip]"},
        {"NegativeMs", "restart -1", "error: ms '-1' is not an integer in 0..3600000"},
        {"TrailingUnit", "connect-delay 10ms", "error: ms '10ms' is not an integer in 0..3600000"},
        {"ServiceZero", "service 0 down", "error: id '0' is not an integer in 1..255"},
        {"ServiceUpDownTypo", "service 3 dwn", "error: 'dwn' is not up or down"},
        {"ResultOverflow", "fail modem_diag_pan_force_asdiv 1 2147483648",
         "error: result '2147483648' is not an integer in -2147483648..2147483647"},
        {"LatencyOverAMinute", "latency * 60000001",
         "error: microseconds '60000001' is not an integer in 0..60000000"},
        {"LatencyStarInName", "latency modem_* 5",
         "error: function 'modem_*' is not a modem_... function name"},
};
INSTANTIATE_TEST_SUITE_P(ControlChannel, ControlChannelRefusalTest,
                         ::testing::ValuesIn(kRefusalRows), RowName());

// ---- Clients ----------------------------------------------------------------------------------

TEST_F(ControlChannelTest, Connection_WhenOverlongIdleOrCutShort_ActsOnNothingAndHoldsUpNoOne) {
    {
        Client idle(path_);
        ASSERT_TRUE(idle.send("fail modem_diag_pan_force_asdiv 1 5")) << "cannot send";
        // The longest line taken, and one byte more, served while the idle client's line is open.
        const std::string longest = "connect-delay" + std::string(1024 - 15, ' ') + "10";
        ASSERT_EQ(ControlChannel::kMaxLine, longest.size());
        Client client(path_);
        EXPECT_EQ("ok", client.ask(longest)) << "a line of exactly the limit was refused";
        EXPECT_EQ("error: line longer than 1024 bytes", client.ask(longest + "0"))
                << "one byte over the limit was taken";
        EXPECT_TRUE(client.closedByChannel())
                << "the connection stayed open after an overlong line";

        Client endless(path_);
        ASSERT_TRUE(endless.send(std::string(4096, 'x'))) << "cannot send";
        EXPECT_EQ("error: line longer than 1024 bytes", endless.readLine())
                << "a line without end was not cut off";
        EXPECT_TRUE(endless.closedByChannel()) << "a line without end kept the connection";
    }  // the idle client goes away mid-line
    Client next(path_);
    EXPECT_EQ("ok", next.ask("connect-delay 0")) << "the channel stopped serving";
    EXPECT_EQ(0, modem_diag_pan_force_asdiv(1)) << "half a line was acted on";
}

}  // namespace
}  // namespace modemsim
