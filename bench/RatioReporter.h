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
 * The console report, followed by a table that puts each figure of "<name>/<ours>" beside the
 * same figure of "<name>/<reference>" measured in the same run, with their ratio.
 */
class RatioReporter : public benchmark::ConsoleReporter {
  public:
    /** `reference` and `ours` are the benchmark name's second part; the titles head the table. */
    RatioReporter(std::string reference, std::string referenceTitle, std::string ours,
                  std::string oursTitle);

    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;

  private:
    const std::string reference_;
    const std::string referenceTitle_;
    const std::string ours_;
    const std::string oursTitle_;
    // benchmark family -> side -> counter -> value
    std::map<std::string, std::map<std::string, std::map<std::string, double>>> figures_;
};

}  // namespace com::vyr::plim::bench
