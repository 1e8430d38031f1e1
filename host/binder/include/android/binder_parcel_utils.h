/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Host build of the binder NDK: C++ reads and writes of AIDL types on an AParcel (strings,
// byte[] as std::vector<int8_t> or std::vector<uint8_t>, String[] as std::vector<std::string>,
// nullable forms as std::optional, strong binders as ndk::SpAIBinder). Same names and semantics
// as the NDK's header of the same name.
//
// Threads: one thread at a time per parcel.

#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_parcel.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace ndk {

namespace parcel_internal {

// Vectors longer than a parcel can say are refused rather than truncated.
inline bool fitsLength(size_t size) {
    return size <= static_cast<size_t>(std::numeric_limits<int32_t>::max());
}

inline bool allocateString(void* data, int32_t length, char** buffer) {
    if (length <= 0)
        return false;  // null (-1) is not a value of std::string
    auto* str = static_cast<std::string*>(data);
    str->resize(static_cast<size_t>(length) - 1);
    *buffer = &(*str)[0];
    return true;
}

inline bool allocateOptionalString(void* data, int32_t length, char** buffer) {
    auto* str = static_cast<std::optional<std::string>*>(data);
    if (length == -1) {
        str->reset();
        return true;
    }
    if (length <= 0)
        return false;
    str->emplace(static_cast<size_t>(length) - 1, '\0');
    *buffer = &(**str)[0];
    return true;
}

template <typename Byte>
bool allocateBytes(void* data, int32_t length, int8_t** buffer) {
    if (length < 0)
        return false;
    auto* vec = static_cast<std::vector<Byte>*>(data);
    vec->resize(static_cast<size_t>(length));
    *buffer = reinterpret_cast<int8_t*>(vec->data());
    return true;
}

template <typename Byte>
bool allocateOptionalBytes(void* data, int32_t length, int8_t** buffer) {
    auto* vec = static_cast<std::optional<std::vector<Byte>>*>(data);
    if (length == -1) {
        vec->reset();
        return true;
    }
    if (length < 0)
        return false;
    vec->emplace(static_cast<size_t>(length));
    *buffer = reinterpret_cast<int8_t*>((*vec)->data());
    return true;
}

inline bool allocateStringVector(void* data, int32_t length) {
    if (length < 0)
        return false;
    static_cast<std::vector<std::string>*>(data)->resize(static_cast<size_t>(length));
    return true;
}

inline bool allocateStringVectorElement(void* data, size_t index, int32_t length, char** buffer) {
    auto* vec = static_cast<std::vector<std::string>*>(data);
    return allocateString(&(*vec)[index], length, buffer);
}

inline const char* getStringVectorElement(const void* data, size_t index, int32_t* length) {
    const std::string& str = (*static_cast<const std::vector<std::string>*>(data))[index];
    *length = static_cast<int32_t>(str.size());
    return str.c_str();
}

}  // namespace parcel_internal

inline binder_status_t AParcel_writeString(AParcel* parcel, const std::string& str) {
    if (!parcel_internal::fitsLength(str.size()))
        return STATUS_BAD_VALUE;
    return ::AParcel_writeString(parcel, str.c_str(), static_cast<int32_t>(str.size()));
}

inline binder_status_t AParcel_readString(const AParcel* parcel, std::string* str) {
    return ::AParcel_readString(parcel, str, &parcel_internal::allocateString);
}

inline binder_status_t AParcel_writeString(AParcel* parcel, const std::optional<std::string>& str) {
    if (!str)
        return ::AParcel_writeString(parcel, nullptr, -1);
    return AParcel_writeString(parcel, *str);
}

inline binder_status_t AParcel_readString(const AParcel* parcel, std::optional<std::string>* str) {
    return ::AParcel_readString(parcel, str, &parcel_internal::allocateOptionalString);
}

inline binder_status_t AParcel_writeVector(AParcel* parcel, const std::vector<int8_t>& vec) {
    if (!parcel_internal::fitsLength(vec.size()))
        return STATUS_BAD_VALUE;
    return AParcel_writeByteArray(parcel, vec.data(), static_cast<int32_t>(vec.size()));
}

inline binder_status_t AParcel_writeVector(AParcel* parcel, const std::vector<uint8_t>& vec) {
    if (!parcel_internal::fitsLength(vec.size()))
        return STATUS_BAD_VALUE;
    return AParcel_writeByteArray(parcel, reinterpret_cast<const int8_t*>(vec.data()),
                                  static_cast<int32_t>(vec.size()));
}

inline binder_status_t AParcel_readVector(const AParcel* parcel, std::vector<int8_t>* vec) {
    return AParcel_readByteArray(parcel, vec, &parcel_internal::allocateBytes<int8_t>);
}

inline binder_status_t AParcel_readVector(const AParcel* parcel, std::vector<uint8_t>* vec) {
    return AParcel_readByteArray(parcel, vec, &parcel_internal::allocateBytes<uint8_t>);
}

inline binder_status_t AParcel_writeVector(AParcel* parcel,
                                           const std::optional<std::vector<uint8_t>>& vec) {
    if (!vec)
        return AParcel_writeByteArray(parcel, nullptr, -1);
    return AParcel_writeVector(parcel, *vec);
}

inline binder_status_t AParcel_readVector(const AParcel* parcel,
                                          std::optional<std::vector<uint8_t>>* vec) {
    return AParcel_readByteArray(parcel, vec, &parcel_internal::allocateOptionalBytes<uint8_t>);
}

inline binder_status_t AParcel_writeVector(AParcel* parcel,
                                           const std::optional<std::vector<int8_t>>& vec) {
    if (!vec)
        return AParcel_writeByteArray(parcel, nullptr, -1);
    return AParcel_writeVector(parcel, *vec);
}

inline binder_status_t AParcel_readVector(const AParcel* parcel,
                                          std::optional<std::vector<int8_t>>* vec) {
    return AParcel_readByteArray(parcel, vec, &parcel_internal::allocateOptionalBytes<int8_t>);
}

inline binder_status_t AParcel_writeVector(AParcel* parcel, const std::vector<std::string>& vec) {
    if (!parcel_internal::fitsLength(vec.size()))
        return STATUS_BAD_VALUE;
    return AParcel_writeStringArray(parcel, &vec, static_cast<int32_t>(vec.size()),
                                    &parcel_internal::getStringVectorElement);
}

inline binder_status_t AParcel_readVector(const AParcel* parcel, std::vector<std::string>* vec) {
    return AParcel_readStringArray(parcel, vec, &parcel_internal::allocateStringVector,
                                   &parcel_internal::allocateStringVectorElement);
}

inline binder_status_t AParcel_writeRequiredStrongBinder(AParcel* parcel,
                                                         const SpAIBinder& binder) {
    if (binder.get() == nullptr)
        return STATUS_UNEXPECTED_NULL;
    return AParcel_writeStrongBinder(parcel, binder.get());
}

inline binder_status_t AParcel_readRequiredStrongBinder(const AParcel* parcel, SpAIBinder* binder) {
    AIBinder* read = nullptr;
    binder_status_t status = AParcel_readStrongBinder(parcel, &read);
    if (status != STATUS_OK)
        return status;
    if (read == nullptr)
        return STATUS_UNEXPECTED_NULL;
    binder->set(read);
    return STATUS_OK;
}

inline binder_status_t AParcel_writeNullableStrongBinder(AParcel* parcel,
                                                         const SpAIBinder& binder) {
    return AParcel_writeStrongBinder(parcel, binder.get());
}

inline binder_status_t AParcel_readNullableStrongBinder(const AParcel* parcel, SpAIBinder* binder) {
    AIBinder* read = nullptr;
    binder_status_t status = AParcel_readStrongBinder(parcel, &read);
    if (status != STATUS_OK)
        return status;
    binder->set(read);
    return STATUS_OK;
}

}  // namespace ndk
