/*
 * Copyright (C) 2026 The plim-modem developers
 */

// AParcel as a byte buffer: the modem interface's array types and parcelable come back as written
// and aligned, also through a transaction with another process over each transport; short, mistyped
// and hostile data fail the read with a status, without reading past the data or allocating what
// the data cannot hold.

#include <aidl/vendor/vyr/plim/modem/ResponseInfo.h>
#include <android/binder_parcel_utils.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include "OtherProcess.h"
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

// A value of one of the interface's array types, written and read back as the same.
enum class Kind { BYTES, STRING, STRINGS };
struct RoundTripRow {
    const char* name;
    Kind kind;
    // Its bytes as a device lays them out: a count, then the bytes, or UTF-16 units and a
    // terminating one (each string of an array so), padded to 4.
    int32_t wireSize;
    std::vector<std::string> values;  // BYTES and STRING use the first
    friend void PrintTo(const RoundTripRow& row, std::ostream* os) { *os << row.name; }
};

class ParcelRoundTripTest : public ParcelTest,
                            public ::testing::WithParamInterface<RoundTripRow> {};

binder_status_t writeRow(AParcel* p, const RoundTripRow& row) {
    const std::string first = row.values.empty() ? "" : row.values.front();
    return row.kind == Kind::BYTES
                   ? ndk::AParcel_writeVector(p, std::vector<uint8_t>(first.begin(), first.end()))
           : row.kind == Kind::STRING ? ndk::AParcel_writeString(p, first)
                                      : ndk::AParcel_writeVector(p, row.values);
}

// Reads the row's value back (replacing stale contents, not appending to them) and checks it.
void expectRow(const AParcel* p, const RoundTripRow& row) {
    const std::string first = row.values.empty() ? "" : row.values.front();
    std::vector<uint8_t> readBytes{9, 9};
    std::string readString = "stale";
    std::vector<std::string> readStrings{"stale"};
    if (row.kind == Kind::BYTES) {
        ASSERT_EQ(STATUS_OK, ndk::AParcel_readVector(p, &readBytes)) << row.name;
        EXPECT_EQ(std::vector<uint8_t>(first.begin(), first.end()), readBytes)
                << row.name << ": the byte[] changed on the way";
    } else if (row.kind == Kind::STRING) {
        ASSERT_EQ(STATUS_OK, ndk::AParcel_readString(p, &readString)) << row.name;
        EXPECT_EQ(first, readString) << row.name << ": the String changed on the way";
    } else {
        ASSERT_EQ(STATUS_OK, ndk::AParcel_readVector(p, &readStrings)) << row.name;
        EXPECT_EQ(row.values, readStrings) << row.name << ": String[] changed, moved or appeared";
    }
    int32_t sentinel = 0;
    ASSERT_EQ(STATUS_OK, AParcel_readInt32(p, &sentinel)) << row.name;
    EXPECT_EQ(0x5a5a5a5a, sentinel) << row.name << ": the padding after the value is wrong";
}

TEST_P(ParcelRoundTripTest, RoundTrip_WhenValueWritten_SameValueAndNextValueAligned) {
    ASSERT_EQ(STATUS_OK, writeRow(parcel.get(), GetParam()));
    EXPECT_EQ(GetParam().wireSize, AParcel_getDataSize(parcel.get())) << "not a device's layout";
    ASSERT_EQ(STATUS_OK, AParcel_writeInt32(parcel.get(), 0x5a5a5a5a));
    rewind();
    expectRow(parcel.get(), GetParam());
}

std::string counting(size_t size) {
    std::string value(size, '\0');
    for (size_t i = 0; i < size; ++i) {
        value[i] = static_cast<char>(i * 7 + 3);
    }
    return value;
}

// Byte arrays of every padding remainder, strings that UTF-8 and their length make hard.
const std::vector<RoundTripRow> kRoundTripRows = {
        RoundTripRow{"Bytes0", Kind::BYTES, 4, {""}},
        RoundTripRow{"Bytes1", Kind::BYTES, 8, {counting(1)}},
        RoundTripRow{"Bytes2", Kind::BYTES, 8, {counting(2)}},
        RoundTripRow{"Bytes3", Kind::BYTES, 8, {counting(3)}},
        RoundTripRow{"Bytes4", Kind::BYTES, 8, {counting(4)}},
        RoundTripRow{"Bytes5", Kind::BYTES, 12, {counting(5)}},
        RoundTripRow{"Bytes256K", Kind::BYTES, 4 + 256 * 1024, {counting(256 * 1024)}},
        RoundTripRow{"StringEmpty", Kind::STRING, 8, {""}},
        RoundTripRow{"StringThreeBytes", Kind::STRING, 12, {"abc"}},
        RoundTripRow{"StringFourBytes", Kind::STRING, 16, {"abcd"}},
        RoundTripRow{"StringMultiByte",
                     Kind::STRING,
                     24,
                     {"Gr\xc3\xbc\xc3\x9f \xe2\x82\xac \xf0\x9f\x93\xb6"}},
        RoundTripRow{"StringEmbeddedNul", Kind::STRING, 12, {std::string("a\0b", 3)}},
        RoundTripRow{"StringLong", Kind::STRING, 4 + 140004, {std::string(70000, 'x')}},
        RoundTripRow{"StringsEmpty", Kind::STRINGS, 4, {}},
        RoundTripRow{"StringsMixed", Kind::STRINGS, 44, {"mbn_a", "", "\xe2\x82\xac", "z"}}};

