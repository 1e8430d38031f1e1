/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "Parcel.h"

#include "Utf8.h"

namespace {

constexpr int32_t kNullBinderTag = 0x4e554c4c;      // "NULL"
constexpr int32_t kBinderTag = 0x424e4452;          // "BNDR"
constexpr int32_t kInterfaceTokenTag = 0x54594b4e;  // "TYKN"
constexpr size_t kBinderSize = 8;

size_t padded(size_t size) {
    return (size + 3) & ~static_cast<size_t>(3);
}

}  // namespace

void AParcel::reset() {
    mData.clear();
    mObjects.clear();
    mPosition = 0;
}

void AParcel::assign(const uint8_t* bytes, size_t size) {
    reset();
    mData.assign(bytes, bytes + size);
}

uint8_t* AParcel::prepareWrite(size_t size) {
    const size_t end = mPosition + size;
    if (end > mData.size())
        mData.resize(end, 0);
    // A write over a binder destroys it, as overwriting a flattened object would.
    auto first = mObjects.lower_bound(mPosition >= kBinderSize ? mPosition - kBinderSize + 1 : 0);
    auto last = mObjects.lower_bound(end);
    mObjects.erase(first, last);
    uint8_t* at = mData.data() + mPosition;
    mPosition = end;
    return at;
}

binder_status_t AParcel::writeBytes(const void* bytes, size_t size) {
    const size_t total = padded(size);
    uint8_t* at = prepareWrite(total);
    if (size > 0)
        std::memcpy(at, bytes, size);
    std::memset(at + size, 0, total - size);
    return STATUS_OK;
}

const uint8_t* AParcel::readInPlace(size_t size) const {
    const size_t total = padded(size);
    if (total < size || available() < total)
        return nullptr;
    const uint8_t* at = mData.data() + mPosition;
    mPosition += total;
    return at;
}

binder_status_t AParcel::writeString(const char* str, int32_t length) {
    if (str == nullptr) {
        return length == -1 ? writeValue<int32_t>(-1) : STATUS_UNEXPECTED_NULL;
    }
    if (length < 0)
        return STATUS_BAD_VALUE;
    const auto* bytes = reinterpret_cast<const uint8_t*>(str);
    if (!hostbinder::isValidUtf8(bytes, static_cast<size_t>(length)))
        return STATUS_BAD_VALUE;
    writeValue<int32_t>(length);
    const size_t size = static_cast<size_t>(length);
    uint8_t* at = prepareWrite(padded(size + 1));
    std::memcpy(at, bytes, size);
    std::memset(at + size, 0, padded(size + 1) - size);
    return STATUS_OK;
}

binder_status_t AParcel::readString(const char** str, int32_t* length) const {
    int32_t size = 0;
    binder_status_t status = readValue(&size);
    if (status != STATUS_OK)
        return status;
    if (size == -1) {
        *str = nullptr;
        *length = -1;
        return STATUS_OK;
    }
    if (size < -1)
        return STATUS_BAD_VALUE;
    const uint8_t* bytes = readInPlace(static_cast<size_t>(size) + 1);
    if (bytes == nullptr)
        return STATUS_NOT_ENOUGH_DATA;
    if (bytes[size] != 0)
        return STATUS_BAD_VALUE;
    if (!hostbinder::isValidUtf8(bytes, static_cast<size_t>(size)))
        return STATUS_BAD_VALUE;
    *str = reinterpret_cast<const char*>(bytes);
    *length = size;
    return STATUS_OK;
}

binder_status_t AParcel::writeBinder(AIBinder* binder) {
    if (binder == nullptr) {
        writeValue<int32_t>(kNullBinderTag);
        return writeValue<int32_t>(0);
    }
    const size_t offset = mPosition;
    writeValue<int32_t>(kBinderTag);
    writeValue<int32_t>(0);
    AIBinder_incStrong(binder);
    mObjects[offset] = ndk::SpAIBinder(binder);
    return STATUS_OK;
}

binder_status_t AParcel::readBinder(AIBinder** binder) const {
    const size_t offset = mPosition;
    int32_t tag = 0;
    int32_t reserved = 0;
    if (readValue(&tag) != STATUS_OK || readValue(&reserved) != STATUS_OK) {
        mPosition = offset;
        return STATUS_NOT_ENOUGH_DATA;
    }
    if (tag == kNullBinderTag) {
        *binder = nullptr;
        return STATUS_OK;
    }
    auto object = mObjects.find(offset);
    if (tag != kBinderTag || object == mObjects.end()) {
        mPosition = offset;
        return STATUS_BAD_TYPE;
    }
    AIBinder* found = object->second.get();
    if (found != nullptr)
        AIBinder_incStrong(found);
    *binder = found;
    return STATUS_OK;
}

binder_status_t AParcel::writeInterfaceToken(const char* descriptor) {
    writeValue<int32_t>(kInterfaceTokenTag);
    return writeString(descriptor, static_cast<int32_t>(std::strlen(descriptor)));
}

bool AParcel::enforceInterfaceToken(const char* descriptor) const {
    int32_t tag = 0;
    if (readValue(&tag) != STATUS_OK || tag != kInterfaceTokenTag)
        return false;
    const char* str = nullptr;
    int32_t length = 0;
    if (readString(&str, &length) != STATUS_OK || str == nullptr)
        return false;
    return static_cast<size_t>(length) == std::strlen(descriptor) &&
           std::memcmp(str, descriptor, static_cast<size_t>(length)) == 0;
}

void AParcel::replaceObject(size_t offset, ndk::SpAIBinder binder) {
    mObjects[offset] = std::move(binder);
}

void AParcel::copyFrom(const AParcel& other) {
    mData = other.mData;
    mObjects = other.mObjects;
    mPosition = 0;
}
