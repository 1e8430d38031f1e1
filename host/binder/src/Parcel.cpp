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
    std::u16string units;
    if (!hostbinder::utf8ToUtf16(reinterpret_cast<const uint8_t*>(str), static_cast<size_t>(length),
                                 &units))
        return STATUS_BAD_VALUE;
    writeValue<int32_t>(static_cast<int32_t>(units.size()));
    // With the terminating zero unit, which the string's storage already holds.
    return writeBytes(units.c_str(), (units.size() + 1) * sizeof(char16_t));
}

binder_status_t AParcel::readString(std::optional<std::string>* str) const {
    const size_t start = mPosition;
    int32_t count = 0;
    binder_status_t status = readValue(&count);
    if (status != STATUS_OK)
        return status;
    if (count == -1) {
        str->reset();
        return STATUS_OK;
    }
    const size_t size = (static_cast<size_t>(count) + 1) * sizeof(char16_t);
    const uint8_t* bytes = count < -1 ? nullptr : readInPlace(size);
    if (bytes == nullptr) {
        mPosition = start;
        return count < -1 ? STATUS_BAD_VALUE : STATUS_NOT_ENOUGH_DATA;
    }
    // Copied out: the parcel's bytes need not be aligned for char16_t.
    std::u16string units(static_cast<size_t>(count) + 1, u'\0');
    std::memcpy(units.data(), bytes, size);
    if (units.back() != u'\0') {
        mPosition = start;
        return STATUS_BAD_VALUE;
    }
    *str = hostbinder::utf16ToUtf8(units.data(), static_cast<size_t>(count));
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
    std::optional<std::string> str;
    return readString(&str) == STATUS_OK && str.has_value() && *str == descriptor;
}

void AParcel::replaceObject(size_t offset, ndk::SpAIBinder binder) {
    mObjects[offset] = std::move(binder);
}

void AParcel::copyFrom(const AParcel& other) {
    mData = other.mData;
    mObjects = other.mObjects;
    mPosition = 0;
}
