/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Binder between real processes over sockets: this test process and peers started from
// XprocPeer.cpp, all with PLIM_BINDER_SOCKET_DIR naming one directory. Each case runs in a
// process of its own (as CTest runs them), so the directory is chosen before the first binder
// call of the process.

#include <android/binder_host.h>
#include <android/binder_manager.h>
#include <android/binder_parcel_utils.h>
#include <android/binder_process.h>
#include <dirent.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "Frame.h"
#include "Latch.h"
#include "SocketTransport.h"
#include "TestObject.h"
#include "XprocProtocol.h"

extern char** environ;

namespace {

using namespace std::chrono_literals;

// Static storage without a destructor: the exit handler that removes it runs after the static
// strings are gone.
char gSocketDir[] = "/tmp/plim-xproc-XXXXXX";

// The directory of this test process, made once: the transport reads it on first use only.
const std::string& socketDirectory() {
    static const std::string directory = [] {
        const char* made = mkdtemp(gSocketDir);
        std::string path = made != nullptr ? made : "";
        setenv("PLIM_BINDER_SOCKET_DIR", path.c_str(), 1);
        if (made != nullptr) {
            std::atexit([] {
                std::error_code ignored;
                std::filesystem::remove_all(gSocketDir, ignored);
            });
        }
        return path;
    }();
    return directory;
}

size_t openDescriptors() {
    size_t count = 0;
    if (DIR* dir = opendir("/proc/self/fd")) {
        while (readdir(dir) != nullptr)
            ++count;
        closedir(dir);
    }
    return count;
}

template <typename Predicate>
bool eventually(Predicate predicate, std::chrono::milliseconds limit = 10s) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!predicate()) {
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

struct Echo {
    int32_t doubled = 0;
    int32_t callingPid = 0;
    int32_t callingUid = 0;
    int32_t serverPid = 0;
};

class CrossProcessTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_FALSE(socketDirectory().empty()) << "no temporary directory: " << strerror(errno);
        // Calls back from the peers arrive on this process's pool.
        ABinderProcess_setThreadPoolMaxThreadCount(2);
        ABinderProcess_startThreadPool();
        // Brings the transport up, so that its own descriptors are in every count that follows.
        ndk::SpAIBinder none(AServiceManager_checkService("xproc.none"));
        ASSERT_NE(nullptr, hostbinder::SocketTransport::instance()) << "sockets not selected";
    }

    void TearDown() override {
        for (pid_t pid : mChildren) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
    }

    pid_t spawn(std::vector<std::string> args) {
        args.insert(args.begin(), XPROC_PEER_PATH);
        std::vector<char*> argv;
        for (std::string& arg : args)
            argv.push_back(arg.data());
        argv.push_back(nullptr);
        pid_t pid = -1;
        EXPECT_EQ(0, posix_spawn(&pid, XPROC_PEER_PATH, nullptr, nullptr, argv.data(), environ))
                << "cannot start " << XPROC_PEER_PATH;
        if (pid > 0)
            mChildren.push_back(pid);
        return pid;
    }

    // Exit status of a spawned peer that ends by itself.
    int waitExit(pid_t pid) {
        int status = 0;
        EXPECT_EQ(pid, waitpid(pid, &status, 0)) << "peer " << pid;
        mChildren.erase(std::remove(mChildren.begin(), mChildren.end(), pid), mChildren.end());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    void killPeer(pid_t pid) {
        ASSERT_EQ(0, kill(pid, SIGKILL)) << "peer " << pid;
        EXPECT_EQ(-1, waitExit(pid)) << "peer " << pid << " should have been killed";
    }

    // The service as registered by a peer, waiting for it to come up.
    static ndk::SpAIBinder serviceOf(const std::string& name) {
        ndk::SpAIBinder service;
        eventually(
                [&] {
                    service.set(AServiceManager_checkService(name.c_str()));
                    return service.get() != nullptr;
                },
                20s);
        if (service.get() != nullptr &&
            !AIBinder_associateClass(service.get(), testobject::objectClass()))
            return nullptr;
        return service;
    }

    static binder_status_t echo(const ndk::SpAIBinder& service, int32_t value, Echo* out) {
        ndk::ScopedAParcel in;
        ndk::ScopedAParcel reply;
        binder_status_t status = AIBinder_prepareTransaction(service.get(), in.getR());
        if (status == STATUS_OK)
            status = AParcel_writeInt32(in.get(), value);
        if (status == STATUS_OK)
            status = AIBinder_transact(service.get(), xproc::kEcho, in.getR(), reply.getR(), 0);
        for (int32_t* field :
             {&out->doubled, &out->callingPid, &out->callingUid, &out->serverPid}) {
            if (status == STATUS_OK)
                status = AParcel_readInt32(reply.get(), field);
        }
        return status;
    }

    std::vector<pid_t> mChildren;
};

