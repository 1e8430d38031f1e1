/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The NDK's AParcel_* functions over AParcel.

#include <android/binder_parcel.h>

#include <cstring>
#include <limits>

#include "Parcel.h"
#include "Required.h"
#include "Status.h"

namespace {

const AParcel& checked(const AParcel* parcel, const char* function) {
    return hostbinder::required(parcel, function, "AParcel");
}

AParcel& checked(AParcel* parcel, const char* function) {
    return hostbinder::required(parcel, function, "AParcel");
}

template <typename T>
binder_status_t writeValue(AParcel* parcel, T value, const char* function) {
    return checked(parcel, function).writeValue(value);
}

template <typename T>
binder_status_t readValue(const AParcel* parcel, T* value, const char* function) {
    if (value == nullptr)
        return STATUS_UNEXPECTED_NULL;
    return checked(parcel, function).readValue(value);
}

// bool, char16_t and byte travel as int32, as on a device.
template <typename Small>
binder_status_t readWidened(const AParcel* parcel, Small* value, const char* function) {
    if (value == nullptr)
        return STATUS_UNEXPECTED_NULL;
    int32_t wide = 0;
    binder_status_t status = checked(parcel, function).readValue(&wide);
    if (status == STATUS_OK)
        *value = static_cast<Small>(wide);
    return status;
}

// Reads a string and hands it to allocator. A string that cannot be null reports null as
// STATUS_UNEXPECTED_NULL.
template <typename Allocate>
binder_status_t readStringInto(const AParcel& parcel, Allocate allocate) {
    std::optional<std::string> str;
    binder_status_t status = parcel.readString(&str);
    if (status != STATUS_OK)
        return status;
    if (!str) {
        char* unused = nullptr;
        return allocate(-1, &unused) ? STATUS_OK : STATUS_UNEXPECTED_NULL;
    }
    char* buffer = nullptr;
    if (!allocate(static_cast<int32_t>(str->size() + 1), &buffer) || buffer == nullptr)
        return STATUS_NO_MEMORY;
    std::memcpy(buffer, str->data(), str->size());
    buffer[str->size()] = '\0';
    return STATUS_OK;
}

}  // namespace

AParcel* AParcel_create() {
    return new AParcel();
}

void AParcel_delete(AParcel* parcel) {
    delete parcel;
}

binder_status_t AParcel_setDataPosition(const AParcel* parcel, int32_t position) {
    if (position < 0)
        return STATUS_BAD_VALUE;
    checked(parcel, __func__).setDataPosition(static_cast<size_t>(position));
    return STATUS_OK;
}

int32_t AParcel_getDataPosition(const AParcel* parcel) {
    return static_cast<int32_t>(checked(parcel, __func__).dataPosition());
}

int32_t AParcel_getDataSize(const AParcel* parcel) {
    return static_cast<int32_t>(checked(parcel, __func__).dataSize());
}

binder_status_t AParcel_reset(AParcel* parcel) {
    checked(parcel, __func__).reset();
    return STATUS_OK;
}

binder_status_t AParcel_marshal(const AParcel* parcel, uint8_t* buffer, size_t start, size_t len) {
    const AParcel& p = checked(parcel, __func__);
    if (!p.objects().empty())
        return STATUS_INVALID_OPERATION;
    if (start > p.dataSize() || len > p.dataSize() - start)
        return STATUS_BAD_VALUE;
    if (len > 0 && buffer == nullptr)
        return STATUS_UNEXPECTED_NULL;
    if (len > 0)
        std::memcpy(buffer, p.data() + start, len);
    return STATUS_OK;
}

binder_status_t AParcel_unmarshal(AParcel* parcel, const uint8_t* buffer, size_t len) {
    AParcel& p = checked(parcel, __func__);
    if (len > 0 && buffer == nullptr)
        return STATUS_UNEXPECTED_NULL;
    if (len > static_cast<size_t>(std::numeric_limits<int32_t>::max()))
        return STATUS_BAD_VALUE;
    p.assign(buffer, len);
    return STATUS_OK;
}

binder_status_t AParcel_writeStrongBinder(AParcel* parcel, AIBinder* binder) {
    return checked(parcel, __func__).writeBinder(binder);
}

binder_status_t AParcel_readStrongBinder(const AParcel* parcel, AIBinder** binder) {
    if (binder == nullptr)
        return STATUS_UNEXPECTED_NULL;
    return checked(parcel, __func__).readBinder(binder);
}