INSTANTIATE_TEST_SUITE_P(Values, ParcelRoundTripTest, ::testing::ValuesIn(kRoundTripRows),
                         [](const ::testing::TestParamInfo<RoundTripRow>& info) {
                             return info.param.name;
                         });

// Every row's value, the scalars and the parcelable in one parcel, through a transaction to the
// other process and back: the transport must carry the bytes exactly.
using ParcelTransactionTest = TransportTest;

INSTANTIATE_TEST_SUITE_P(Transports, ParcelTransactionTest, bothTransports(), transportRowName);

TEST_P(ParcelTransactionTest, Transact_WhenEveryTypeWritten_ComesBackTheSame) {
    ndk::ScopedAParcel in;
    ASSERT_EQ(STATUS_OK, AIBinder_prepareTransaction(other->object().get(), in.getR()));
    AParcel* p = in.get();
    for (const RoundTripRow& row : kRoundTripRows) {
        if (row.name != std::string("Bytes256K")) {
            ASSERT_EQ(STATUS_OK, writeRow(p, row)) << row.name;
            AParcel_writeInt32(p, 0x5a5a5a5a);
        }
    }
    AParcel_writeInt64(p, INT64_MIN + 3);
    AParcel_writeUint64(p, UINT64_MAX - 5);
    AParcel_writeUint32(p, 0xfffffffeu);
    AParcel_writeFloat(p, -1.5f);
    AParcel_writeDouble(p, 1e300);
    AParcel_writeBool(p, true);
    AParcel_writeChar(p, u'\u20ac');
    AParcel_writeByte(p, -7);
    ASSERT_EQ(STATUS_OK, ResponseInfo({1, -42, 4}).writeToParcel(p));

    ndk::ScopedAParcel out;
    ASSERT_EQ(STATUS_OK,
              AIBinder_transact(other->object().get(), xproc::kMirror, in.getR(), out.getR(), 0));
    const AParcel* r = out.get();
    for (const RoundTripRow& row : kRoundTripRows) {
        if (row.name != std::string("Bytes256K"))
            expectRow(r, row);
    }
    int64_t i64 = 0;
    uint64_t u64 = 0;
    uint32_t u32 = 0;
    float f = 0;
    double d = 0;
    bool b = false;
    char16_t c = 0;
    int8_t i8 = 0;
    ResponseInfo info;
    EXPECT_TRUE(AParcel_readInt64(r, &i64) == STATUS_OK && i64 == INT64_MIN + 3) << "int64";
    EXPECT_TRUE(AParcel_readUint64(r, &u64) == STATUS_OK && u64 == UINT64_MAX - 5) << "uint64";
    EXPECT_TRUE(AParcel_readUint32(r, &u32) == STATUS_OK && u32 == 0xfffffffeu) << "uint32";
    EXPECT_TRUE(AParcel_readFloat(r, &f) == STATUS_OK && f == -1.5f) << "float";
    EXPECT_TRUE(AParcel_readDouble(r, &d) == STATUS_OK && d == 1e300) << "double";
    EXPECT_TRUE(AParcel_readBool(r, &b) == STATUS_OK && b) << "bool";
    EXPECT_TRUE(AParcel_readChar(r, &c) == STATUS_OK && c == u'\u20ac') << "char";
    EXPECT_TRUE(AParcel_readByte(r, &i8) == STATUS_OK && i8 == -7) << "byte";
    EXPECT_TRUE(info.readFromParcel(r) == STATUS_OK && info.type == 1 && info.serial == -42 &&
                info.error == 4)
            << "parcelable";
    EXPECT_EQ(AParcel_getDataSize(r), AParcel_getDataPosition(r)) << "bytes added on the way";
}

// A malformed input and the status its read must fail with.
struct MalformedCase {
    const char* name;
    std::vector<uint8_t> bytes;
    binder_status_t expected;
    // Reads one value of the type under test.
    binder_status_t (*read)(const AParcel*);
    friend void PrintTo(const MalformedCase& row, std::ostream* os) { *os << row.name; }
};

