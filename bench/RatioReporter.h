/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace com::vyr::plim::bench {

/**
 * The console report, followed by a table that puts each figure of every "<name>/<ours>" beside
 * the same figure of each "<name>/<reference>" measured in the same run, with their ratio
 * (ours / reference). A benchmark run with repetitions contributes its median.
 */
class RatioReporter : public benchmark::ConsoleReporter {
  public:
    /** A benchmark name's second part and the title its rows carry in the table. */
    struct Side {
        std::string name;
        std::string title;
    };

    RatioReporter(Side reference, std::vector<Side> ours);
    /** Puts every figure of ours beside this reference's too. Before the run. */
    void addReference(Side reference);

    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;

  private:
    std::vector<Side> references_;
    const std::vector<Side> ours_;
    // benchmark family -> side -> counter -> value
    std::map<std::string, std::map<std::string, std::map<std::string, double>>> figures_;
};

}  // namespace com::vyr::plim::bench
