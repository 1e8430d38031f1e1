/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The service manager: what it registers (names, and the refusals a device can make), then over
// each transport what each process gets back, waiting for a service, a registration replaced by
// another process, and services leaving with their process.

#include <android/binder_host.h>
#include <android/binder_manager.h>
#include <android/binder_parcel_utils.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <ostream>
#include <string>
#include <thread>

#include "OtherProcess.h"
#include "TestObject.h"

namespace {

struct AddRow {
    const char* name;
    std::string instance;
    binder_exception_t injected;  // what the device refuses with, EX_NONE for nothing
    binder_exception_t expected;
    bool nullBinder;
    friend void PrintTo(const AddRow& row, std::ostream* os) { *os << row.name; }
};

class ServiceManagerTest : public ::testing::TestWithParam<AddRow> {
  protected:
    void TearDown() override {
        ABinderHost_setAddServiceFailure(EX_NONE);
        ABinderHost_waitForIdle();
        EXPECT_EQ(0u, service.pendingWork()) << "the service process still has work queued";
    }

    ndk::host::ScopedProcess service{"service"};
    ndk::host::ScopedProcess client{"client"};
};

TEST_P(ServiceManagerTest, AddService_WhenNameOrDeviceRefuses_ReturnsExceptionAndAddsNothing) {
    const AddRow& row = GetParam();
    ndk::SpAIBinder object = row.nullBinder ? nullptr : service.run([] {
        return testobject::create([](auto, auto, auto) { return STATUS_OK; });
    });
    // Set here, in the default process, for an add made in another: the hook is process-wide.
    ABinderHost_setAddServiceFailure(row.injected);
    const char* instance = row.instance.c_str();
    EXPECT_EQ(row.expected, service.run([&] {
        return AServiceManager_addService(object.get(), instance);
    })) << "name '"
        << row.instance << "'";
    ndk::SpAIBinder found =
            client.run([&] { return ndk::SpAIBinder(AServiceManager_checkService(instance)); });
    EXPECT_EQ(row.expected == EX_NONE, found.get() != nullptr)
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

class ServiceManagerTransportTest : public TransportTest {
  protected:
    const std::string name = "plim.test.shared/" + std::to_string(getpid());

    // The other process's lookup of name: what it found, and whether a second lookup agreed.
    std::pair<ndk::SpAIBinder, bool> lookUpThere(bool wait) {
        ndk::ScopedAParcel out = askThere(xproc::kLookUp, {wait});
        ndk::SpAIBinder found;
        int32_t same = 0;
        AParcel_readStrongBinder(out.get(), found.getR());
        AParcel_readInt32(out.get(), &same);
        return {found, same != 0};
    }

    binder_exception_t registerThere() {
        int32_t exception = -1;
        AParcel_readInt32(askThere(xproc::kRegister).get(), &exception);
        return exception;
    }

  private:
    // A call to the other process with name and args; its reply (an empty parcel if it failed).
    ndk::ScopedAParcel askThere(transaction_code_t code, std::initializer_list<int32_t> args = {}) {
        ndk::ScopedAParcel in;
        AIBinder_prepareTransaction(other->object().get(), in.getR());
        ndk::AParcel_writeString(in.get(), name);
        for (int32_t arg : args)
            AParcel_writeInt32(in.get(), arg);
        ndk::ScopedAParcel out;
        EXPECT_EQ(STATUS_OK,
                  AIBinder_transact(other->object().get(), code, in.getR(), out.getR(), 0))
                << "the other process did not answer";
        return out.get() != nullptr ? std::move(out) : ndk::ScopedAParcel(AParcel_create());
    }
};

INSTANTIATE_TEST_SUITE_P(Transports, ServiceManagerTransportTest, bothTransports(),
                         transportRowName);

TEST_P(ServiceManagerTransportTest, CheckService_FromEachProcess_OwnerGetsObjectOthersGetProxy) {
    ndk::SpAIBinder object = testobject::create([](auto, auto, auto) { return STATUS_OK; });
    ASSERT_EQ(EX_NONE, AServiceManager_addService(object.get(), name.c_str()));
    // Compared with raw binders too, as the device's header allows.
    EXPECT_TRUE(ndk::SpAIBinder(AServiceManager_checkService(name.c_str())) == object.get())
            << "the owner must get its object itself";
    auto [found, same] = lookUpThere(false);
    // It can come home as itself only if the other process held a proxy for it.
    EXPECT_TRUE(found == object) << "the other process did not find the service";
    EXPECT_TRUE(same) << "two lookups gave the other process two proxies";
}

TEST_P(ServiceManagerTransportTest, WaitForService_WhenRegisteredLater_ReturnsIt) {
    ndk::SpAIBinder object = testobject::create([](auto, auto, auto) { return STATUS_OK; });
    ndk::SpAIBinder found;
    std::thread waiter([&] { found = lookUpThere(true).first; });
    EXPECT_TRUE(eventually([&] { return other->pendingWork() == 1; }))
            << "the other process never started waiting";
    ASSERT_EQ(EX_NONE, AServiceManager_addService(object.get(), name.c_str()));
    waiter.join();
    EXPECT_TRUE(found == object) << "the waiting process did not get the service";
}

TEST_P(ServiceManagerTransportTest, AddService_WhenReplacedByAnotherProcess_OldOneIsLetGo) {
    ndk::SpAIBinder first = testobject::create([](auto, auto, auto) { return STATUS_OK; });
    ndk::ScopedAIBinder_Weak weakFirst(AIBinder_Weak_new(first.get()));
    ASSERT_EQ(EX_NONE, AServiceManager_addService(first.get(), name.c_str()));
    first.set(nullptr);
    ASSERT_EQ(EX_NONE, registerThere()) << "the other process could not register";

    ndk::SpAIBinder now;
    EXPECT_TRUE(eventually([&] {
        now.set(AServiceManager_checkService(name.c_str()));
        return now.get() != nullptr && AIBinder_isRemote(now.get());
    })) << "the second registration did not replace the first";
    AIBinder_associateClass(now.get(), testobject::objectClass());
    EXPECT_EQ(STATUS_OK, testobject::callInt(now, xproc::kEcho, 1)) << "the new one is reachable";
    EXPECT_TRUE(eventually([&] { return weakFirst.promote().get() == nullptr; }))
            << "the replaced registration is still held by its old owner";
}

TEST_P(ServiceManagerTransportTest, CheckService_WhenOwnerKilled_ServiceGone) {
    ASSERT_EQ(EX_NONE, registerThere()) << "the other process could not register";
    EXPECT_NE(nullptr, ndk::SpAIBinder(AServiceManager_checkService(name.c_str())).get())
            << "a registered service was not found";
    ASSERT_TRUE(other->kill());
    EXPECT_EQ(nullptr, ndk::SpAIBinder(AServiceManager_checkService(name.c_str())).get())
            << "a dead process's service is still handed out";
}

}  // namespace