// The reply of a two-way AIDL call starts with the call's exception: EX_NONE alone, or the
// exception, its message and, for EX_SERVICE_SPECIFIC, the service's code. A transaction
// failure is not written: it becomes the status of the transaction itself.
binder_status_t AParcel_writeStatusHeader(AParcel* parcel, const AStatus* status) {
    AParcel& p = checked(parcel, __func__);
    if (status == nullptr)
        return STATUS_UNEXPECTED_NULL;
    if (status->exception == EX_TRANSACTION_FAILED) {
        return status->errorCode != STATUS_OK ? status->errorCode : STATUS_FAILED_TRANSACTION;
    }
    binder_status_t result = p.writeValue<int32_t>(status->exception);
    if (result != STATUS_OK || status->exception == EX_NONE)
        return result;
    if (status->message.size() > static_cast<size_t>(std::numeric_limits<int32_t>::max())) {
        return STATUS_BAD_VALUE;
    }
    result = p.writeString(status->message.c_str(), static_cast<int32_t>(status->message.size()));
    if (result != STATUS_OK)
        return result;
    if (status->exception == EX_SERVICE_SPECIFIC)
        result = p.writeValue(status->errorCode);
    return result;
}

binder_status_t AParcel_readStatusHeader(const AParcel* parcel, AStatus** status) {
    const AParcel& p = checked(parcel, __func__);
    if (status == nullptr)
        return STATUS_UNEXPECTED_NULL;
    int32_t exception = 0;
    binder_status_t result = p.readValue(&exception);
    if (result != STATUS_OK)
        return result;
    if (exception == EX_NONE) {
        *status = new AStatus();
        return STATUS_OK;
    }
    std::optional<std::string> message;
    result = p.readString(&message);
    if (result != STATUS_OK)
        return result;
    int32_t errorCode = 0;
    if (exception == EX_SERVICE_SPECIFIC) {
        result = p.readValue(&errorCode);
        if (result != STATUS_OK)
            return result;
    }
    *status = new AStatus(exception, errorCode, message.value_or(std::string()));
    return STATUS_OK;
}

binder_status_t AParcel_writeInt32(AParcel* parcel, int32_t value) {
    return writeValue(parcel, value, __func__);
}
binder_status_t AParcel_writeUint32(AParcel* parcel, uint32_t value) {
    return writeValue(parcel, value, __func__);
}
binder_status_t AParcel_writeInt64(AParcel* parcel, int64_t value) {
    return writeValue(parcel, value, __func__);
}
binder_status_t AParcel_writeUint64(AParcel* parcel, uint64_t value) {
    return writeValue(parcel, value, __func__);
}
binder_status_t AParcel_writeFloat(AParcel* parcel, float value) {
    return writeValue(parcel, value, __func__);
}
binder_status_t AParcel_writeDouble(AParcel* parcel, double value) {
    return writeValue(parcel, value, __func__);
}
binder_status_t AParcel_writeBool(AParcel* parcel, bool value) {
    return writeValue<int32_t>(parcel, value ? 1 : 0, __func__);
}
binder_status_t AParcel_writeChar(AParcel* parcel, char16_t value) {
    return writeValue<int32_t>(parcel, value, __func__);
}
binder_status_t AParcel_writeByte(AParcel* parcel, int8_t value) {
    return writeValue<int32_t>(parcel, value, __func__);
}

binder_status_t AParcel_readInt32(const AParcel* parcel, int32_t* value) {
    return readValue(parcel, value, __func__);
}
binder_status_t AParcel_readUint32(const AParcel* parcel, uint32_t* value) {
    return readValue(parcel, value, __func__);
}
binder_status_t AParcel_readInt64(const AParcel* parcel, int64_t* value) {
    return readValue(parcel, value, __func__);
}
binder_status_t AParcel_readUint64(const AParcel* parcel, uint64_t* value) {
    return readValue(parcel, value, __func__);
}
binder_status_t AParcel_readFloat(const AParcel* parcel, float* value) {
    return readValue(parcel, value, __func__);
}
binder_status_t AParcel_readDouble(const AParcel* parcel, double* value) {
    return readValue(parcel, value, __func__);
}
binder_status_t AParcel_readBool(const AParcel* parcel, bool* value) {
    if (value == nullptr)
        return STATUS_UNEXPECTED_NULL;
    int32_t wide = 0;
    binder_status_t status = checked(parcel, __func__).readValue(&wide);
    if (status == STATUS_OK)
        *value = wide != 0;
    return status;
}
binder_status_t AParcel_readChar(const AParcel* parcel, char16_t* value) {
    return readWidened(parcel, value, __func__);
}
binder_status_t AParcel_readByte(const AParcel* parcel, int8_t* value) {
    return readWidened(parcel, value, __func__);
}

