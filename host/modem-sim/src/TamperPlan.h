/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The answers tests plan to deliver altered: asynchronous replies by the C name of the call
// answered, PDC answers by event type. The sibling of FaultPlan: that one refuses calls, this one
// spoils the answers of accepted ones.
//
// Threads: none of its own; the modem's lock guards it.

#pragma once

#include <map>
#include <optional>
#include <string>

#include <modem_api.h>
#include <modem_sim/ModemSimControl.h>

namespace modemsim {

template <typename Key, typename Tamper>
class TamperPlan {
  public:
    /** After `skip` answers under `key` pass, the next `count` get `tamper`; count <= 0 cancels. */
    void tamperNext(const Key& key, int count, const Tamper& tamper, int skip) {
        if (count <= 0) {
            mEntries.erase(key);
            return;
        }
        mEntries[key] = Entry{skip > 0 ? skip : 0, count, tamper};
    }

    /** For an answer under `key` as the modem makes it: the tamper it gets, if any. */
    std::optional<Tamper> take(const Key& key) {
        auto entry = mEntries.find(key);
        if (entry == mEntries.end())
            return std::nullopt;
        if (entry->second.skip > 0) {
            --entry->second.skip;
            return std::nullopt;
        }
        std::optional<Tamper> tamper = entry->second.tamper;
        if (--entry->second.remaining == 0)
            mEntries.erase(entry);
        return tamper;
    }

  private:
    struct Entry {
        int skip = 0;
        int remaining = 0;
        Tamper tamper;
    };

    std::map<Key, Entry> mEntries;
};

using ReplyTamperPlan = TamperPlan<std::string, ReplyTamper>;
using EventTamperPlan = TamperPlan<modem_api_event_type, EventTamper>;

}  // namespace modemsim
