#include "timed_table.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <regex>
#include <vector>

#include "machine.h"

namespace vorel_bench {
namespace {

// Work of one thread is measured in its processor time, so that neighbours on the machine count less; work of several
// by the clock.
double seconds_now(bool threads) {
    timespec time;
    clock_gettime(threads ? CLOCK_MONOTONIC : CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}
double seconds_of(const std::function<void()> &work, bool threads) {
    const double start = seconds_now(threads);
    work();
    return seconds_now(threads) - start;
}

struct Times {
    std::vector<double> seconds;
    double median() {
        std::sort(seconds.begin(), seconds.end());
        return seconds[seconds.size() / 2];
    }
    double spread() const {
        return (seconds[seconds.size() * 3 / 4] - seconds[seconds.size() / 4]) / seconds[seconds.size() / 2];
    }
};

// In turns, after one run of each; a copy of as many bytes as are read and written stands beside them.
std::string measured(const TimedRow &row, const CopyRoom &room) {
    constexpr double kSeconds = 0.25;
    constexpr int kLeast = 7, kMost = 41;
    const size_t copied = std::min(row.bytes / 2, room.bytes);
    const auto copy = [&] { std::memcpy(room.to, room.from, copied); };
    Times ours, peer, memory, ratios;
    row.ours();
    row.peer();
    double spent = 0;
    for (int i = 0; i < kMost && (i < kLeast || spent < kSeconds); ++i) {
        if (i % 2) peer.seconds.push_back(seconds_of(row.peer, row.threads));
        ours.seconds.push_back(seconds_of(row.ours, row.threads));
        if (i % 2 == 0) peer.seconds.push_back(seconds_of(row.peer, row.threads));
        ratios.seconds.push_back(peer.seconds.back() / ours.seconds.back());
        memory.seconds.push_back(seconds_of(copy, row.threads) * static_cast<double>(row.bytes) /
                                 static_cast<double>(2 * copied));
        spent += ours.seconds.back() + peer.seconds.back() + memory.seconds.back();
    }
    const double mine = ours.median(), other = peer.median();
    char text[256];
    std::snprintf(text, sizeof text,
                  "%-32s  ours %7.2f ms  peer %7.2f ms  ratio %5.2f  spread %5.1f %5.1f %%  memcpy %6.2f ms\n",
                  row.name.c_str(), mine * 1e3, other * 1e3, ratios.median(), 100 * ours.spread(), 100 * peer.spread(),
                  memory.median() * 1e3);
    return text;
}

}  // namespace

int TimedTable::run(int argc, char **argv, const std::string &head, const std::function<void(TimedTable &)> &fill) {
    TimedTable table;
    std::string results;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "--results" && i + 1 < argc) {
            results = argv[++i];
        } else if (argument[0] != '-') {
            table.filter_ = argument;
        } else {
            std::fprintf(stderr, "usage: %s [REGEX] [--results FILE]\n", argv[0]);
            return 2;
        }
    }
    table.emit(head.substr(0, head.find('\n') + 1) + machine_line() + "\n" + head.substr(head.find('\n') + 1) +
               "ratio  the peer's time by ours, the median over turns of one run each: above 1 ours is faster\n"
               "times  of the processor for one thread, of the clock for a pool\n"
               "spread middle half of the times by their median, ours and the peer's\n"
               "memcpy time of a copy that reads and writes as many bytes as the row has to\n\n");
    fill(table);
    if (results.empty()) return 0;
    std::ofstream file(results);
    file << table.text_;
    if (file.flush()) return 0;
    std::fprintf(stderr, "%s: cannot write %s\n", argv[0], results.c_str());
    return 1;
}

void TimedTable::add(const TimedRow &row, const CopyRoom &room) {
    if (std::regex_search(row.name, std::regex(filter_))) emit(measured(row, room));
}

void TimedTable::emit(const std::string &text) {
    std::fputs(text.c_str(), stdout);
    std::fflush(stdout);
    text_ += text;
}

}  // namespace vorel_bench
