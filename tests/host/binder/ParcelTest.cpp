/*
 * Copyright (C) 2026 The plim-modem developers
 */

// AParcel as a byte buffer: every type the modem interface uses comes back as written, in order
// and aligned; short, mistyped and hostile data fail the read with a status, without reading past
// the data or allocating what the data cannot hold.

#include <aidl/vendor/vyr/plim/modem/ResponseInfo.h>
#include <android/binder_parcel_utils.h>
#include <gtest/gtest.h>

#include <ostream>

#include <climits>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "TestObject.h"

namespace {

using aidl::vendor::vyr::plim::modem::ResponseInfo;

class ParcelTest : public ::testing::Test {
  protected:
    void TearDown() override {
        // Every test reads what it wrote: leftovers mean a write or read of the wrong size.
        EXPECT_EQ(AParcel_getDataPosition(parcel.get()), AParcel_getDataSize(parcel.get()))
                << "the reads did not consume exactly what was written";
    }

    // Rewinds for reading.
    void rewind() { ASSERT_EQ(STATUS_OK, AParcel_setDataPosition(parcel.get(), 0)); }

    // Replaces the parcel's data with raw bytes, as a hostile peer could send them.
    void setRaw(const std::vector<uint8_t>& bytes) {
        ASSERT_EQ(STATUS_OK, AParcel_unmarshal(parcel.get(), bytes.data(), bytes.size()));
    }

