/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The client base's two checks of what the modem library returns: the result conversion and
// the asynchronous reply check that wraps it.

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <vector>

#include <plim/Errno.h>

#include "QmiClient.h"

namespace com::vyr::plim::modem {
namespace {

struct ResultRow {
    const char* name;
    modem_api_result_type result;
    int expected;
};

void PrintTo(const ResultRow& row, std::ostream* os) {
    *os << row.name;
}

std::vector<uint8_t> replyWithResult(uint32_t result, size_t size = 548) {
    std::vector<uint8_t> reply(size, 0xA5);
    std::memcpy(reply.data() + 4, &result, sizeof(result));
    return reply;
}

class QmiClientResultTest : public ::testing::TestWithParam<ResultRow> {};

TEST_P(QmiClientResultTest, ConvertModemApiResult_ForEachCode_MapsToItsErrno) {
    EXPECT_EQ(GetParam().expected, QmiClient::convertModemApiResult(GetParam().result))
            << "modem result " << GetParam().result << " maps to the wrong error";
}

TEST_P(QmiClientResultTest, VerifyModemApiAsyncResponse_With548Bytes_ConvertsResultWord) {
    std::vector<uint8_t> reply = replyWithResult(static_cast<uint32_t>(GetParam().result));
    EXPECT_EQ(GetParam().expected,
              QmiClient::verifyModemApiAsyncResponse(reply.data(), reply.size()))
            << "the reply's result word at offset 4 was not the one converted";
}

INSTANTIATE_TEST_SUITE_P(
        Codes, QmiClientResultTest,
        ::testing::Values(
                ResultRow{"Success", 0, OK}, ResultRow{"GenericFailure", 1, FAILED},
                ResultRow{"NoMemory", 2, NO_MEMORY},
                ResultRow{"InvalidArgument", 3, INVALID_ARGUMENT}, ResultRow{"Internal", 4, FAILED},
                ResultRow{"NotSupported", 5, UNSUPPORTED}, ResultRow{"Timeout", 6, FAILED},
                ResultRow{"Transport", 7, FAILED}, ResultRow{"NotReady", 8, INVALID_STATE},
                ResultRow{"Busy", 9, FAILED}, ResultRow{"NoResources", 10, NO_MEMORY},
                ResultRow{"FirstUnknown", 11, FAILED}, ResultRow{"Negative", -1, FAILED},
                ResultRow{"Largest", INT_MAX, FAILED}, ResultRow{"Smallest", INT_MIN, FAILED}),
        [](const ::testing::TestParamInfo<ResultRow>& info) { return info.param.name; });

TEST(QmiClientReplyTest, VerifyModemApiAsyncResponse_WhenNotExactly548Bytes_IsInvalidArgument) {
    for (size_t size : {size_t{0}, size_t{8}, size_t{547}, size_t{549}}) {
        std::vector<uint8_t> reply = replyWithResult(0, size < 8 ? 8 : size);
        EXPECT_EQ(INVALID_ARGUMENT, QmiClient::verifyModemApiAsyncResponse(reply.data(), size))
                << "a reply of " << size << " bytes was accepted";
    }
    EXPECT_EQ(INVALID_ARGUMENT, QmiClient::verifyModemApiAsyncResponse(nullptr, 548))
            << "a null reply was accepted";
}

}  // namespace
}  // namespace com::vyr::plim::modem
