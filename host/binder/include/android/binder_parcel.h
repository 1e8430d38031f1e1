/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Host build of the binder NDK: AParcel, the data of one transaction. Same names and semantics
// as the NDK's header of the same name.
//
// A parcel is a real byte buffer: every value is written at the data position, which then moves
// past it, and read back in the same order. Reads check the type and size of what they find:
// a short, mistyped or hostile parcel makes the read fail with a status (STATUS_NOT_ENOUGH_DATA,
// STATUS_BAD_VALUE, STATUS_BAD_TYPE, STATUS_UNEXPECTED_NULL), never read past the data, and never
// allocate more than the parcel holds. Strings are UTF-8 and must be valid UTF-8.
//
// Threads: one thread at a time per parcel.

#pragma once

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>
#include <uchar.h>

#include <android/binder_status.h>

#ifdef __cplusplus
extern "C" {
#endif

struct AIBinder;
typedef struct AIBinder AIBinder;

struct AParcel;
typedef struct AParcel AParcel;

// A parcel not tied to a transaction, e.g. to marshal a parcelable. Delete with AParcel_delete.
__attribute__((warn_unused_result)) AParcel* AParcel_create(void);
void AParcel_delete(AParcel* parcel);

// Negative positions give STATUS_BAD_VALUE. A position past the end is allowed: reads there fail
// and writes there extend the data with zeros.
binder_status_t AParcel_setDataPosition(const AParcel* parcel, int32_t position);
int32_t AParcel_getDataPosition(const AParcel* parcel);
int32_t AParcel_getDataSize(const AParcel* parcel);
// Empties the parcel (data and objects).
binder_status_t AParcel_reset(AParcel* parcel);

// Copies the parcel's bytes [start, start + len) into buffer. A parcel holding binders cannot be
// marshalled (STATUS_INVALID_OPERATION).
binder_status_t AParcel_marshal(const AParcel* parcel, uint8_t* buffer, size_t start, size_t len);
// Replaces the parcel's data with buffer and rewinds it; no binders can come this way.
binder_status_t AParcel_unmarshal(AParcel* parcel, const uint8_t* buffer, size_t len);

binder_status_t AParcel_writeStrongBinder(AParcel* parcel, AIBinder* binder);
// *binder gets one strong reference (or null for a null binder).
binder_status_t AParcel_readStrongBinder(const AParcel* parcel, AIBinder** binder);

binder_status_t AParcel_writeStatusHeader(AParcel* parcel, const AStatus* status);
binder_status_t AParcel_readStatusHeader(const AParcel* parcel, AStatus** status);

binder_status_t AParcel_writeInt32(AParcel* parcel, int32_t value);
binder_status_t AParcel_writeUint32(AParcel* parcel, uint32_t value);
binder_status_t AParcel_writeInt64(AParcel* parcel, int64_t value);
binder_status_t AParcel_writeUint64(AParcel* parcel, uint64_t value);
binder_status_t AParcel_writeFloat(AParcel* parcel, float value);
binder_status_t AParcel_writeDouble(AParcel* parcel, double value);
binder_status_t AParcel_writeBool(AParcel* parcel, bool value);
binder_status_t AParcel_writeChar(AParcel* parcel, char16_t value);
binder_status_t AParcel_writeByte(AParcel* parcel, int8_t value);

binder_status_t AParcel_readInt32(const AParcel* parcel, int32_t* value);
binder_status_t AParcel_readUint32(const AParcel* parcel, uint32_t* value);
binder_status_t AParcel_readInt64(const AParcel* parcel, int64_t* value);
binder_status_t AParcel_readUint64(const AParcel* parcel, uint64_t* value);
binder_status_t AParcel_readFloat(const AParcel* parcel, float* value);
binder_status_t AParcel_readDouble(const AParcel* parcel, double* value);
binder_status_t AParcel_readBool(const AParcel* parcel, bool* value);
binder_status_t AParcel_readChar(const AParcel* parcel, char16_t* value);
binder_status_t AParcel_readByte(const AParcel* parcel, int8_t* value);

// Gives the reader a buffer for a string of length bytes including the terminating NUL, or
// reports a null string with length -1 (return false if null is not acceptable).
typedef bool (*AParcel_stringAllocator)(void* stringData, int32_t length, char** buffer);
// Sizes an array for length elements, or reports a null array with length -1.
typedef bool (*AParcel_stringArrayAllocator)(void* arrayData, int32_t length);
// Gives the reader a buffer for element index (length as for AParcel_stringAllocator).
typedef bool (*AParcel_stringArrayElementAllocator)(void* arrayData, size_t index, int32_t length,
                                                    char** buffer);
// Returns element index and its length in bytes (without NUL), or null with -1 for a null string.
typedef const char* (*AParcel_stringArrayElementGetter)(const void* arrayData, size_t index,
                                                        int32_t* outLength);
// Gives the reader a buffer for length bytes, or reports a null array with length -1.
typedef bool (*AParcel_byteArrayAllocator)(void* arrayData, int32_t length, int8_t** outBuffer);

// length is in bytes without the terminating NUL; a null string is written with length -1.
binder_status_t AParcel_writeString(AParcel* parcel, const char* string, int32_t length);
binder_status_t AParcel_readString(const AParcel* parcel, void* stringData,
                                   AParcel_stringAllocator allocator);
// length -1 writes a null array.
binder_status_t AParcel_writeStringArray(AParcel* parcel, const void* arrayData, int32_t length,
                                         AParcel_stringArrayElementGetter getter);
binder_status_t AParcel_readStringArray(const AParcel* parcel, void* arrayData,
                                        AParcel_stringArrayAllocator allocator,
                                        AParcel_stringArrayElementAllocator elementAllocator);
// length -1 (with null arrayData) writes a null array.
binder_status_t AParcel_writeByteArray(AParcel* parcel, const int8_t* arrayData, int32_t length);
binder_status_t AParcel_readByteArray(const AParcel* parcel, void* arrayData,
                                      AParcel_byteArrayAllocator allocator);

#ifdef __cplusplus
}  // extern "C"
#endif
