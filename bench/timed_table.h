// A table of times: our function against a peer's over the same bytes, both beside a copy of as many bytes as have to
// be read and written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace vorel_bench {

struct TimedRow {
    std::string name;
    std::function<void()> ours, peer;
    size_t bytes;  // read and written by ours at the least
    bool threads;  // ours runs on several
};

// What the copy is made from and to.
struct CopyRoom {
    const uint8_t *from;
    uint8_t *to;
    size_t bytes;
};

class TimedTable {
  public:
    // A program's whole run: PROGRAM [REGEX] [--results FILE]. `fill` adds the rows; the table is printed, and kept in
    // FILE. Returns the exit status.
    static int run(int argc, char **argv, const std::string &head, const std::function<void(TimedTable &)> &fill);

    // Measures the row if its name matches the filter.
    void add(const TimedRow &row, const CopyRoom &room);

  private:
    void emit(const std::string &text);

    std::string filter_ = ".", text_;
};

}  // namespace vorel_bench
