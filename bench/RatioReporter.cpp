/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "RatioReporter.h"

#include <cstdio>
#include <utility>

namespace com::vyr::plim::bench {

RatioReporter::RatioReporter(Side reference, std::vector<Side> ours)
    : reference_(std::move(reference)), ours_(std::move(ours)) {}

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
    printf("\n%-16s %-16s %-20s %16s %16s %10s\n", "figure", "counter", "measured",
           reference_.title.c_str(), "measured value", "ratio");
    for (const auto& [family, sides] : figures_) {
        auto theirs = sides.find(reference_.name);
        if (theirs == sides.end()) {
            continue;
        }
        for (const Side& side : ours_) {
            auto mine = sides.find(side.name);
            if (mine == sides.end()) {
                continue;
            }
            for (const auto& [counter, reference] : theirs->second) {
                auto ours = mine->second.find(counter);
                if (ours == mine->second.end() || counter == "items_per_second") {
                    continue;
                }
                printf("%-16s %-16s %-20s %16.2f %16.2f %10.3f\n", family.c_str(), counter.c_str(),
                       side.title.c_str(), reference, ours->second,
                       reference != 0 ? ours->second / reference : 0.0);
            }
        }
    }
    fflush(stdout);
}

}  // namespace com::vyr::plim::bench
