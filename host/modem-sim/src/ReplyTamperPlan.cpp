/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "ReplyTamperPlan.h"

namespace modemsim {

void ReplyTamperPlan::tamperNext(const std::string& function, int count, const ReplyTamper& tamper,
                                 int skip) {
    if (count <= 0) {
        mEntries.erase(function);
        return;
    }
    mEntries[function] = Entry{skip > 0 ? skip : 0, count, tamper};
}

std::optional<ReplyTamper> ReplyTamperPlan::take(const std::string& function) {
    auto entry = mEntries.find(function);
    if (entry == mEntries.end())
        return std::nullopt;
    if (entry->second.skip > 0) {
        --entry->second.skip;
        return std::nullopt;
    }
    std::optional<ReplyTamper> tamper = entry->second.tamper;
    if (--entry->second.remaining == 0)
        mEntries.erase(entry);
    return tamper;
}

}  // namespace modemsim