TEST_F(CrossProcessTest, Transact_WhenServiceIsInAnotherProcess_RepliesWithKernelCredentials) {
    const pid_t server = spawn({"serve", "xproc.echo"});
    ndk::SpAIBinder service = serviceOf("xproc.echo");
    ASSERT_NE(nullptr, service.get()) << "the peer's service never showed up";
    EXPECT_TRUE(AIBinder_isRemote(service.get())) << "a service of another process is a proxy";

    // Several calls on one connection: each reply must find its own caller.
    std::vector<std::thread> callers;
    std::atomic<int> wrong{0};
    for (int32_t t = 0; t < 4; ++t) {
        callers.emplace_back([&, t] {
            for (int32_t i = 0; i < 50; ++i) {
                Echo answer;
                const int32_t value = t * 1000 + i;
                if (echo(service, value, &answer) != STATUS_OK || answer.doubled != value * 2)
                    ++wrong;
            }
        });
    }
    for (auto& caller : callers)
        caller.join();
    EXPECT_EQ(0, wrong.load()) << "replies lost or crossed between concurrent callers";

    Echo answer;
    ASSERT_EQ(STATUS_OK, echo(service, 21, &answer)) << "two-way call";
    EXPECT_EQ(42, answer.doubled) << "the server's answer";
    EXPECT_EQ(getpid(), answer.callingPid) << "calling pid as the kernel reports this process";
    EXPECT_EQ(static_cast<int32_t>(getuid()), answer.callingUid) << "calling uid";
    EXPECT_EQ(server, answer.serverPid) << "the call ran in the peer process";
}

TEST_F(CrossProcessTest, Transact_WhenThisProcessServes_PeerCallsInWithItsOwnPid) {
    std::atomic<pid_t> seen{0};
    ndk::SpAIBinder local =
            testobject::create([&](transaction_code_t, const AParcel* in, AParcel* out) {
                seen = AIBinder_getCallingPid();
                int32_t value = 0;
                AParcel_readInt32(in, &value);
                AParcel_writeInt32(out, value * 2);
                return AParcel_writeInt32(out, AIBinder_getCallingPid());
            });
    ASSERT_EQ(EX_NONE, AServiceManager_addService(local.get(), "xproc.here")) << "registration";
    const pid_t client = spawn({"call", "xproc.here", "17"});
    EXPECT_EQ(0, waitExit(client)) << "the peer's call failed (see its stderr)";
    EXPECT_EQ(client, seen.load()) << "AIBinder_getCallingPid in this process";
}

