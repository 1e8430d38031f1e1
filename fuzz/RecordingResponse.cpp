/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "RecordingResponse.h"

#include <utility>

namespace com::vyr::plim::fuzz {

std::vector<ResponseCall> RecordingResponse::take() {
    std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(calls_, {});
}

ndk::ScopedAStatus RecordingResponse::record(ResponseCall call) {
    std::lock_guard<std::mutex> lock(mutex_);
    calls_.push_back(std::move(call));
    return ndk::ScopedAStatus::ok();
}

}  // namespace com::vyr::plim::fuzz
