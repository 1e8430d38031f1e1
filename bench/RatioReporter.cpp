/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "RatioReporter.h"

#include <cstdio>
#include <utility>

namespace com::vyr::plim::bench {

RatioReporter::RatioReporter(Side reference, std::vector<Side> ours)
    : references_{std::move(reference)}, ours_(std::move(ours)) {}

void RatioReporter::addReference(Side reference) {
    references_.push_back(std::move(reference));
}

void RatioReporter::ReportRuns(const std::vector<Run>& runs) {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
        // Of a repeated benchmark only the median stands for it: single repetitions on a
        // shared machine swing too much to compare.
        if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median") {
            continue;
        }
        std::string name = run.run_name.function_name;
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
    printf("\n%-16s %-16s %-22s %-26s %14s %14s %8s\n", "figure", "counter", "measured", "against",
           "reference", "measured", "ratio");
    for (const auto& [family, sides] : figures_) {
        for (const Side& side : ours_) {
            auto mine = sides.find(side.name);
            if (mine == sides.end()) {
                continue;
            }
            for (const Side& reference : references_) {
                auto theirs = sides.find(reference.name);
                if (theirs == sides.end()) {
                    continue;
                }
                for (const auto& [counter, value] : theirs->second) {
                    auto ours = mine->second.find(counter);
                    if (ours == mine->second.end() || counter == "items_per_second") {
                        continue;
                    }
                    printf("%-16s %-16s %-22s %-26s %14.2f %14.2f %8.3f\n", family.c_str(),
                           counter.c_str(), side.title.c_str(), reference.title.c_str(), value,
                           ours->second, value != 0 ? ours->second / value : 0.0);
                }
            }
        }
    }
    fflush(stdout);
}

}  // namespace com::vyr::plim::bench