TEST_F(CrossProcessTest, Parcel_WhenBinderIsSent_ArrivesAsProxyAndComesHomeAsItself) {
    spawn({"serve", "xproc.objects"});
    ndk::SpAIBinder service = serviceOf("xproc.objects");
    ASSERT_NE(nullptr, service.get()) << "the peer's service never showed up";
    const size_t descriptorsBefore = openDescriptors();

    std::atomic<pid_t> callbackCaller{0};
    ndk::SpAIBinder callback =
            testobject::create([&](transaction_code_t, const AParcel* in, AParcel* out) {
                callbackCaller = AIBinder_getCallingPid();
                int32_t value = 0;
                AParcel_readInt32(in, &value);
                return AParcel_writeInt32(out, value + 1);
            });
    Echo server;
    ASSERT_EQ(STATUS_OK, echo(service, 1, &server)) << "server pid";

    for (int round = 0; round < 3; ++round) {
        ndk::ScopedAParcel in;
        ndk::ScopedAParcel out;
        ASSERT_EQ(STATUS_OK, AIBinder_prepareTransaction(service.get(), in.getR()));
        AParcel_writeStrongBinder(in.get(), callback.get());
        AParcel_writeInt32(in.get(), 41);
        ASSERT_EQ(STATUS_OK,
                  AIBinder_transact(service.get(), xproc::kCallBack, in.getR(), out.getR(), 0))
                << "round " << round << ": the peer could not call the callback back";
        int32_t answer = 0;
        ASSERT_EQ(STATUS_OK, AParcel_readInt32(out.get(), &answer));
        EXPECT_EQ(42, answer) << "the callback's answer, relayed";
        EXPECT_EQ(server.serverPid, callbackCaller.load()) << "the callback's caller is the peer";

        ndk::ScopedAParcel bounceIn;
        ndk::ScopedAParcel bounceOut;
        ASSERT_EQ(STATUS_OK, AIBinder_prepareTransaction(service.get(), bounceIn.getR()));
        AParcel_writeStrongBinder(bounceIn.get(), callback.get());
        ASSERT_EQ(STATUS_OK, AIBinder_transact(service.get(), xproc::kBounce, bounceIn.getR(),
                                               bounceOut.getR(), 0));
        ndk::SpAIBinder back;
        ASSERT_EQ(STATUS_OK, AParcel_readStrongBinder(bounceOut.get(), back.getR()));
        EXPECT_EQ(callback.get(), back.get()) << "our own object must come home as itself";
        EXPECT_FALSE(AIBinder_isRemote(back.get())) << "not as a proxy for a proxy";
    }

    // Only the peer's connection back to us is new; nothing else may pile up per call.
    EXPECT_LE(openDescriptors(), descriptorsBefore + 1) << "descriptors leaked by the calls";
}

TEST_F(CrossProcessTest, Oneway_WhenSentInBurst_ArriveInOrder) {
    spawn({"serve", "xproc.order"});
    ndk::SpAIBinder service = serviceOf("xproc.order");
    ASSERT_NE(nullptr, service.get()) << "the peer's service never showed up";
    constexpr int32_t kCalls = 300;
    for (int32_t i = 0; i < kCalls; ++i) {
        ASSERT_EQ(STATUS_OK, testobject::callInt(service, xproc::kRecord, i, nullptr, FLAG_ONEWAY))
                << "oneway call " << i;
    }
    std::vector<int32_t> recorded;
    ASSERT_TRUE(eventually([&] {
        ndk::ScopedAParcel in;
        ndk::ScopedAParcel out;
        AIBinder_prepareTransaction(service.get(), in.getR());
        if (AIBinder_transact(service.get(), xproc::kRecorded, in.getR(), out.getR(), 0) !=
            STATUS_OK)
            return false;
        int32_t count = 0;
        AParcel_readInt32(out.get(), &count);
        recorded.assign(static_cast<size_t>(count), -1);
        for (int32_t& value : recorded)
            AParcel_readInt32(out.get(), &value);
        return count == kCalls;
    })) << "only "
        << recorded.size() << " of " << kCalls << " oneway calls arrived";
    for (int32_t i = 0; i < kCalls; ++i)
        ASSERT_EQ(i, recorded[static_cast<size_t>(i)]) << "oneway call out of order at " << i;
}

