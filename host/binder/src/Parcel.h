/*
 * Copyright (C) 2026 The plim-modem developers
 */

// AParcel: the data of one transaction, a byte buffer with a data position, plus the binder
// objects written into it (kept beside the bytes, by offset, as the kernel keeps its object
// offsets, so that a binder cannot be forged by writing integers).
//
// Layout: every value starts 4-byte aligned. int32-sized and smaller values take 4 bytes, 64-bit
// values 8; byte arrays are an int32 length (-1 for null) followed by their bytes padded to 4;
// strings an int32 count of UTF-16 units (-1 for null), the units and a terminating zero unit,
// padded to 4; a binder takes 8 bytes, a tag and a
// reserved word.
//
// Threads: one thread at a time.

#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_parcel.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <vector>

struct AParcel {
  public:
    // A parcel for a transaction on target (null for a parcel of no transaction).
    explicit AParcel(ndk::SpAIBinder target = nullptr) : mTarget(std::move(target)) {}
    AParcel(const AParcel&) = delete;
    AParcel& operator=(const AParcel&) = delete;

    // The binder this parcel was prepared for.
    AIBinder* target() const { return mTarget.get(); }

    size_t dataSize() const { return mData.size(); }
    size_t dataPosition() const { return mPosition; }
    // Positions past the end are allowed: reads there fail, writes pad with zeros.
    void setDataPosition(size_t position) const { mPosition = position; }
    const uint8_t* data() const { return mData.data(); }
    void reset();
    // Replaces the contents with bytes (no binders) and rewinds.
    void assign(const uint8_t* bytes, size_t size);

    template <typename T>
    binder_status_t writeValue(T value) {
        static_assert(sizeof(T) == 4 || sizeof(T) == 8, "parcel values are 4 or 8 bytes");
        return writeBytes(&value, sizeof(T));
    }
    template <typename T>
    binder_status_t readValue(T* value) const {
        static_assert(sizeof(T) == 4 || sizeof(T) == 8, "parcel values are 4 or 8 bytes");
        const uint8_t* bytes = readInPlace(sizeof(T));
        if (bytes == nullptr)
            return STATUS_NOT_ENOUGH_DATA;
        std::memcpy(value, bytes, sizeof(T));
        return STATUS_OK;
    }

    // Writes size bytes then zeros up to the next 4-byte boundary.
    binder_status_t writeBytes(const void* bytes, size_t size);
    // The next size bytes (skipping their padding), or null if fewer remain.
    const uint8_t* readInPlace(size_t size) const;
    // Bytes between the data position and the end.
    size_t available() const { return mPosition < mData.size() ? mData.size() - mPosition : 0; }

    // A UTF-8 string, or null (-1 length), written as UTF-16 (see Utf8.h): only a sequence cut
    // off at the end gives STATUS_BAD_VALUE.
    binder_status_t writeString(const char* str, int32_t length);
    // On success *str is the string as UTF-8, or nullopt for a null string.
    binder_status_t readString(std::optional<std::string>* str) const;

    binder_status_t writeBinder(AIBinder* binder);
    // *binder gets one strong reference, or null for a null binder. Anything but a binder written
    // at this position gives STATUS_BAD_TYPE.
    binder_status_t readBinder(AIBinder** binder) const;

    // The interface token a transaction starts with.
    binder_status_t writeInterfaceToken(const char* descriptor);
    bool enforceInterfaceToken(const char* descriptor) const;

    // Binder objects by offset, for the transports that carry the parcel to another process.
    const std::map<size_t, ndk::SpAIBinder>& objects() const { return mObjects; }
    void replaceObject(size_t offset, ndk::SpAIBinder binder);

    // Copies another parcel's data and objects (not its target); position at the start.
    void copyFrom(const AParcel& other);

  private:
    // Makes room for size bytes at the position, dropping objects the write overlaps.
    uint8_t* prepareWrite(size_t size);

    ndk::SpAIBinder mTarget;
    std::vector<uint8_t> mData;
    mutable size_t mPosition = 0;
    std::map<size_t, ndk::SpAIBinder> mObjects;
};
