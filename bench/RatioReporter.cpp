/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "RatioReporter.h"

#include <cstdio>

namespace com::vyr::plim::bench {

void RatioReporter::ReportRuns(const std::vector<Run>& runs) {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
        std::string name = run.benchmark_name();
        size_t slash = name.find('/');
        if (slash == std::string::npos) {
            continue;
        }
        std::string side = name.substr(slash + 1);
        side = side.substr(0, side.find('/'));
        for (const auto& [counter, value] : run.counters) {
            figures_[name.substr(0, slash)][side][counter] = value.value;
        }
    }
}

void RatioReporter::Finalize() {
    ConsoleReporter::Finalize();
    printf("\n%-16s %-16s %16s %16s %14s\n", "figure", "counter", "android::Looper", "plim Looper",
           "plim/android");
    for (const auto& [family, sides] : figures_) {
        auto android = sides.find("android");
        auto plim = sides.find("plim");
        if (android == sides.end() || plim == sides.end()) {
            continue;
        }
        for (const auto& [counter, reference] : android->second) {
            auto ours = plim->second.find(counter);
            if (ours == plim->second.end() || counter == "items_per_second") {
                continue;
            }
            printf("%-16s %-16s %16.2f %16.2f %14.3f\n", family.c_str(), counter.c_str(), reference,
                   ours->second, reference != 0 ? ours->second / reference : 0.0);
        }
    }
    fflush(stdout);
}

}  // namespace com::vyr::plim::bench