    ndk::ScopedAParcel parcel{AParcel_create()};
};

std::vector<uint8_t> int32Bytes(int32_t value) {
    std::vector<uint8_t> bytes(4);
    std::memcpy(bytes.data(), &value, 4);
    return bytes;
}

std::vector<uint8_t> concat(std::initializer_list<std::vector<uint8_t>> parts) {
    std::vector<uint8_t> all;
    for (const auto& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

TEST_F(ParcelTest, RoundTrip_WhenMixedScalarsWritten_ReadBackInOrder) {
    const int8_t bytes[] = {INT8_MIN, -1, 0, 1, INT8_MAX};
    ASSERT_EQ(STATUS_OK, AParcel_writeInt32(parcel.get(), INT32_MIN));
    for (int8_t b : bytes)
        ASSERT_EQ(STATUS_OK, AParcel_writeByte(parcel.get(), b));
    ASSERT_EQ(STATUS_OK, AParcel_writeBool(parcel.get(), true));
    ASSERT_EQ(STATUS_OK, AParcel_writeBool(parcel.get(), false));
    ASSERT_EQ(STATUS_OK, AParcel_writeInt64(parcel.get(), INT64_MIN + 7));
    ASSERT_EQ(STATUS_OK, AParcel_writeInt32(parcel.get(), INT32_MAX));
    rewind();

    int32_t i32 = 0;
    ASSERT_EQ(STATUS_OK, AParcel_readInt32(parcel.get(), &i32));
    EXPECT_EQ(INT32_MIN, i32) << "int32 lost bits";
    for (int8_t expected : bytes) {
        int8_t b = 0;
        ASSERT_EQ(STATUS_OK, AParcel_readByte(parcel.get(), &b));
        EXPECT_EQ(expected, b) << "a byte lost its sign or took the wrong slot";
    }
    bool flag = false;
    ASSERT_EQ(STATUS_OK, AParcel_readBool(parcel.get(), &flag));
    EXPECT_TRUE(flag) << "true came back false";
    ASSERT_EQ(STATUS_OK, AParcel_readBool(parcel.get(), &flag));
    EXPECT_FALSE(flag) << "false came back true";
    int64_t i64 = 0;
    ASSERT_EQ(STATUS_OK, AParcel_readInt64(parcel.get(), &i64));
    EXPECT_EQ(INT64_MIN + 7, i64) << "int64 lost bits";
    ASSERT_EQ(STATUS_OK, AParcel_readInt32(parcel.get(), &i32));
    EXPECT_EQ(INT32_MAX, i32) << "the value after the int64 is misaligned";
}

// Byte arrays of every padding remainder, each followed by a sentinel that must stay aligned.
class ByteArrayRoundTripTest : public ParcelTest, public ::testing::WithParamInterface<size_t> {};

TEST_P(ByteArrayRoundTripTest, RoundTrip_WhenByteArrayWritten_SameBytesAndNextValueAligned) {
    std::vector<uint8_t> written(GetParam());
    for (size_t i = 0; i < written.size(); ++i)
        written[i] = static_cast<uint8_t>(i * 7 + 3);
    ASSERT_EQ(STATUS_OK, ndk::AParcel_writeVector(parcel.get(), written));
    ASSERT_EQ(STATUS_OK, AParcel_writeInt32(parcel.get(), 0x5a5a5a5a));
    rewind();

    std::vector<uint8_t> read{9, 9};  // stale contents must be replaced
    ASSERT_EQ(STATUS_OK, ndk::AParcel_readVector(parcel.get(), &read));
    EXPECT_EQ(written, read) << "byte[] of " << GetParam() << " bytes changed on the way";
    int32_t sentinel = 0;
    ASSERT_EQ(STATUS_OK, AParcel_readInt32(parcel.get(), &sentinel));
    EXPECT_EQ(0x5a5a5a5a, sentinel) << "padding after " << GetParam() << " bytes is wrong";
}

INSTANTIATE_TEST_SUITE_P(Sizes, ByteArrayRoundTripTest,
                         ::testing::Values(0, 1, 2, 3, 4, 5, 1023, 256 * 1024),
                         [](const ::testing::TestParamInfo<size_t>& info) {
                             return "Bytes" + std::to_string(info.param);
                         });

struct StringCase {
    const char* name;
    std::string value;
};

// Names the case in test listings (the default would print its raw bytes).
void PrintTo(const StringCase& c, std::ostream* os) {
    *os << c.name;
}

class StringRoundTripTest : public ParcelTest, public ::testing::WithParamInterface<StringCase> {};

TEST_P(StringRoundTripTest, RoundTrip_WhenStringWritten_SameStringAndNextValueAligned) {
    const std::string& written = GetParam().value;
    ASSERT_EQ(STATUS_OK, ndk::AParcel_writeString(parcel.get(), written));
    ASSERT_EQ(STATUS_OK, AParcel_writeInt32(parcel.get(), 77));
    rewind();

    std::string read = "stale";
    ASSERT_EQ(STATUS_OK, ndk::AParcel_readString(parcel.get(), &read));
    EXPECT_EQ(written, read) << "string changed on the way";
    int32_t sentinel = 0;
    ASSERT_EQ(STATUS_OK, AParcel_readInt32(parcel.get(), &sentinel));
    EXPECT_EQ(77, sentinel) << "padding after the string is wrong";
}

INSTANTIATE_TEST_SUITE_P(
        Values, StringRoundTripTest,
        ::testing::Values(StringCase{"Empty", ""}, StringCase{"ThreeBytes", "abc"},
                          StringCase{"FourBytes", "abcd"},
                          StringCase{"MultiByte",
                                     "Gr\xc3\xbc\xc3\x9f \xe2\x82\xac \xf0\x9f\x93\xb6"},
                          StringCase{"EmbeddedNul", std::string("a\0b", 3)},
                          StringCase{"Long", std::string(70000, 'x')}),
        [](const ::testing::TestParamInfo<StringCase>& info) { return info.param.name; });

TEST_F(ParcelTest, RoundTrip_WhenStringArraysWritten_SameElementsInOrder) {
    const std::vector<std::string> empty;
    const std::vector<std::string> names{"mbn_a", "", "\xe2\x82\xac", std::string(5, 'z')};
    ASSERT_EQ(STATUS_OK, ndk::AParcel_writeVector(parcel.get(), empty));
    ASSERT_EQ(STATUS_OK, ndk::AParcel_writeVector(parcel.get(), names));
    rewind();

    std::vector<std::string> read{"stale"};
    ASSERT_EQ(STATUS_OK, ndk::AParcel_readVector(parcel.get(), &read));
    EXPECT_TRUE(read.empty()) << "an empty String[] came back with elements";
    ASSERT_EQ(STATUS_OK, ndk::AParcel_readVector(parcel.get(), &read));
    EXPECT_EQ(names, read) << "String[] elements changed or moved";
}

TEST_F(ParcelTest, RoundTrip_WhenNullablesAreNull_ReadBackNull) {
    ASSERT_EQ(STATUS_OK, ndk::AParcel_writeString(parcel.get(), std::optional<std::string>()));
    ASSERT_EQ(STATUS_OK,
              ndk::AParcel_writeVector(parcel.get(), std::optional<std::vector<uint8_t>>()));
    ASSERT_EQ(STATUS_OK, ndk::AParcel_writeNullableStrongBinder(parcel.get(), nullptr));
    ASSERT_EQ(STATUS_OK, ndk::AParcel_writeString(parcel.get(), std::optional<std::string>("")));
    rewind();

    std::optional<std::string> str = "stale";
    ASSERT_EQ(STATUS_OK, ndk::AParcel_readString(parcel.get(), &str));
    EXPECT_FALSE(str.has_value()) << "a null string came back as a value";
    std::optional<std::vector<uint8_t>> bytes = std::vector<uint8_t>{1};
    ASSERT_EQ(STATUS_OK, ndk::AParcel_readVector(parcel.get(), &bytes));
    EXPECT_FALSE(bytes.has_value()) << "a null byte[] came back as a value";
    ndk::SpAIBinder binder;
    ASSERT_EQ(STATUS_OK, ndk::AParcel_readNullableStrongBinder(parcel.get(), &binder));
    EXPECT_EQ(nullptr, binder.get()) << "a null binder came back as an object";
    ASSERT_EQ(STATUS_OK, ndk::AParcel_readString(parcel.get(), &str));
    EXPECT_EQ(std::optional<std::string>(""), str) << "an empty string was taken for null";
}

TEST_F(ParcelTest, RoundTrip_WhenBinderWrittenInSameProcess_SameObject) {
    ndk::SpAIBinder object = testobject::create([](auto, auto, auto) { return STATUS_OK; });
    ASSERT_EQ(STATUS_OK, ndk::AParcel_writeRequiredStrongBinder(parcel.get(), object));
    rewind();

    ndk::SpAIBinder read;
    ASSERT_EQ(STATUS_OK, ndk::AParcel_readRequiredStrongBinder(parcel.get(), &read));
    EXPECT_EQ(object.get(), read.get()) << "a binder read in its own process must be itself";
    EXPECT_FALSE(AIBinder_isRemote(read.get())) << "a local object became a proxy";
}

TEST_F(ParcelTest, RoundTrip_WhenParcelableWritten_FieldsBackAndRestSkipped) {
    ResponseInfo info;
    info.type = 0;
    info.serial = -42;
    info.error = 4;
    ASSERT_EQ(STATUS_OK, info.writeToParcel(parcel.get()));
    ASSERT_EQ(STATUS_OK, AParcel_writeInt32(parcel.get(), 99));
    rewind();

    ResponseInfo read{1, 2, 3};
    ASSERT_EQ(STATUS_OK, read.readFromParcel(parcel.get()));
    EXPECT_EQ(0, read.type) << "type changed on the way";
    EXPECT_EQ(-42, read.serial) << "serial changed on the way";
    EXPECT_EQ(4, read.error) << "error changed on the way";
    int32_t after = 0;
    ASSERT_EQ(STATUS_OK, AParcel_readInt32(parcel.get(), &after));
    EXPECT_EQ(99, after) << "the parcelable's size field does not cover it exactly";
}

// A malformed input and the status its read must fail with.
struct MalformedCase {
    const char* name;
    std::vector<uint8_t> bytes;
    binder_status_t expected;
    // Reads one value of the type under test.
    binder_status_t (*read)(const AParcel*);
};

// Names the case in test listings (the default would print its raw bytes).
void PrintTo(const MalformedCase& c, std::ostream* os) {
    *os << c.name;
}

binder_status_t readInt32(const AParcel* p) {
    int32_t v;
    return AParcel_readInt32(p, &v);
}
binder_status_t readInt64(const AParcel* p) {
    int64_t v;
    return AParcel_readInt64(p, &v);
}
binder_status_t readString(const AParcel* p) {
    std::string v;
    return ndk::AParcel_readString(p, &v);
}
binder_status_t readBytes(const AParcel* p) {
    std::vector<uint8_t> v;
    binder_status_t status = ndk::AParcel_readVector(p, &v);
    // A failed read must not have sized anything for the claimed length.
    return status != STATUS_OK && v.capacity() != 0 ? STATUS_OK : status;
}
binder_status_t readStrings(const AParcel* p) {
    std::vector<std::string> v;
    binder_status_t status = ndk::AParcel_readVector(p, &v);
    return status != STATUS_OK && v.capacity() > 16 ? STATUS_OK : status;
}
binder_status_t readBinder(const AParcel* p) {
    ndk::SpAIBinder v;
    return ndk::AParcel_readNullableStrongBinder(p, &v);
}
binder_status_t readRequiredBinder(const AParcel* p) {
    ndk::SpAIBinder v;
    return ndk::AParcel_readRequiredStrongBinder(p, &v);
}
binder_status_t readResponseInfo(const AParcel* p) {
    ResponseInfo v;
    return v.readFromParcel(p);
}

std::vector<uint8_t> stringBytes(int32_t length, std::vector<uint8_t> content) {
    content.push_back(0);
    while (content.size() % 4 != 0)
        content.push_back(0);
    return concat({int32Bytes(length), content});
}

class MalformedParcelTest : public ParcelTest, public ::testing::WithParamInterface<MalformedCase> {
  protected:
    // A failed read may stop anywhere; only the status matters here.
    void TearDown() override {}
};

TEST_P(MalformedParcelTest, Read_WhenDataMalformed_FailsWithStatus) {
    setRaw(GetParam().bytes);
    EXPECT_EQ(GetParam().expected, GetParam().read(parcel.get()))
            << "malformed data was accepted or failed with the wrong status (or, where the "
               "expected status is an error and the result is STATUS_OK, the read allocated "
               "for a length the data does not hold)";
    EXPECT_LE(AParcel_getDataPosition(parcel.get()), AParcel_getDataSize(parcel.get()))
            << "the read moved past the end of the data";
}

INSTANTIATE_TEST_SUITE_P(
        Cases, MalformedParcelTest,
        ::testing::Values(
                MalformedCase{"EmptyInt32", {}, STATUS_NOT_ENOUGH_DATA, readInt32},
                MalformedCase{"ShortInt32", {1, 2, 3}, STATUS_NOT_ENOUGH_DATA, readInt32},
                MalformedCase{"ShortInt64", int32Bytes(5), STATUS_NOT_ENOUGH_DATA, readInt64},
                MalformedCase{"BytesNegativeLength", int32Bytes(-2), STATUS_BAD_VALUE, readBytes},
                MalformedCase{"BytesNullWhereRequired", int32Bytes(-1), STATUS_UNEXPECTED_NULL,
                              readBytes},
                MalformedCase{"BytesLengthPastData", concat({int32Bytes(9), int32Bytes(0)}),
                              STATUS_NOT_ENOUGH_DATA, readBytes},
                MalformedCase{"BytesHugeLength", concat({int32Bytes(INT32_MAX), int32Bytes(0)}),
                              STATUS_NOT_ENOUGH_DATA, readBytes},
                MalformedCase{"BytesMissingPadding", concat({int32Bytes(3), {1, 2, 3}}),
                              STATUS_NOT_ENOUGH_DATA, readBytes},
                MalformedCase{"StringNegativeLength", int32Bytes(-7), STATUS_BAD_VALUE, readString},
                MalformedCase{"StringNullWhereRequired", int32Bytes(-1), STATUS_UNEXPECTED_NULL,
                              readString},
                MalformedCase{"StringLengthPastData", stringBytes(100, {'a', 'b'}),
                              STATUS_NOT_ENOUGH_DATA, readString},
                MalformedCase{"StringHugeLength", stringBytes(INT32_MAX, {'a'}),
                              STATUS_NOT_ENOUGH_DATA, readString},
                MalformedCase{"StringLoneContinuationByte", stringBytes(1, {0x80}),
                              STATUS_BAD_VALUE, readString},
                MalformedCase{"StringOverlongSlash", stringBytes(2, {0xc0, 0xaf}), STATUS_BAD_VALUE,
                              readString},
                MalformedCase{"StringSurrogate", stringBytes(3, {0xed, 0xa0, 0x80}),
                              STATUS_BAD_VALUE, readString},
                MalformedCase{"StringTruncatedSequence", stringBytes(2, {0xe2, 0x82}),
                              STATUS_BAD_VALUE, readString},
                MalformedCase{"StringPastUnicode", stringBytes(4, {0xf4, 0x90, 0x80, 0x80}),
                              STATUS_BAD_VALUE, readString},
                MalformedCase{"StringUnterminated", concat({int32Bytes(3), {'a', 'b', 'c', 'd'}}),
                              STATUS_BAD_VALUE, readString},
                MalformedCase{"StringArrayHugeCount", int32Bytes(INT32_MAX), STATUS_NOT_ENOUGH_DATA,
                              readStrings},
                MalformedCase{"StringArrayNegativeCount", int32Bytes(-3), STATUS_BAD_VALUE,
                              readStrings},
                MalformedCase{"StringArrayShortElement",
                              concat({int32Bytes(2), stringBytes(1, {'a'}), int32Bytes(8)}),
                              STATUS_NOT_ENOUGH_DATA, readStrings},
                MalformedCase{"BinderFromIntegers", concat({int32Bytes(0x424e4452), int32Bytes(0)}),
                              STATUS_BAD_TYPE, readBinder},
                MalformedCase{"BinderShort", int32Bytes(1), STATUS_NOT_ENOUGH_DATA, readBinder},
                MalformedCase{"ParcelableNull", concat({int32Bytes(0), int32Bytes(4)}),
                              STATUS_UNEXPECTED_NULL, readResponseInfo},
                MalformedCase{"ParcelableNegativeSize", concat({int32Bytes(1), int32Bytes(-4)}),
                              STATUS_BAD_VALUE, readResponseInfo},
                MalformedCase{"ParcelableShort", concat({int32Bytes(1), int32Bytes(16)}),
                              STATUS_NOT_ENOUGH_DATA, readResponseInfo}),
        [](const ::testing::TestParamInfo<MalformedCase>& info) { return info.param.name; });

TEST_F(ParcelTest, ReadRequiredBinder_WhenNullWritten_FailsUnexpectedNull) {
    ASSERT_EQ(STATUS_OK, AParcel_writeStrongBinder(parcel.get(), nullptr));
    rewind();
    EXPECT_EQ(STATUS_UNEXPECTED_NULL, readRequiredBinder(parcel.get()))
            << "a null binder passed for a required one";
}

TEST_F(ParcelTest, ReadBinder_WhenBinderOverwrittenByInteger_FailsBadType) {
    ndk::SpAIBinder object = testobject::create([](auto, auto, auto) { return STATUS_OK; });
    ASSERT_EQ(STATUS_OK, AParcel_writeStrongBinder(parcel.get(), object.get()));
    rewind();
    ASSERT_EQ(STATUS_OK, AParcel_writeInt32(parcel.get(), 0x424e4452));
    rewind();
    EXPECT_EQ(STATUS_BAD_TYPE, readBinder(parcel.get()))
            << "a binder survived an integer written over it";
    AParcel_setDataPosition(parcel.get(), AParcel_getDataSize(parcel.get()));
}

TEST_F(ParcelTest, WriteString_WhenInvalidUtf8_FailsBadValueAndWritesNothing) {
    const char invalid[] = {'o', 'k', static_cast<char>(0xff)};
    EXPECT_EQ(STATUS_BAD_VALUE, AParcel_writeString(parcel.get(), invalid, 3))
            << "invalid UTF-8 was written";
    EXPECT_EQ(0, AParcel_getDataSize(parcel.get())) << "a refused string left bytes behind";
}

TEST_F(ParcelTest, SetDataPosition_WhenNegative_FailsBadValue) {
    EXPECT_EQ(STATUS_BAD_VALUE, AParcel_setDataPosition(parcel.get(), -1))
            << "a negative position was accepted";
}

TEST_F(ParcelTest, Marshal_WhenParcelHoldsBinder_FailsInvalidOperation) {
    ndk::SpAIBinder object = testobject::create([](auto, auto, auto) { return STATUS_OK; });
    ASSERT_EQ(STATUS_OK, AParcel_writeStrongBinder(parcel.get(), object.get()));
    uint8_t buffer[8];
    EXPECT_EQ(STATUS_INVALID_OPERATION, AParcel_marshal(parcel.get(), buffer, 0, sizeof(buffer)))
            << "a binder was flattened to bytes, which would let it be forged back";
}

// Status headers as the generated glue writes and reads them.
struct StatusHeaderCase {
    const char* name;
    AStatus* (*make)();
    binder_exception_t exception;
    int32_t serviceSpecific;
    const char* message;
};

// Names the case in test listings (the default would print its raw bytes).
void PrintTo(const StatusHeaderCase& c, std::ostream* os) {
    *os << c.name;
}

class StatusHeaderTest : public ParcelTest,
                         public ::testing::WithParamInterface<StatusHeaderCase> {};

TEST_P(StatusHeaderTest, RoundTrip_WhenStatusHeaderWritten_SameStatusRead) {
    ndk::ScopedAStatus written(GetParam().make());
    ASSERT_EQ(STATUS_OK, AParcel_writeStatusHeader(parcel.get(), written.get()));
    rewind();
    ndk::ScopedAStatus read;
    ASSERT_EQ(STATUS_OK, AParcel_readStatusHeader(parcel.get(), read.getR()));
    EXPECT_EQ(GetParam().exception, read.getExceptionCode()) << "exception changed on the way";
    EXPECT_EQ(GetParam().serviceSpecific, read.getServiceSpecificError())
            << "service-specific code changed on the way";
    EXPECT_STREQ(GetParam().message, read.getMessage()) << "message changed on the way";
}

INSTANTIATE_TEST_SUITE_P(
        Statuses, StatusHeaderTest,
        ::testing::Values(StatusHeaderCase{"Ok", [] { return AStatus_newOk(); }, EX_NONE, 0, ""},
                          StatusHeaderCase{"IllegalArgument",
                                           [] {
                                               return AStatus_fromExceptionCodeWithMessage(
                                                       EX_ILLEGAL_ARGUMENT, "bad serial");
                                           },
                                           EX_ILLEGAL_ARGUMENT, 0, "bad serial"},
                          StatusHeaderCase{"ServiceSpecific",
                                           [] {
                                               return AStatus_fromServiceSpecificErrorWithMessage(
                                                       -5, "nv");
                                           },
                                           EX_SERVICE_SPECIFIC, -5, "nv"}),
        [](const ::testing::TestParamInfo<StatusHeaderCase>& info) { return info.param.name; });

TEST_F(ParcelTest, WriteStatusHeader_WhenTransactionFailed_ReturnsItsStatusUnwritten) {
    ndk::ScopedAStatus failed(AStatus_fromStatus(STATUS_NO_MEMORY));
    EXPECT_EQ(STATUS_NO_MEMORY, AParcel_writeStatusHeader(parcel.get(), failed.get()))
            << "a transaction failure must become the transaction's status";
    EXPECT_EQ(0, AParcel_getDataSize(parcel.get())) << "a transaction failure was written";
}

}  // namespace
