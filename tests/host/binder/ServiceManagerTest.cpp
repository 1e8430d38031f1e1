/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The service manager: what it registers (names, and the refusals a device can make), what each
// process gets back, and services leaving with their process.

#include <android/binder_host.h>
#include <android/binder_manager.h>
#include <gtest/gtest.h>

#include <atomic>
#include <ostream>
#include <string>

#include "TestObject.h"

namespace {

struct AddRow {
    const char* name;
    std::string instance;
    binder_exception_t injected;  // what the device refuses with, EX_NONE for nothing
    binder_exception_t expected;
    bool nullBinder;
};

void PrintTo(const AddRow& row, std::ostream* os) {
    *os << row.name;
}

class ServiceManagerTest : public ::testing::TestWithParam<AddRow> {
  protected:
    void TearDown() override {
        ABinderHost_setAddServiceFailure(EX_NONE);
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

    ndk::SpAIBinder lookUp(ndk::host::ScopedProcess& from, const std::string& name) {
        return from.run(
                [&] { return ndk::SpAIBinder(AServiceManager_checkService(name.c_str())); });
    }

    ndk::host::ScopedProcess service{"service"};
    ndk::host::ScopedProcess client{"client"};
};

TEST_P(ServiceManagerTest, AddService_WhenNameOrDeviceRefuses_ReturnsExceptionAndAddsNothing) {
    const AddRow& row = GetParam();
    ndk::SpAIBinder object = row.nullBinder ? nullptr : makeServiceObject();
    // Set here, in the default process, for an add made in another: the hook is process-wide.
    ABinderHost_setAddServiceFailure(row.injected);
    const char* instance = row.instance.c_str();
    EXPECT_EQ(row.expected, service.run([&] {
        return AServiceManager_addService(object.get(), instance);
    })) << "name '"
        << row.instance << "'";
    EXPECT_EQ(row.expected == EX_NONE, lookUp(client, row.instance).get() != nullptr)
            << "a refused service was registered, or an accepted one cannot be found";
    if (row.injected != EX_NONE) {
        ABinderHost_setAddServiceFailure(EX_NONE);
        EXPECT_EQ(EX_NONE, AServiceManager_addService(object.get(), instance))
                << "the refusal outlived its clearing";
    }
}

INSTANTIATE_TEST_SUITE_P(
        Adds, ServiceManagerTest,
        ::testing::Values(
                AddRow{"Typical", "vendor.vyr.plim.modem.IModem/instance0", EX_NONE, EX_NONE,
                       false},
                AddRow{"AllAllowedCharacters", "aZ09_-./x", EX_NONE, EX_NONE, false},
                AddRow{"LongestAllowed", std::string(127, 'n'), EX_NONE, EX_NONE, false},
                AddRow{"Empty", "", EX_NONE, EX_ILLEGAL_ARGUMENT, false},
                AddRow{"TooLong", std::string(128, 'n'), EX_NONE, EX_ILLEGAL_ARGUMENT, false},
                AddRow{"Space", "bad name", EX_NONE, EX_ILLEGAL_ARGUMENT, false},
                AddRow{"NonAscii", "modem\xc3\xa9", EX_NONE, EX_ILLEGAL_ARGUMENT, false},
                AddRow{"NullBinder", "plim.test.null", EX_NONE, EX_ILLEGAL_ARGUMENT, true},
                AddRow{"MissingManifestEntry", "plim.test.unlisted", EX_ILLEGAL_ARGUMENT,
                       EX_ILLEGAL_ARGUMENT, false},
                AddRow{"PolicyDenial", "plim.test.denied", EX_SECURITY, EX_SECURITY, false}),
        [](const ::testing::TestParamInfo<AddRow>& info) { return info.param.name; });

TEST_F(ServiceManagerTest, CheckService_FromEachProcess_OwnerGetsObjectOthersGetProxy) {
    const std::string name = uniqueName("owner");
    ndk::SpAIBinder object = makeServiceObject();
    ASSERT_EQ(EX_NONE, AServiceManager_addService(object.get(), name.c_str()));

    ndk::SpAIBinder inClient = lookUp(client, name);
    ndk::SpAIBinder inClientAgain =
            client.run([&] { return ndk::SpAIBinder(AServiceManager_getService(name.c_str())); });
    // Compared with raw binders too, as the device's header allows.
    EXPECT_TRUE(lookUp(service, name) == object.get()) << "the owner must get its object itself";
    ASSERT_TRUE(inClient != nullptr) << "a registered service was not found";
    EXPECT_TRUE(AIBinder_isRemote(inClient.get())) << "another process got the object itself";
    EXPECT_TRUE(inClient == inClientAgain) << "two lookups gave two proxies";
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