binder_status_t readInt32(const AParcel* p) {
    int32_t v;
    return AParcel_readInt32(p, &v);
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
binder_status_t readResponseInfo(const AParcel* p) {
    ResponseInfo v;
    return v.readFromParcel(p);
}

/** A string's count, then `text` as UTF-16 units with a terminating zero, padded to 4. */
std::vector<uint8_t> stringBytes(int32_t count, const std::string& text) {
    std::vector<uint8_t> content;
    for (char c : text + '\0') {
        content.push_back(static_cast<uint8_t>(c));
        content.push_back(0);
    }
    while (content.size() % 4 != 0)
        content.push_back(0);
    return concat({int32Bytes(count), content});
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
                MalformedCase{"ShortInt32", {1, 2, 3}, STATUS_NOT_ENOUGH_DATA, readInt32},
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
                MalformedCase{"StringLengthPastData", stringBytes(100, "ab"),
                              STATUS_NOT_ENOUGH_DATA, readString},
                MalformedCase{"StringHugeLength", stringBytes(INT32_MAX, "a"),
                              STATUS_NOT_ENOUGH_DATA, readString},
                // UTF-16 units "abc" with the last where the terminating zero belongs.
                MalformedCase{"StringUnterminated",
                              concat({int32Bytes(2), {'a', 0, 'b', 0, 'c', 0, 0, 0}}),
                              STATUS_BAD_VALUE, readString},
                MalformedCase{"StringArrayHugeCount", int32Bytes(INT32_MAX), STATUS_NOT_ENOUGH_DATA,
                              readStrings},
                MalformedCase{"StringArrayNegativeCount", int32Bytes(-3), STATUS_BAD_VALUE,
                              readStrings},
                MalformedCase{"StringArrayShortElement",
                              concat({int32Bytes(2), stringBytes(1, "a"), int32Bytes(8)}),
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

TEST_F(ParcelTest, ReadBinder_WhenNullRequiredOrOverwritten_Fails) {
    ndk::SpAIBinder object = testobject::create([](auto, auto, auto) { return STATUS_OK; });
    ASSERT_EQ(STATUS_OK, AParcel_writeStrongBinder(parcel.get(), nullptr));
    const int32_t second = AParcel_getDataPosition(parcel.get());
    ASSERT_EQ(STATUS_OK, AParcel_writeStrongBinder(parcel.get(), object.get()));
    rewind();
    ndk::SpAIBinder read;
    EXPECT_EQ(STATUS_UNEXPECTED_NULL, ndk::AParcel_readRequiredStrongBinder(parcel.get(), &read))
            << "a null binder passed for a required one";
    ASSERT_EQ(STATUS_OK, AParcel_setDataPosition(parcel.get(), second));
    ASSERT_EQ(STATUS_OK, AParcel_writeInt32(parcel.get(), 0x424e4452));
    ASSERT_EQ(STATUS_OK, AParcel_setDataPosition(parcel.get(), second));
    EXPECT_EQ(STATUS_BAD_TYPE, readBinder(parcel.get()))
            << "a binder survived an integer written over it";
    AParcel_setDataPosition(parcel.get(), AParcel_getDataSize(parcel.get()));
}

struct LenientRow {
    const char* name;
    std::string written;
    binder_status_t status;
    std::string read;  // as the receiver gets it
    friend void PrintTo(const LenientRow& row, std::ostream* os) { *os << row.name; }
};

class ParcelLenientStringTest : public ParcelTest,
                                public ::testing::WithParamInterface<LenientRow> {};

// As on a device: malformed UTF-8 travels, garbled, unless its last sequence is cut off.
TEST_P(ParcelLenientStringTest, WriteString_WithMalformedUtf8_FailsOnlyWhenCutOffAtTheEnd) {
    const LenientRow& row = GetParam();
    EXPECT_EQ(row.status, AParcel_writeString(parcel.get(), row.written.data(),
                                              static_cast<int32_t>(row.written.size())))
            << "wrong verdict on the string";
    if (row.status != STATUS_OK) {
        EXPECT_EQ(0, AParcel_getDataSize(parcel.get())) << "a refused string left bytes behind";
        return;
    }
    AParcel_setDataPosition(parcel.get(), 0);
    std::string read;
    ASSERT_EQ(STATUS_OK, ndk::AParcel_readString(parcel.get(), &read));
    EXPECT_EQ(row.read, read) << "the receiver got other bytes";
}

INSTANTIATE_TEST_SUITE_P(
        Strings, ParcelLenientStringTest,
        ::testing::Values(LenientRow{"CutOffAtTheEnd", "ok\xe2\x82", STATUS_BAD_VALUE, ""},
                          LenientRow{"LeadByteLast", "ok\xff", STATUS_BAD_VALUE, ""},
                          LenientRow{"StrayContinuation", "a\x80z", STATUS_OK, "a\xc2\x80z"},
                          LenientRow{"BadContinuation", "\xc3\x41z", STATUS_OK, "\xc3\x81z"},
                          LenientRow{"Overlong", "\xc1\xbf", STATUS_OK, "\x7f"},
                          LenientRow{"LoneSurrogate", "\xed\xa0\x80", STATUS_OK, "\xed\xa0\x80"},
                          LenientRow{"Emoji", "\xf0\x9f\x93\xb6", STATUS_OK, "\xf0\x9f\x93\xb6"}),
        [](const ::testing::TestParamInfo<LenientRow>& info) { return info.param.name; });

}  // namespace
