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

#include <ostream>
#include <string>
#include <thread>

#include "OtherProcess.h"
#include "TestObject.h"
#include "XprocProtocol.h"

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

class ServiceManagerTransportTest : public TwoProcessTest,
                                    public ::testing::WithParamInterface<TransportKind> {
  protected:
    void SetUp() override { startOther(GetParam()); }

    // The other process's lookup of name: what it found, and whether a second lookup agreed.
    std::pair<ndk::SpAIBinder, bool> lookUpThere(const std::string& name, bool wait) {
        ndk::ScopedAParcel in;
        AIBinder_prepareTransaction(other->object().get(), in.getR());
        ndk::AParcel_writeString(in.get(), name);
        AParcel_writeInt32(in.get(), wait);
        ndk::ScopedAParcel out;
        ndk::SpAIBinder found;
        int32_t same = 0;
        EXPECT_EQ(STATUS_OK, AIBinder_transact(other->object().get(), xproc::kLookUp, in.getR(),
                                               out.getR(), 0));
        AParcel_readStrongBinder(out.get(), found.getR());
        AParcel_readInt32(out.get(), &same);
        return {found, same != 0};
    }

    binder_exception_t registerThere(const std::string& name) {
        ndk::ScopedAParcel in;
        AIBinder_prepareTransaction(other->object().get(), in.getR());
        ndk::AParcel_writeString(in.get(), name);
        ndk::ScopedAParcel out;
        int32_t exception = -1;
        if (AIBinder_transact(other->object().get(), xproc::kRegister, in.getR(), out.getR(), 0) ==
            STATUS_OK)
            AParcel_readInt32(out.get(), &exception);
        return exception;
    }

    const std::string name = uniqueName("shared");

    static std::string uniqueName(const char* base) {
        return std::string("plim.test.") + base + "/" + std::to_string(getpid());
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
    auto [found, same] = lookUpThere(name, false);
    // It can come home as itself only if the other process held a proxy for it.
    EXPECT_TRUE(found == object) << "the other process did not find the service";
    EXPECT_TRUE(same) << "two lookups gave the other process two proxies";
}

TEST_P(ServiceManagerTransportTest, WaitForService_WhenRegisteredLater_ReturnsIt) {
    ndk::SpAIBinder object = testobject::create([](auto, auto, auto) { return STATUS_OK; });
    ndk::SpAIBinder found;
    std::thread waiter([&] { found = lookUpThere(name, true).first; });
    EXPECT_TRUE(eventually([&] {
        AParcel* reply = nullptr;
        int32_t pending = 0;
        if (callWith(other->object(), xproc::kPending, {}, &reply) == STATUS_OK)
            AParcel_readInt32(reply, &pending);
        AParcel_delete(reply);
        return pending == 1;
    })) << "the other process never started waiting";
    ASSERT_EQ(EX_NONE, AServiceManager_addService(object.get(), name.c_str()));
    waiter.join();
    EXPECT_TRUE(found == object) << "the waiting process did not get the service";
}

TEST_P(ServiceManagerTransportTest, AddService_WhenReplacedByAnotherProcess_OldOneIsLetGo) {
    ndk::SpAIBinder first = testobject::create([](auto, auto, auto) { return STATUS_OK; });
    ndk::ScopedAIBinder_Weak weakFirst(AIBinder_Weak_new(first.get()));
    ASSERT_EQ(EX_NONE, AServiceManager_addService(first.get(), name.c_str()));
    first.set(nullptr);
    ASSERT_EQ(EX_NONE, registerThere(name)) << "the other process could not register";

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
    ASSERT_EQ(EX_NONE, registerThere(name)) << "the other process could not register";
    EXPECT_NE(nullptr, ndk::SpAIBinder(AServiceManager_checkService(name.c_str())).get())
            << "a registered service was not found";
    ASSERT_TRUE(other->kill());
    EXPECT_EQ(nullptr, ndk::SpAIBinder(AServiceManager_checkService(name.c_str())).get())
            << "a dead process's service is still handed out";
}

}  // namespace
