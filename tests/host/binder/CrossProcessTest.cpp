/*
 * Copyright (C) 2026 The plim-modem developers
 */

// What only the socket transport between real processes has: hostile streams, other users,
// stalled receivers, stale sockets. What both transports have is in the shared suites
// (OtherProcess.h).

#include <android/binder_manager.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include "Frame.h"
#include "OtherProcess.h"
#include "ServiceDirectory.h"
#include "SocketTransport.h"
#include "TestObject.h"

namespace {

class CrossProcessTest : public TwoProcessTest {
  protected:
    void SetUp() override { startOther(TransportKind::kSocket); }
};

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    return address;
}

// A socket name of this process, as the transport names them (not this process's own socket).
std::string ownName() {
    return "p" + std::to_string(getpid()) + "-0123456789abcdef";
}

// A receiver that reads nothing at all (here: stopped) fills its socket before it fills its
// share of oneway data; the sender's oneway calls must then fail at once, never wait on it.
TEST_F(CrossProcessTest, Oneway_WhenReceiverIsStopped_FailsInsteadOfBlocking) {
    ASSERT_EQ(0, ::kill(other->pid(), SIGSTOP)) << "could not stop the other process";
    size_t sent = 0;
    binder_status_t status = STATUS_OK;
    while (status == STATUS_OK && sent < 100) {  // 100 x 20 KiB: four times the share
        status = recordBytes(other->object(), 20 * 1024, FLAG_ONEWAY);
        sent += status == STATUS_OK ? 1 : 0;
    }
    ASSERT_EQ(0, ::kill(other->pid(), SIGCONT)) << "could not resume the other process";
    EXPECT_EQ(STATUS_FAILED_TRANSACTION, status)
            << "a stopped receiver took " << sent << " calls of 20 KiB";
    EXPECT_GT(sent, 0u) << "not even the first call went out";
    EXPECT_TRUE(eventually([&] { return recordOf(other->object()).values.size() == sent; }))
            << "calls accepted before the receiver stopped reading were lost";
}

// A gone process's socket file is removed by the next process that starts, or that is refused by
// it; a file of a live process stays.
TEST_F(CrossProcessTest, StaleSocket_OfGoneProcess_IsRemovedOthersStay) {
    const std::string directory = OtherProcess::socketDirectory();
    auto socketsOf = [&](pid_t pid) {
        std::vector<std::string> found;
        for (const std::string& name : hostbinder::ServiceDirectory(directory).socketNames()) {
            if (hostbinder::SocketTransport::pidOfName(name) == pid)
                found.push_back(name);
        }
        return found;
    };
    auto bindAt = [&](const std::string& name) {
        const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address = addressOf(directory + "/" + name);
        EXPECT_EQ(0, bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)));
        return fd;  // bound, never listening: connects are refused
    };
    const pid_t gone = fork();
    if (gone == 0)
        _exit(0);
    waitpid(gone, nullptr, 0);
    const int goneFd = bindAt("p" + std::to_string(gone) + "-0123456789abcdef");
    const int liveFd = bindAt(ownName());
    ASSERT_TRUE(hostbinder::ServiceDirectory(directory).publish("xproc.live", ownName()));

    OtherProcess next(TransportKind::kSocket);
    ASSERT_NE(nullptr, next.object().get()) << "a second peer never came up";
    EXPECT_TRUE(socketsOf(gone).empty()) << "a starting process left a gone one's socket";
    EXPECT_EQ(nullptr, ndk::SpAIBinder(AServiceManager_checkService("xproc.live")).get());
    EXPECT_EQ(2u, socketsOf(getpid()).size()) << "a live process's socket was removed (ours, fake)";

    const pid_t killed = other->pid();
    ASSERT_EQ(1u, socketsOf(killed).size()) << "the peer's own socket";
    ASSERT_TRUE(other->kill());
    // Removed when this process saw the connection close or, after, when a connect was refused.
    EXPECT_TRUE(eventually([&] {
        ndk::SpAIBinder gone(AServiceManager_checkService(other->name().c_str()));
        return socketsOf(killed).empty();
    })) << "the killed process's socket was left behind";
    close(goneFd);
    close(liveFd);
}

// Raw connections to this process's socket sending what no binder process sends.
struct BadStream {
    const char* name;
    bool hello;  // a valid hello first
    std::vector<uint8_t> bytes;
    friend void PrintTo(const BadStream& row, std::ostream* os) { *os << row.name; }
};

std::vector<uint8_t> frameBytes(hostbinder::Frame frame) {
    std::vector<uint8_t> bytes;
    hostbinder::encodeFrame(frame, &bytes);
    return bytes;
}

std::vector<uint8_t> helloFrom(const std::string& name) {
    hostbinder::Frame hello;
    hello.type = hostbinder::FrameType::kHello;
    hello.payload.assign(name.begin(), name.end());
    return frameBytes(hello);
}

class CrossProcessStreamTest : public CrossProcessTest,
                               public ::testing::WithParamInterface<BadStream> {};

