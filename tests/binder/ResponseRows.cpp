/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "ResponseRows.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "ModemResponse.h"
#include "TestClient.h"

namespace com::vyr::plim::test {

namespace {

std::string logValue(const std::string& value) {
    return ", result = " + value;
}
std::string logValue(const std::vector<uint8_t>& value) {
    return ", result size = " + std::to_string(value.size());
}
std::string logValue(const std::vector<std::string>& value) {
    return ", result size = " + std::to_string(value.size());
}
std::string logValue(int32_t value) {
    return ", result = " + std::to_string(value);
}
std::string logValue(bool value) {
    return value ? ", result = true" : ", result = false";
}

ResponseRow makeRow(const char* name, int (*respond)(int, Errno)) {
    return ResponseRow{name,
                       [respond](int serial, Errno err, size_t) { return respond(serial, err); },
                       {},
                       {}};
}

// Value is the result type as the sender takes it (by value or by const reference).
template <typename Value, typename Param>
ResponseRow makeRow(const char* name, int (*respond)(int, Errno, Param),
                    std::array<Value, 2> values) {
    return ResponseRow{name,
                       [respond, values](int serial, Errno err, size_t variant) {
                           return respond(serial, err, values[variant]);
                       },
                       {describeResult(values[0]), describeResult(values[1])},
                       {logValue(values[0]), logValue(values[1])}};
}

using Bytes = std::vector<uint8_t>;
using Strings = std::vector<std::string>;

// The row's name and its sender come from one token, so they cannot disagree.
#define ROW(Name) makeRow(#Name, &modem::ModemResponse::respond##Name)
#define ROW_OF(Name, Type, ...) \
    makeRow<Type>(#Name, &modem::ModemResponse::respond##Name, std::array<Type, 2>{__VA_ARGS__})

Bytes countingBytes(size_t size) {
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<uint8_t>(i * 7 + 0x80);
    }
    return bytes;
}

}  // namespace

void PrintTo(const ResponseRow& row, std::ostream* os) {
    *os << row.name;
}

const std::vector<ResponseRow>& responseRows() {
    static const std::vector<ResponseRow> rows{
            ROW_OF(GetBuildTime, std::string, "2026-03-14 09:26:53 \xc3\xa9t\xc3\xa9", "0"),
            ROW_OF(GetBuildId, std::string, "plim-fw 1.2.3+build.77 %d %s", " spaced  out "),
            ROW_OF(ReadNv, Bytes, Bytes{0x00, 0x7f, 0x80, 0xff}, Bytes{0xff}),
            ROW(WriteNv),
            ROW_OF(ReadEfs, Bytes, Bytes{0xff, 0x80, 0x7f, 0x00, 0x01}, Bytes{0x00, 0x00}),
            ROW(WriteEfs),
            ROW(DeleteEfsFile),
            ROW(DeleteEfsDir),
            ROW_OF(GetNrNetworkMode, int32_t, -1, 3),
            ROW(SetNrNetworkMode),
            ROW_OF(GetVonrMode, int32_t, 2, -2),
            ROW(SetVonrMode),
            ROW_OF(GetOperatingMode, int32_t, INT32_MIN, 6),
            ROW(SetOperatingMode),
            ROW(SetRadioInfoReportSwitch),
            ROW(DeleteImsProfile),
            ROW_OF(GetActiveMbnInfo, Bytes, countingBytes(300), Bytes{0x80, 0x00, 0xff, 0x7f}),
            ROW_OF(GetMetaMbnInfo, Bytes, Bytes{0x7f, 0xff, 0x00, 0x80, 'm'}, Bytes{0x01}),
            ROW_OF(GetMbnList, Strings, Strings{"row/commercial.mbn", "", "lab \xc3\xa9.mbn"},
                   Strings{"only.mbn"}),
            ROW(DeleteAllMbns),
            ROW(SelectMbn),
            ROW(LoadMbn),
            ROW(ActivateMbn),
            ROW(DeactivateMbn),
            ROW(ActivateMbnByName),
            ROW(RestoreDiffQcn),
            ROW(RebootModem),
            ROW(RemoveRatMask),
            ROW_OF(GetModemProperty, Bytes, Bytes{0x00, 0x00, 0xff, 0x80, 0x7f}, Bytes{'v', 0x00}),
            ROW(SetModemProperty),
            ROW(DeleteModemProperty),
            ROW_OF(Get5gPowerSaveSwitch, bool, true, false),
            ROW(Set5gPowerSaveSwitch),
            ROW(Set5gPowerSaveMode),
            ROW(ForceAsdiv),
            ROW_OF(GetSimlockFuseState, int32_t, INT32_MAX, -100),
            ROW_OF(GetQstMode, int32_t, -7, 1),
            ROW(SetQstMode),
            ROW(AbortRrcConnection),
            ROW(SetSarState),
            ROW(InformScreenState),
    };
    return rows;
}

#undef ROW
#undef ROW_OF

const ResponseRow& responseRow(const std::string& name) {
    for (const ResponseRow& row : responseRows()) {
        if (row.name == name) {
            return row;
        }
    }
    ADD_FAILURE() << "no response row named " << name;
    return responseRows().front();
}

}  // namespace com::vyr::plim::test
