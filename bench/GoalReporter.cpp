/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "GoalReporter.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace com::vyr::plim::bench {

void GoalReporter::addFigure(std::string figure, std::string measured) {
    rows_.push_back({std::move(figure), std::move(measured), "", ""});
}

void GoalReporter::addGoal(std::string figure, std::string measured, std::string goal, bool met) {
    rows_.push_back({std::move(figure), std::move(measured), std::move(goal),
                     met ? "goal met" : "NOT met"});
}

void GoalReporter::addNote(std::string note) {
    notes_.push_back(std::move(note));
}

void GoalReporter::Finalize() {
    ConsoleReporter::Finalize();
    size_t figureWidth = 6;
    size_t measuredWidth = 8;
    size_t goalWidth = 4;
    for (const Row& row : rows_) {
        figureWidth = std::max(figureWidth, row.figure.size());
        measuredWidth = std::max(measuredWidth, row.measured.size());
        goalWidth = std::max(goalWidth, row.goal.size());
    }
    const int f = static_cast<int>(figureWidth);
    const int m = static_cast<int>(measuredWidth);
    const int g = static_cast<int>(goalWidth);
    printf("\n%-*s  %*s  %-*s  %s\n", f, "figure", m, "measured", g, "goal", "");
    for (const Row& row : rows_) {
        printf("%-*s  %*s  %-*s  %s\n", f, row.figure.c_str(), m, row.measured.c_str(), g,
               row.goal.c_str(), row.verdict.c_str());
    }
    for (const std::string& note : notes_) {
        printf("%s\n", note.c_str());
    }
    fflush(stdout);
}

}  // namespace com::vyr::plim::bench
