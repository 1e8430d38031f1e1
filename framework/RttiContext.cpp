/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include <plim/RttiContext.h>

#include <plim/Log.h>

namespace com::vyr::plim {

namespace {
constexpr const char* TAG = "plim-framework";
}

bool RttiContext::isType(const std::string& type) const {
    for (size_t i = 0; i < typeCount_; ++i) {
        if (typeNames_[i] == &type || *typeNames_[i] == type) {
            return true;
        }
    }
    return false;
}

void RttiContext::enableRtti(const std::string& type) {
    if (typeCount_ == typeNames_.size()) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: no room for type tag {%s}, class chain too deep",
                             "enableRtti", type.c_str());
        return;
    }
    typeNames_[typeCount_++] = &type;
}

RttiContext::~RttiContext() = default;

}  // namespace com::vyr::plim
