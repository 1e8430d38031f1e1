/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "FaultPlan.h"

namespace modemsim {

void FaultPlan::failNext(const std::string& function, int count, modem_api_result_type result,
                         int skip) {
    if (count <= 0) {
        mFailures.erase(function);
        return;
    }
    mFailures[function] = Failure{skip > 0 ? skip : 0, count, result};
}

void FaultPlan::setLatency(const std::string& function, std::chrono::microseconds latency) {
    mLatencies[function] = latency;
}

FaultPlan::Admission FaultPlan::admit(const std::string& function) {
    Admission admission;
    for (const std::string& key : {std::string(), function}) {
        auto latency = mLatencies.find(key);
        if (latency != mLatencies.end())
            admission.latency += latency->second;
    }
    auto failure = mFailures.find(function);
    if (failure != mFailures.end() && failure->second.skip > 0) {
        --failure->second.skip;
    } else if (failure != mFailures.end()) {
        admission.fault = failure->second.result;
        if (--failure->second.remaining == 0)
            mFailures.erase(failure);
    }
    return admission;
}

}  // namespace modemsim
