/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The service manager: names it accepts, what each process gets back, waiting for a service, and
// services leaving with their process.

#include <android/binder_host.h>
#include <android/binder_manager.h>
#include <gtest/gtest.h>

#include <ostream>

#include <atomic>
#include <string>
#include <thread>

#include "TestObject.h"

namespace {

class ServiceManagerTest : public ::testing::Test {
  protected:
    void TearDown() override {
        ABinderHost_waitForIdle();
        EXPECT_EQ(0u, service.pendingWork()) << "the service process still has work queued";
    }

    // A fresh name, so that tests run in one executable do not see each other's services.
    static std::string uniqueName(const char* base) {
        static std::atomic<int> counter{0};
        return std::string("plim.test.") + base + "/" + std::to_string(counter++);
    }

    ndk::SpAIBinder makeServiceObject() {
        return service.run(
                [] { return testobject::create([](auto, auto, auto) { return STATUS_OK; }); });
    }

    ndk::host::ScopedProcess service{"service"};
    ndk::host::ScopedProcess client{"client"};
};

struct NameCase {
    const char* name;
    std::string instance;
    binder_exception_t expected;
};

// Names the case in test listings (the default would print its raw bytes).
void PrintTo(const NameCase& c, std::ostream* os) {
    *os << c.name;
}

class ServiceNameTest : public ServiceManagerTest,
                        public ::testing::WithParamInterface<NameCase> {};

TEST_P(ServiceNameTest, AddService_WhenNameGiven_AcceptedOnlyIfValid) {
    ndk::SpAIBinder object = makeServiceObject();
    EXPECT_EQ(GetParam().expected,
              AServiceManager_addService(object.get(), GetParam().instance.c_str()))
            << "name '" << GetParam().instance << "'";
}

INSTANTIATE_TEST_SUITE_P(
        Names, ServiceNameTest,
        ::testing::Values(NameCase{"Typical", "vendor.vyr.plim.modem.IModem/instance0", EX_NONE},
                          NameCase{"AllAllowedCharacters", "aZ09_-./x", EX_NONE},
                          NameCase{"LongestAllowed", std::string(127, 'n'), EX_NONE},
                          NameCase{"Empty", "", EX_ILLEGAL_ARGUMENT},
                          NameCase{"TooLong", std::string(128, 'n'), EX_ILLEGAL_ARGUMENT},
                          NameCase{"Space", "bad name", EX_ILLEGAL_ARGUMENT},
                          NameCase{"NonAscii", "modem\xc3\xa9", EX_ILLEGAL_ARGUMENT}),
        [](const ::testing::TestParamInfo<NameCase>& info) { return info.param.name; });

TEST_F(ServiceManagerTest, AddService_WhenBinderNull_FailsIllegalArgument) {
    EXPECT_EQ(EX_ILLEGAL_ARGUMENT, AServiceManager_addService(nullptr, "plim.test.null"))
            << "a null service was registered";
}

TEST_F(ServiceManagerTest, CheckService_FromEachProcess_OwnerGetsObjectOthersGetProxy) {
    const std::string name = uniqueName("owner");
    ndk::SpAIBinder object = makeServiceObject();
    service.run(
            [&] { ASSERT_EQ(EX_NONE, AServiceManager_addService(object.get(), name.c_str())); });

    ndk::SpAIBinder inOwner = service.run(
            [&] { return ndk::SpAIBinder(AServiceManager_checkService(name.c_str())); });
    ndk::SpAIBinder inClient =
            client.run([&] { return ndk::SpAIBinder(AServiceManager_checkService(name.c_str())); });
    ndk::SpAIBinder inClientAgain =
            client.run([&] { return ndk::SpAIBinder(AServiceManager_getService(name.c_str())); });

    EXPECT_EQ(object.get(), inOwner.get()) << "the owning process must get its object itself";
    ASSERT_NE(nullptr, inClient.get()) << "a registered service was not found";
    EXPECT_TRUE(AIBinder_isRemote(inClient.get())) << "another process got the object itself";
    EXPECT_EQ(inClient.get(), inClientAgain.get()) << "two lookups gave two proxies";
}

TEST_F(ServiceManagerTest, CheckService_WhenMissing_NullAtOnce) {
    EXPECT_EQ(nullptr, AServiceManager_checkService(uniqueName("missing").c_str()))
            << "a service that was never added was found";
}

TEST_F(ServiceManagerTest, AddService_WhenNameTaken_ReplacesEarlierService) {
    const std::string name = uniqueName("replaced");
    ndk::SpAIBinder first = makeServiceObject();
    ndk::SpAIBinder second = makeServiceObject();
    ASSERT_EQ(EX_NONE, AServiceManager_addService(first.get(), name.c_str()));
    ASSERT_EQ(EX_NONE, AServiceManager_addService(second.get(), name.c_str()));
    ndk::SpAIBinder found = service.run(
            [&] { return ndk::SpAIBinder(AServiceManager_checkService(name.c_str())); });
    EXPECT_EQ(second.get(), found.get()) << "the earlier registration survived";
}

TEST_F(ServiceManagerTest, WaitForService_WhenAddedLater_ReturnsIt) {
    const std::string name = uniqueName("later");
    ndk::SpAIBinder found;
    std::thread waiter([&] {
        ndk::host::ProcessContext context(client.get());
        found.set(AServiceManager_waitForService(name.c_str()));
    });
    ndk::SpAIBinder object = makeServiceObject();
    ASSERT_EQ(EX_NONE, AServiceManager_addService(object.get(), name.c_str()));
    waiter.join();
    ASSERT_NE(nullptr, found.get()) << "the waiter missed the registration";
    EXPECT_TRUE(AIBinder_isRemote(found.get())) << "the waiter's process got the object itself";
}

TEST_F(ServiceManagerTest, GetService_WhenAddedWhileWaiting_ReturnsIt) {
    const std::string name = uniqueName("soon");
    ndk::SpAIBinder found;
    std::thread getter([&] { found.set(AServiceManager_getService(name.c_str())); });
    ndk::SpAIBinder object = makeServiceObject();
    ASSERT_EQ(EX_NONE, AServiceManager_addService(object.get(), name.c_str()));
    getter.join();
    EXPECT_NE(nullptr, found.get()) << "getService gave up before the service arrived";
}

TEST_F(ServiceManagerTest, CheckService_WhenOwnerKilled_ServiceGone) {
    const std::string name = uniqueName("killed");
    ndk::SpAIBinder object = makeServiceObject();
    ASSERT_EQ(EX_NONE, AServiceManager_addService(object.get(), name.c_str()));
    ASSERT_TRUE(service.kill());
    EXPECT_EQ(nullptr, AServiceManager_checkService(name.c_str()))
            << "a dead process's service is still handed out";
}

}  // namespace
