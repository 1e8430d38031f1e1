/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "StormReport.h"

#include <cstdlib>
#include <sstream>

namespace com::vyr::plim::e2e {

StormReport::StormReport(const std::string& out) {
    std::istringstream in(out);
    for (std::string word; in >> word;) {
        if (word == "progress") {
            in >> progress_;
        } else if (word == "summary") {
            std::getline(in >> std::ws, summary_);
        } else if (word == "own") {
            Own entry{};
            in >> entry.serial >> entry.status >> entry.answers >> entry.wrongMethod >> entry.error;
            own_.push_back(entry);
        } else if (word == "other") {
            int32_t serial = 0;
            uint32_t answers = 0;
            in >> serial >> answers;
            others_[serial] = answers;
        } else {
            std::string rest;
            std::getline(in, rest);  // not ours: skipped whole
        }
    }
}

std::vector<std::string> StormReport::answeredWrongly(size_t limit) const {
    std::vector<std::string> wrong;
    for (const Own& entry : own_) {
        if (entry.status == 0 && entry.answers != 1 && wrong.size() < limit) {
            wrong.push_back(std::to_string(entry.serial) + " x" + std::to_string(entry.answers));
        }
    }
    return wrong;
}

size_t StormReport::accepted() const {
    size_t accepted = 0;
    for (const Own& entry : own_) {
        accepted += entry.status == 0;
    }
    return accepted;
}

std::map<int32_t, size_t> StormReport::errors() const {
    std::map<int32_t, size_t> errors;
    for (const Own& entry : own_) {
        if (entry.answers > 0) {
            ++errors[entry.error];
        }
    }
    return errors;
}

std::map<int32_t, uint32_t> responsesLogged(const std::string& log) {
    std::map<int32_t, uint32_t> counts;
    static const std::string kMarker = "] respond";
    static const std::string kSerial = ": serial = ";
    for (size_t at = log.find(kMarker); at != std::string::npos; at = log.find(kMarker, at + 1)) {
        const size_t lineEnd = log.find('\n', at);
        const size_t serial = log.find(kSerial, at);
        if (serial == std::string::npos || serial > lineEnd) {
            continue;  // "respondX: succeed" and the like
        }
        char* end = nullptr;
        const long value = std::strtol(log.c_str() + serial + kSerial.size(), &end, 10);
        if (*end == ',') {
            ++counts[static_cast<int32_t>(value)];
        }
    }
    return counts;
}

}  // namespace com::vyr::plim::e2e
