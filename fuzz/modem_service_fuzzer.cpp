/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Arbitrary transactions to the daemon's IModem service, from a client process as a device would
// see them: the daemon's library runs here as the daemon runs it (its main thread makes the
// components, the clients work on the simulated modem, the service is registered with its own
// binder pool), and a simulated client process sends transactions through a proxy.
//
// Input: up to kMaxTransactions transactions, each: the code (IModem's methods, the interface's
// meta transactions, or any 32-bit value), oneway or not, with or without the interface token,
// then up to kMaxValues parcel values (integers, byte arrays, strings, and binders: the client's
// response or indication object, the service itself, or null), so setCallback gets null, right
// and wrong binders alike. After the transactions everything settles: the binder processes, the
// main looper and the modem library.
//
// Checks: every response the client receives says type 0 and an error in 0..5; and the daemon
// still answers: with the client's callback registered, a getOperatingMode of a serial of its own
// gets exactly one respondGetOperatingMode.
//
// Host only: the modem is the simulator (these requests would write NV items, delete
// configurations and reboot a real modem) and the host binder's idle hooks let each input settle.

#include <aidl/vendor/vyr/plim/modem/BnModemIndication.h>
#include <aidl/vendor/vyr/plim/modem/IModem.h>
#include <android/binder_host.h>
#include <android/binder_ibinder.h>
#include <android/binder_manager.h>
#include <android/binder_parcel.h>
#include <android/log.h>
#include <fuzzer/FuzzedDataProvider.h>
#include <modem_sim/ModemSimControl.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <plim/Errno.h>

#include "ComponentFactory.h"
#include "FuzzCheck.h"
#include "LoopThread.h"
#include "RecordingResponse.h"

namespace {

using aidl::vendor::vyr::plim::modem::BnModemIndication;
using aidl::vendor::vyr::plim::modem::IModem;
using aidl::vendor::vyr::plim::modem::IModemIndication;
using com::vyr::plim::fuzz::RecordingResponse;
using com::vyr::plim::fuzz::ResponseCall;

constexpr int kInstance = 0;
constexpr size_t kMaxTransactions = 8;
constexpr size_t kMaxValues = 12;
// IModem's methods are FIRST_CALL_TRANSACTION + 0..41; a few more codes past them are unknown.
constexpr uint32_t kMethodCodes = 45;
constexpr transaction_code_t kMetaCodes[] = {FIRST_CALL_TRANSACTION + 16777214,
                                             FIRST_CALL_TRANSACTION + 16777213};

class QuietIndication : public BnModemIndication {};

/** The daemon's main thread: its looper runs until the process ends, as on a device. */
class MainThread {
  public:
    /** Runs `task` on the main thread after everything queued before it, and waits for it. */
    void run(const std::function<void()>& task) {
        std::promise<void> done;
        CHECK(loop_.post([&] {
            task();
            done.set_value();
        }) == 0);
        done.get_future().wait();
    }

