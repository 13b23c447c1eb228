// Two pieces of work measured in turns, and the table that shows them: for programs whose rows are plain functions.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "filter.h"

namespace vorel_bench {

// Work of one thread is measured in its processor time, so that neighbours on the machine count less; work of several
// by the clock.
double seconds_of(const std::function<void()> &work, bool threads);

struct Times {
    std::vector<double> seconds;
    double median();
    double spread() const;  // the middle half by the median; after median()
};

struct Turns {
    Times ours, peer, third, ratios;  // ratio: the peer's time by ours, of one turn
};
struct TurnEffort {
    double seconds = 0.25;
    int least = 7, most = 41;
};
// After one run of each; `third` (may be empty) is measured beside them and counts for no ratio.
Turns measure_in_turns(const std::function<void()> &ours, const std::function<void()> &peer,
                       const std::function<void()> &third, bool threads, const TurnEffort &effort = {});

// The row's line: medians, the median ratio, spreads, and beside them the time of a copy of as many bytes.
std::string line_of(const std::string &name, Turns *turns, double memory_seconds);
// What its columns are, for the table's head.
extern const char *const kTurnColumns;

// Text for standard output and, in the end, a file.
class Table {
  public:
    void emit(const std::string &text);
    bool keep(const std::string &path) const;

  private:
    std::string text_;
};

// PROGRAM [REGEX] [--results FILE]: runs run(filter, table) and keeps the table. For main().
int table_main(int argc, char **argv, const char *program,
               const std::function<void(const Filter &filter, Table &table)> &run);

}  // namespace vorel_bench