binder_status_t AParcel_writeString(AParcel* parcel, const char* string, int32_t length) {
    return checked(parcel, __func__).writeString(string, length);
}

binder_status_t AParcel_readString(const AParcel* parcel, void* stringData,
                                   AParcel_stringAllocator allocator) {
    if (allocator == nullptr)
        return STATUS_UNEXPECTED_NULL;
    return readStringInto(checked(parcel, __func__), [&](int32_t length, char** buffer) {
        return allocator(stringData, length, buffer);
    });
}

binder_status_t AParcel_writeStringArray(AParcel* parcel, const void* arrayData, int32_t length,
                                         AParcel_stringArrayElementGetter getter) {
    AParcel& p = checked(parcel, __func__);
    if (length == -1)
        return p.writeValue<int32_t>(-1);
    if (length < 0)
        return STATUS_BAD_VALUE;
    if (getter == nullptr)
        return STATUS_UNEXPECTED_NULL;
    binder_status_t status = p.writeValue<int32_t>(length);
    for (int32_t i = 0; i < length && status == STATUS_OK; ++i) {
        int32_t elementLength = -1;
        const char* element = getter(arrayData, static_cast<size_t>(i), &elementLength);
        status = p.writeString(element, element != nullptr ? elementLength : -1);
    }
    return status;
}

binder_status_t AParcel_readStringArray(const AParcel* parcel, void* arrayData,
                                        AParcel_stringArrayAllocator allocator,
                                        AParcel_stringArrayElementAllocator elementAllocator) {
    const AParcel& p = checked(parcel, __func__);
    if (allocator == nullptr || elementAllocator == nullptr)
        return STATUS_UNEXPECTED_NULL;
    int32_t length = 0;
    binder_status_t status = p.readValue(&length);
    if (status != STATUS_OK)
        return status;
    if (length == -1)
        return allocator(arrayData, -1) ? STATUS_OK : STATUS_UNEXPECTED_NULL;
    if (length < 0)
        return STATUS_BAD_VALUE;
    // Each element takes at least its length word: more elements than that cannot be there, and
    // sizing the array for them would let a hostile length allocate at will.
    if (static_cast<size_t>(length) > p.available() / sizeof(int32_t)) {
        return STATUS_NOT_ENOUGH_DATA;
    }
    if (!allocator(arrayData, length))
        return STATUS_NO_MEMORY;
    for (int32_t i = 0; i < length; ++i) {
        status = readStringInto(p, [&](int32_t elementLength, char** buffer) {
            return elementAllocator(arrayData, static_cast<size_t>(i), elementLength, buffer);
        });
        if (status != STATUS_OK)
            return status;
    }
    return STATUS_OK;
}

binder_status_t AParcel_writeByteArray(AParcel* parcel, const int8_t* arrayData, int32_t length) {
    AParcel& p = checked(parcel, __func__);
    if (length == -1)
        return p.writeValue<int32_t>(-1);
    if (length < 0)
        return STATUS_BAD_VALUE;
    if (length > 0 && arrayData == nullptr)
        return STATUS_UNEXPECTED_NULL;
    p.writeValue<int32_t>(length);
    return p.writeBytes(arrayData, static_cast<size_t>(length));
}

binder_status_t AParcel_readByteArray(const AParcel* parcel, void* arrayData,
                                      AParcel_byteArrayAllocator allocator) {
    const AParcel& p = checked(parcel, __func__);
    if (allocator == nullptr)
        return STATUS_UNEXPECTED_NULL;
    int32_t length = 0;
    binder_status_t status = p.readValue(&length);
    if (status != STATUS_OK)
        return status;
    if (length == -1) {
        int8_t* unused = nullptr;
        return allocator(arrayData, -1, &unused) ? STATUS_OK : STATUS_UNEXPECTED_NULL;
    }
    if (length < 0)
        return STATUS_BAD_VALUE;
    // Check the bytes are there before the allocator sizes anything for them.
    const uint8_t* bytes = p.readInPlace(static_cast<size_t>(length));
    if (bytes == nullptr)
        return STATUS_NOT_ENOUGH_DATA;
    int8_t* buffer = nullptr;
    if (!allocator(arrayData, length, &buffer))
        return STATUS_NO_MEMORY;
    if (length > 0) {
        if (buffer == nullptr)
            return STATUS_NO_MEMORY;
        std::memcpy(buffer, bytes, static_cast<size_t>(length));
    }
    return STATUS_OK;
}
