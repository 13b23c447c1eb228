// Rows of two functions that do the same work, measured in turns: the table of the programs that need no more than
// that.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace vorel_bench {

struct TurnRow {
    std::string name;
    std::function<void()> ours, peer;
    size_t bytes;  // read and written by ours at the least
    bool threads;  // ours runs on several
};

// Two places that are as large as anything a row reads or writes, or as a cache, for the copy beside it.
struct CopyRoom {
    uint8_t *to;
    const uint8_t *from;
    size_t bytes;
};

// The row's line: medians, the median ratio, spreads, the time of a copy of as many bytes.
std::string measured(const TurnRow &row, const CopyRoom &room);
// What the columns are, for the table's head.
extern const char *const kTurnColumns;

// Text that goes to standard output and is kept.
class TurnTable {
  public:
    void emit(const std::string &text);
    bool keep(const std::string &path) const;

  private:
    std::string text_;
};

// PROGRAM [REGEX] [--results FILE]: fill adds the rows whose names match. The process's status.
int run_turns(int argc, char **argv, const char *program,
              const std::function<void(const std::string &pattern, TurnTable &table)> &fill);

}  // namespace vorel_bench