TEST_F(CrossProcessTest, Death_WhenPeerIsKilled_NotifiesFailsCallsAndDropsItsService) {
    const size_t descriptorsBefore = openDescriptors();
    const pid_t server = spawn({"serve", "xproc.mortal"});
    {
        ndk::SpAIBinder service = serviceOf("xproc.mortal");
        ASSERT_NE(nullptr, service.get()) << "the peer's service never showed up";
        Latch died;
        ndk::ScopedAIBinder_DeathRecipient recipient(AIBinder_DeathRecipient_new(
                [](void* cookie) { static_cast<Latch*>(cookie)->open(); }));
        ASSERT_EQ(STATUS_OK, AIBinder_linkToDeath(service.get(), recipient.get(), &died));

        const auto killedAt = std::chrono::steady_clock::now();
        killPeer(server);
        ASSERT_TRUE(died.wait()) << "no death notification for the killed peer";
        EXPECT_LT(std::chrono::steady_clock::now() - killedAt, 5s) << "death noticed too late";
        EXPECT_FALSE(AIBinder_isAlive(service.get())) << "proxy of a dead process";
        Echo answer;
        EXPECT_EQ(STATUS_DEAD_OBJECT, echo(service, 1, &answer)) << "call to a dead process";
        EXPECT_EQ(nullptr, AServiceManager_checkService("xproc.mortal"))
                << "a dead process's service must be gone";
    }
    EXPECT_TRUE(eventually([&] { return openDescriptors() <= descriptorsBefore; }))
            << "the dead peer's connection was not closed";
}

TEST_F(CrossProcessTest, AddService_WhenNameIsRegisteredAgain_ReplacesTheFirst) {
    const pid_t first = spawn({"serve", "xproc.twice"});
    ndk::SpAIBinder firstService = serviceOf("xproc.twice");
    ASSERT_NE(nullptr, firstService.get()) << "the first registration never showed up";
    const pid_t second = spawn({"serve", "xproc.twice"});
    Echo answer;
    EXPECT_TRUE(eventually([&] {
        ndk::SpAIBinder now(AServiceManager_checkService("xproc.twice"));
        return now.get() != nullptr &&
               AIBinder_associateClass(now.get(), testobject::objectClass()) &&
               echo(now, 1, &answer) == STATUS_OK && answer.serverPid == second;
    })) << "the second registration did not replace the first";
    EXPECT_EQ(STATUS_OK, echo(firstService, 1, &answer)) << "the replaced object itself lives on";
    EXPECT_EQ(first, answer.serverPid) << "the old proxy still reaches the first process";
}

// Raw connections to this process's socket sending what no binder process sends.
struct BadStream {
    const char* name;
    bool hello;  // a valid hello first
    std::vector<uint8_t> bytes;
};

void PrintTo(const BadStream& row, std::ostream* os) {
    *os << row.name;
}

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

std::string ownName() {
    return "p" + std::to_string(getpid()) + "-0123456789abcdef";
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
    ndk::SpAIBinder local =
            testobject::create([](transaction_code_t, const AParcel* in, AParcel* out) {
                int32_t value = 0;
                AParcel_readInt32(in, &value);
                AParcel_writeInt32(out, value * 2);
                return AParcel_writeInt32(out, AIBinder_getCallingPid());
            });
    ASSERT_EQ(EX_NONE, AServiceManager_addService(local.get(), "xproc.sturdy")) << "registration";
    const std::string path = hostbinder::SocketTransport::instance()->path();

    const BadStream& row = GetParam();
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_GE(fd, 0) << strerror(errno);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
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

    const pid_t client = spawn({"call", "xproc.sturdy", "5"});
    EXPECT_EQ(0, waitExit(client)) << row.name << ": others must still reach this process";
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
            sockaddr_un address{};
            address.sun_family = AF_UNIX;
            std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
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
    ASSERT_EQ(0, chmod(socketDirectory().c_str(), 0755));
    ASSERT_EQ(0, chmod(path.c_str(), 0666));
    EXPECT_EQ(20, tryAs(65534)) << "another user's connection must be dropped";
}

}  // namespace
