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
 * The console report, followed by a table that puts each figure of "<name>/plim" beside the same
 * figure of "<name>/android" measured in the same run, with their ratio.
 */
class RatioReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;

  private:
    // benchmark family -> side ("android" or "plim") -> counter -> value
    std::map<std::string, std::map<std::string, std::map<std::string, double>>> figures_;
};

}  // namespace com::vyr::plim::bench