INSTANTIATE_TEST_SUITE_P(
        Streams, CrossProcessStreamTest,
        ::testing::Values(
                BadStream{"Garbage", false, std::vector<uint8_t>(64, 0xee)},
                BadStream{"TruncatedHello", false, {40, 0, 0, 0, 1, 0}},
                BadStream{"HelloForAnotherPid", false, helloFrom("p1-0123456789abcdef")},
                BadStream{"HelloNotAName", false, helloFrom("../../etc/passwd")},
                BadStream{"TransactionBeforeHello", false,
                          frameBytes({hostbinder::FrameType::kTransaction, 1, 0, 1, 1, {}, {}})},
                BadStream{"TruncatedTransaction", true, {60, 0, 0, 0, 2, 0, 0, 0, 1}},
                BadStream{"GarbageAfterHello", true, std::vector<uint8_t>(40, 0xff)},
                BadStream{"ReplyToNothing", true,
                          frameBytes({hostbinder::FrameType::kReply, 0, 0, 5, 0, {}, {}})},
                BadStream{"OnewayWithTxnId", true,
                          frameBytes({hostbinder::FrameType::kTransaction,
                                      1,
                                      FLAG_ONEWAY,
                                      9,
                                      1,
                                      {},
                                      {}})},
                BadStream{"HelloTwice", true, helloFrom(ownName())}),
        [](const ::testing::TestParamInfo<BadStream>& info) { return info.param.name; });

TEST_P(CrossProcessStreamTest, Connection_WhenStreamIsBad_ClosesOnlyThatConnection) {
    const std::string path = hostbinder::SocketTransport::instance()->path();

    const BadStream& row = GetParam();
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_GE(fd, 0) << strerror(errno);
    sockaddr_un address = addressOf(path);
    ASSERT_EQ(0, connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)))
            << strerror(errno);
    std::vector<uint8_t> bytes = row.hello ? helloFrom(ownName()) : std::vector<uint8_t>();
    bytes.insert(bytes.end(), row.bytes.begin(), row.bytes.end());
    ASSERT_EQ(static_cast<ssize_t>(bytes.size()),
              send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL));
    if (row.name == std::string("TruncatedHello") ||
        row.name == std::string("TruncatedTransaction"))
        shutdown(fd, SHUT_WR);  // the rest never comes

    timeval timeout{10, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
    uint8_t byte = 0;
    EXPECT_EQ(0, recv(fd, &byte, 1, 0))
            << row.name << ": the connection must be closed, unanswered";
    close(fd);

    // The peer connects to this process only now, to call the object it is given.
    ndk::SpAIBinder local = testobject::create([](auto, const AParcel* in, AParcel* out) {
        int32_t value = 0;
        AParcel_readInt32(in, &value);
        return AParcel_writeInt32(out, value * 2);
    });
    const Relayed relayed = callBackThrough(other->object(), local.get(), 5);
    EXPECT_TRUE(relayed.status == STATUS_OK && relayed.answer == 10)
            << row.name << ": others must still reach this process";
}

TEST_F(CrossProcessTest, Connection_WhenPeerIsAnotherUser_IsRefused) {
    if (getuid() != 0)
        GTEST_SKIP() << "needs root to connect as another user";
    ndk::SpAIBinder local = testobject::create(
            [](transaction_code_t, const AParcel*, AParcel*) { return STATUS_OK; });
    ASSERT_EQ(EX_NONE, AServiceManager_addService(local.get(), "xproc.private")) << "registration";
    const std::string path = hostbinder::SocketTransport::instance()->path();
    struct stat info {};
    ASSERT_EQ(0, stat(path.c_str(), &info));
    EXPECT_EQ(0600u, info.st_mode & 0777) << "the socket is for its owner only";

    // errno from connect, or 0 if connected; then whether the connection was dropped unanswered.
    auto tryAs = [&](uid_t uid) {
        const std::vector<uint8_t> hello = helloFrom(ownName());
        const pid_t child = fork();
        if (child == 0) {
            if (setgid(uid) != 0 || setuid(uid) != 0)
                _exit(100);
            const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
            sockaddr_un address = addressOf(path);
            if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0)
                _exit(errno == EACCES ? 10 : 11);
            (void)!send(fd, hello.data(), hello.size(), MSG_NOSIGNAL);
            uint8_t byte;
            // Closed, or reset because the hello was never read: either way, unanswered.
            _exit(read(fd, &byte, 1) <= 0 ? 20 : 21);
        }
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    };
    EXPECT_EQ(10, tryAs(65534)) << "the socket file's mode must keep other users out";

    // Past the file's mode, the credentials still keep them out.
    ASSERT_EQ(0, chmod(OtherProcess::socketDirectory().c_str(), 0755));
    ASSERT_EQ(0, chmod(path.c_str(), 0666));
    EXPECT_EQ(20, tryAs(65534)) << "another user's connection must be dropped";
}

}  // namespace