  private:
    com::vyr::plim::test::LoopThread loop_;
};

MainThread* mainThread;
ndk::host::ScopedProcess* client;
ndk::SpAIBinder service;  // the client's proxy
std::shared_ptr<IModem> modem;
std::shared_ptr<RecordingResponse> response;
std::shared_ptr<QuietIndication> indication;
int32_t nextSerial = 0x40000000;

/** Waits until nothing is queued or running where the daemon's work travels. */
void settle() {
    // Work hops between them (a request queues a message, its handler calls the library, the
    // answer is a binder call, an event binds a subscription): a few rounds let every chain end.
    for (int round = 0; round < 3; ++round) {
        ABinderHost_waitForIdle();
        mainThread->run([] {});
        CHECK(modemsim::Control::waitForIdle());
    }
}

void writeValue(FuzzedDataProvider& in, AParcel* parcel) {
    switch (in.ConsumeIntegralInRange<int>(0, 6)) {
        case 0:
            AParcel_writeInt32(parcel, in.ConsumeIntegral<int32_t>());
            break;
        case 1:
            AParcel_writeInt64(parcel, in.ConsumeIntegral<int64_t>());
            break;
        case 2: {
            // A length that may lie about the bytes that follow.
            const int32_t length = in.ConsumeBool() ? in.ConsumeIntegralInRange<int32_t>(-2, 600)
                                                    : in.ConsumeIntegral<int32_t>();
            AParcel_writeInt32(parcel, length);
            const std::vector<uint8_t> bytes =
                    in.ConsumeBytes<uint8_t>(in.ConsumeIntegralInRange<size_t>(0, 1200));
            for (size_t i = 0; i < bytes.size(); i += 4) {
                uint32_t word = 0;
                for (size_t j = 0; j < 4 && i + j < bytes.size(); ++j) {
                    word |= static_cast<uint32_t>(bytes[i + j]) << (8 * j);
                }
                AParcel_writeUint32(parcel, word);
            }
            break;
        }
        case 3: {
            const std::vector<int8_t> bytes =
                    in.ConsumeBytes<int8_t>(in.ConsumeIntegralInRange<size_t>(0, 11000));
            AParcel_writeByteArray(parcel, bytes.data(), static_cast<int32_t>(bytes.size()));
            break;
        }
        case 4: {
            const std::string text = in.ConsumeRandomLengthString(128);
            AParcel_writeString(parcel, text.c_str(), static_cast<int32_t>(text.size()));
            break;
        }
        case 5:
            AParcel_writeByteArray(parcel, nullptr, -1);
            break;
        default:
            switch (in.ConsumeIntegralInRange<int>(0, 3)) {
                case 0:
                    AParcel_writeStrongBinder(parcel, response->asBinder().get());
                    break;
                case 1:
                    AParcel_writeStrongBinder(parcel, indication->asBinder().get());
                    break;
                case 2:
                    AParcel_writeStrongBinder(parcel, service.get());
                    break;
                default:
                    AParcel_writeStrongBinder(parcel, nullptr);
                    break;
            }
            break;
    }
}

/** One transaction made of the input; in the client's process. */
void transact(FuzzedDataProvider& in) {
    transaction_code_t code;
    switch (in.ConsumeIntegralInRange<int>(0, 7)) {
        case 0:
            code = kMetaCodes[in.ConsumeIntegralInRange<size_t>(0, 1)];
            break;
        case 1:
            code = in.ConsumeIntegral<uint32_t>();
            break;
        default:
            code = FIRST_CALL_TRANSACTION + in.ConsumeIntegralInRange<uint32_t>(0, kMethodCodes);
            break;
    }
    const binder_flags_t flags = in.ConsumeBool() ? FLAG_ONEWAY : 0;
    AParcel* parcel = nullptr;
    CHECK(AIBinder_prepareTransaction(service.get(), &parcel) == STATUS_OK);
    if (in.ConsumeIntegralInRange<int>(0, 7) == 0) {
        AParcel_reset(parcel);  // no interface token
    }
    const size_t values = in.ConsumeIntegralInRange<size_t>(0, kMaxValues);
    for (size_t i = 0; i < values && in.remaining_bytes() > 0; ++i) {
        writeValue(in, parcel);
    }
    AParcel* reply = nullptr;
    const binder_status_t status = AIBinder_transact(service.get(), code, &parcel, &reply, flags);
    CHECK(status != STATUS_DEAD_OBJECT);
    AParcel_delete(reply);
}

/** The daemon answers a request of the client's, with the client's callback in place. */
void checkAnswers() {
    const int32_t serial = nextSerial++;
    client->run([&] {
        CHECK(modem->setCallback(response, indication).isOk());
        CHECK(modem->getOperatingMode(serial).isOk());
    });
    settle();
    int answers = 0;
    for (const ResponseCall& call : response->take()) {
        CHECK(call.info.type == 0);
        CHECK(call.info.error >= 0 && call.info.error <= 5);
        if (call.info.serial == serial) {
            CHECK(call.method == "respondGetOperatingMode");
            ++answers;
        }
    }
    CHECK(answers == 1);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    // Every request is logged; at fuzzing rates that drowns libFuzzer's own output.
    __android_log_set_minimum_priority(ANDROID_LOG_FATAL);
    modemsim::Control::setConnectDelay(std::chrono::milliseconds(0));
    modemsim::Control::setRebootDowntime(std::chrono::milliseconds(0));

    mainThread = new MainThread();
    int made = -1;
    mainThread->run(
            [&] { made = com::vyr::plim::modem::ComponentFactory::getInstance().make(kInstance); });
    CHECK(made == com::vyr::plim::OK);
    settle();

    client = new ndk::host::ScopedProcess("fuzz-client");
    client->startThreadPool(1);
    client->run([] {
        const std::string name =
                std::string(IModem::descriptor) + "/instance" + std::to_string(kInstance);
        service = ndk::SpAIBinder(AServiceManager_checkService(name.c_str()));
        CHECK(service.get() != nullptr && AIBinder_isRemote(service.get()));
        modem = IModem::fromBinder(service);
        CHECK(modem != nullptr);
        // Made in the client's process, so that the daemon reaches them through proxies.
        response = ndk::SharedRefBase::make<RecordingResponse>();
        indication = ndk::SharedRefBase::make<QuietIndication>();
        response->asBinder();
        indication->asBinder();
    });
    checkAnswers();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    client->run([&] {
        for (size_t i = 0; i < kMaxTransactions && in.remaining_bytes() > 0; ++i) {
            transact(in);
        }
    });
    settle();
    checkAnswers();
    return 0;
}
