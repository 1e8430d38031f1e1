/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

namespace com::vyr::plim::bench {

/**
 * The console report, followed by a table of figures the benchmarks handed in, each beside the
 * goal it is held to, if any, and whether it met it. Nothing fails for a missed goal: the table
 * says so.
 */
class GoalReporter : public benchmark::ConsoleReporter {
  public:
    /** A figure shown for what it says, held to no goal. */
    void addFigure(std::string figure, std::string measured);
    void addGoal(std::string figure, std::string measured, std::string goal, bool met);
    /** A line printed under the table: how the figures were taken. */
    void addNote(std::string note);

    void Finalize() override;

  private:
    struct Row {
        std::string figure;
        std::string measured;
        std::string goal;
        std::string verdict;
    };
    std::vector<Row> rows_;
    std::vector<std::string> notes_;
};

}  // namespace com::vyr::plim::bench
