/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The vendor-specific service: the storage limits; keys that fill their buffer, in request order;
// tampered replies; replies on two threads. What the daemon's requests set and read back, and
// the modem's reboot, are tested through the daemon.

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "ModemSimTest.h"

using modemsim::Control;
using modemsim::ReplyTamper;
using namespace std::chrono_literals;

namespace {

using Bytes = std::vector<uint8_t>;
constexpr int32_t kVs = MODEM_API_SERVICE_VS;
constexpr size_t kRecordSize = sizeof(modem_api_async_response);
const char kBuildTime[] = "2026-11-02 09:41:17";

// The replies one call (or a few) received, by user data.
struct Replies {
    struct Reply {
        bool nullRecord;
        unsigned long length;
        Bytes bytes;  // every byte the length claims
        modem_api_result_type result;
        std::thread::id thread{};
        bool onLibraryThread = false;
    };
    std::mutex mutex;
    std::condition_variable arrived;
    std::vector<Reply> received;

    static void callback(const void* data, unsigned long len, void* userData,
                         modem_api_result_type result) {
        const auto* bytes = static_cast<const uint8_t*>(data);
        Reply reply{data == nullptr, len, data ? Bytes(bytes, bytes + len) : Bytes(), result};
        reply.thread = std::this_thread::get_id();
        reply.onLibraryThread = Control::isLibraryThread();
        auto* self = static_cast<Replies*>(userData);
        std::lock_guard<std::mutex> lock(self->mutex);
        self->received.push_back(std::move(reply));
        self->arrived.notify_all();
    }
    std::vector<Reply> waitFor(size_t count) {
        std::unique_lock<std::mutex> lock(mutex);
        arrived.wait_for(lock, 10s, [&] { return received.size() >= count; });
        return received;
    }
};

Bytes lengthAndText(const std::string& text) {
    Bytes bytes{static_cast<uint8_t>(text.size()), 0, 0, 0};
    bytes.insert(bytes.end(), text.begin(), text.end());
    return bytes;
}

bool payloadStarts(const Bytes& record, const Bytes& expected) {
    return record.size() >= 8 + expected.size() &&
           std::equal(expected.begin(), expected.end(), record.begin() + 8);
}

// ---- NV and EFS: exact limits, byte-for-byte round trip, no overflow, delete once -----------

struct StoreRow {
    const char* name;
    bool efs;
    size_t size;
    modem_api_result_type written;
};

modem_api_result_type write(bool efs, const Bytes& data) {
    return efs ? modem_write_efs_for_subid(1, 70, data.data(), data.size())
               : modem_write_nv_for_subid(1, 70, data.data(), data.size());
}
modem_api_result_type read(bool efs, uint8_t* buf, size_t* len) {
    return efs ? modem_read_efs_for_subid(1, 70, buf, len)
               : modem_read_nv_for_subid(1, 70, 0, buf, len);
}

class StoreTest : public ModemSimTest<::testing::TestWithParam<StoreRow>> {};

TEST_P(StoreTest, WriteThenRead_AtSizeLimits_RoundTripsOrRefusesAndNeverOverflows) {
    const StoreRow& row = GetParam();
    startLibrary();
    connect({kVs});
    Bytes data(row.size);
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<uint8_t>(i * 7 + 1);
    ASSERT_EQ(row.written, write(row.efs, data)) << "the size limit is off";
    // Buffers of exactly the capacity, on the heap, so a write past them is a sanitizer fault.
    auto exact = std::make_unique<uint8_t[]>(row.size + 1);
    size_t length = row.size;
    const modem_api_result_type stored = row.written == 0 ? 0 : MODEM_API_INVALID_ARGUMENT;
    ASSERT_EQ(stored, read(row.efs, exact.get(), &length))
            << "a refused write kept, or a kept lost";
    if (stored != MODEM_API_SUCCESS)
        return;
    EXPECT_EQ(data, Bytes(exact.get(), exact.get() + length)) << "not read back byte for byte";
    auto tooSmall = std::make_unique<uint8_t[]>(row.size - 1);
    length = row.size - 1;
    EXPECT_EQ(MODEM_API_NO_MEMORY, read(row.efs, tooSmall.get(), &length)) << "read past capacity";
    EXPECT_EQ(row.size, length) << "a too-small buffer must be told the length needed";
    if (row.efs) {
        EXPECT_EQ(MODEM_API_SUCCESS, modem_del_efs_for_subid(1, 70)) << "delete failed";
        EXPECT_EQ(MODEM_API_INVALID_ARGUMENT, modem_del_efs_for_subid(1, 70)) << "deleted twice";
        EXPECT_EQ(MODEM_API_INVALID_ARGUMENT, read(true, exact.get(), &length)) << "delete kept it";
    }
}

const StoreRow kStoreRows[] = {
        {"Nv512", false, 512, MODEM_API_SUCCESS},
        {"Nv513", false, 513, MODEM_API_INVALID_ARGUMENT},
        {"NvEmpty", false, 0, MODEM_API_INVALID_ARGUMENT},
        {"Efs10240", true, 10240, MODEM_API_SUCCESS},
        {"Efs10241", true, 10241, MODEM_API_INVALID_ARGUMENT},
};
INSTANTIATE_TEST_SUITE_P(Sizes, StoreTest, ::testing::ValuesIn(kStoreRows), RowName());

// ---- Property keys: 51 characters fit the 52-byte buffer; 52 without terminator do not ------

class PropertyKeyTest : public ModemSimTest<::testing::TestWithParam<size_t>> {};

TEST_P(PropertyKeyTest, PropertyCalls_WithKeyLength_AcceptUpTo51AndReadNoFurther) {
    const size_t keyLength = GetParam();
    const bool fits = keyLength < MODEM_PROPERTY_KEY_BUFFER_SIZE;
    const modem_api_result_type expected = fits ? 0 : MODEM_API_INVALID_ARGUMENT;
    startLibrary();
    connect({kVs});
    // Exactly the buffer, on the heap: a read past it is a sanitizer fault.
    auto key = std::make_unique<char[]>(MODEM_PROPERTY_KEY_BUFFER_SIZE);
    std::memset(key.get(), 'k', MODEM_PROPERTY_KEY_BUFFER_SIZE);
    if (fits)
        key[keyLength] = '\0';
    modem_api_property_record record{};
    std::memset(record.key, 'k', keyLength);
    record.key_len = static_cast<uint32_t>(keyLength);
    std::strcpy(record.value, "v1");
    record.value_len = 2;

    Replies set, got, gone;
    EXPECT_EQ(expected, modem_api_set_modem_property(&record, &set, Replies::callback))
            << "the key length limit of the record is off";
    // Not waiting for the set: the modem must process requests in order, whichever reply
    // thread answers first.
    EXPECT_EQ(expected, modem_api_get_modem_property(key.get(), &got, Replies::callback))
            << "the key length limit of get is off";
    ASSERT_TRUE(Control::waitForIdle()) << "the replies never came";
    EXPECT_EQ(expected, modem_api_delete_modem_property_sync(key.get())) << "delete's limit off";
    EXPECT_EQ(MODEM_API_INVALID_ARGUMENT, modem_api_delete_modem_property_sync(key.get()))
            << "deleting a missing property succeeded";
    EXPECT_EQ(expected, modem_api_get_modem_property(key.get(), &gone, Replies::callback));
    if (!fits)
        return;
    const auto setReply = set.waitFor(1), gotReply = got.waitFor(1), goneReply = gone.waitFor(1);
    ASSERT_EQ(1u, setReply.size()) << "set was not answered once";
    EXPECT_EQ(0, setReply[0].result) << "a valid set failed";
    ASSERT_EQ(1u, gotReply.size()) << "get was not answered once";
    EXPECT_EQ(0, gotReply[0].result) << "get overtook the set before it";
    EXPECT_TRUE(payloadStarts(gotReply[0].bytes, {'v', '1', 0})) << "value not zero-terminated";
    ASSERT_EQ(1u, goneReply.size()) << "get after delete was not answered once";
    EXPECT_EQ(MODEM_API_INVALID_ARGUMENT, goneReply[0].result) << "a deleted property was found";
}

INSTANTIATE_TEST_SUITE_P(Lengths, PropertyKeyTest, ::testing::Values(51, 52),
                         [](const auto& info) { return "Key" + std::to_string(info.param); });

// ---- Tampered replies ------------------------------------------------------------------------

struct TamperRow {
    const char* name;
    ReplyTamper tamper;
    int skip;
};

class TamperTest : public ModemSimTest<::testing::TestWithParam<TamperRow>> {};

TEST_P(TamperTest, TamperNextReplies_AfterSkip_AltersExactlyOneReplyAsPlanned) {
    const ReplyTamper& tamper = GetParam().tamper;
    const int skip = GetParam().skip;
    startLibrary();
    connect({kVs});
    Control::tamperNextReplies("modem_get_build_time", 1, tamper, skip);
    for (int i = 0; i < skip + 2; ++i) {
        Replies replies;
        ASSERT_EQ(MODEM_API_SUCCESS, modem_get_build_time(&replies, Replies::callback));
        const auto received = replies.waitFor(1);
        ASSERT_EQ(1u, received.size()) << "reply " << i << " lost or doubled";
        const Replies::Reply& reply = received[0];
        const ReplyTamper applied = i == skip ? tamper : ReplyTamper{};
        EXPECT_EQ(applied.nullRecord, reply.nullRecord) << "reply " << i << ": null or not";
        EXPECT_EQ(applied.length.value_or(kRecordSize), reply.length) << "reply " << i << ": len";
        EXPECT_EQ(int32_t(applied.result.value_or(0)), reply.result) << "reply " << i << ": result";
        if (reply.nullRecord)
            continue;
        uint32_t word;
        std::memcpy(&word, reply.bytes.data() + 4, sizeof(word));
        EXPECT_EQ(uint32_t(reply.result), word) << "record's result word differs from argument";
        Bytes payload = applied.payload.value_or(lengthAndText(kBuildTime));
        payload.resize(24);  // zeros follow, in a replaced payload too
        EXPECT_TRUE(payloadStarts(reply.bytes, payload)) << "reply " << i << ": payload";
        EXPECT_TRUE(std::all_of(reply.bytes.begin() + std::min(reply.bytes.size(), kRecordSize),
                                reply.bytes.end(), [](uint8_t byte) { return byte == 0; }))
                << "bytes past the record must be zero";
    }
}

const TamperRow kTamperRows[] = {
        {"Length549Extended", {{}, {}, 549, false}, 0},
        {"Length547", {{}, {}, 547, false}, 0},
        {"NullRecord", {{}, {}, {}, true}, 0},
        {"ResultOverride", {5, {}, {}, false}, 0},
        {"PayloadOverride", {{}, Bytes{1, 2, 3}, {}, false}, 0},
        {"SkipTwo", {9, {}, {}, false}, 2},
};
INSTANTIATE_TEST_SUITE_P(Tampers, TamperTest, ::testing::ValuesIn(kTamperRows), RowName());

// ---- Single cases ----------------------------------------------------------------------------

class VsServiceTest : public ModemSimTest<> {};

TEST_F(VsServiceTest, AsyncReplies_WhenSeveralPending_ComeOnTwoLibraryThreads) {
    startLibrary();
    connect({kVs});
    Replies replies;
    for (int i = 0; i < 4; ++i)
        ASSERT_EQ(0, modem_get_build_time(&replies, Replies::callback)) << "call " << i;
    const auto received = replies.waitFor(4);
    ASSERT_EQ(4u, received.size()) << "a reply was lost";
    std::set<std::thread::id> threads;
    for (const Replies::Reply& reply : received) {
        EXPECT_TRUE(reply.onLibraryThread) << "a reply ran on the caller's or another thread";
        threads.insert(reply.thread);
    }
    EXPECT_EQ(2u, threads.size()) << "replies must alternate between two threads";
}

}  // namespace
