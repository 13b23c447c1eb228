#include "turns.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <exception>
#include <fstream>

namespace vorel_bench {
namespace {

double seconds_now(bool threads) {
    timespec time;
    clock_gettime(threads ? CLOCK_MONOTONIC : CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

}  // namespace

double seconds_of(const std::function<void()> &work, bool threads) {
    const double start = seconds_now(threads);
    work();
    return seconds_now(threads) - start;
}

double Times::median() {
    std::sort(seconds.begin(), seconds.end());
    return seconds[seconds.size() / 2];
}

double Times::spread() const {
    return (seconds[seconds.size() * 3 / 4] - seconds[seconds.size() / 4]) / seconds[seconds.size() / 2];
}

Turns measure_in_turns(const std::function<void()> &ours, const std::function<void()> &peer,
                       const std::function<void()> &third, bool threads, const TurnEffort &effort) {
    Turns turns;
    ours();
    peer();
    double spent = 0;
    for (int i = 0; i < effort.most && (i < effort.least || spent < effort.seconds); ++i) {
        if (i % 2) turns.peer.seconds.push_back(seconds_of(peer, threads));
        turns.ours.seconds.push_back(seconds_of(ours, threads));
        if (i % 2 == 0) turns.peer.seconds.push_back(seconds_of(peer, threads));
        turns.ratios.seconds.push_back(turns.peer.seconds.back() / turns.ours.seconds.back());
        spent += turns.ours.seconds.back() + turns.peer.seconds.back();
        if (!third) continue;
        turns.third.seconds.push_back(seconds_of(third, threads));
        spent += turns.third.seconds.back();
    }
    return turns;
}

std::string line_of(const std::string &name, Turns *turns, double memory_seconds) {
    const double mine = turns->ours.median(), other = turns->peer.median();
    char text[256];
    std::snprintf(text, sizeof text,
                  "%-38s  ours %7.2f ms  peer %7.2f ms  ratio %5.2f  spread %5.1f %5.1f %%  memcpy %6.2f ms\n",
                  name.c_str(), mine * 1e3, other * 1e3, turns->ratios.median(), 100 * turns->ours.spread(),
                  100 * turns->peer.spread(), memory_seconds * 1e3);
    return text;
}

const char *const kTurnColumns =
    "ratio  the peer's time by ours, the median over turns of one run each: above 1 ours is faster\n"
    "times  of the processor for one thread, of the clock for a pool\n"
    "spread middle half of the times by their median, ours and the peer's\n"
    "memcpy time of a copy that reads and writes as many bytes as the row has to\n\n";

void Table::emit(const std::string &text) {
    std::fputs(text.c_str(), stdout);
    std::fflush(stdout);
    text_ += text;
}

bool Table::keep(const std::string &path) const {
    std::ofstream file(path);
    file << text_;
    return static_cast<bool>(file.flush());
}

int table_main(int argc, char **argv, const char *program,
               const std::function<void(const Filter &filter, Table &table)> &run) {
    std::string filter = ".", results;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "--results" && i + 1 < argc) {
            results = argv[++i];
        } else if (argument[0] != '-') {
            filter = argument;
        } else {
            std::fprintf(stderr, "usage: %s [REGEX] [--results FILE]\n", program);
            return 2;
        }
    }
    Table table;
    try {
        run(Filter(filter), table);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s: %s\n", program, error.what());
        return 1;
    }
    if (results.empty() || table.keep(results)) return 0;
    std::fprintf(stderr, "%s: cannot write %s\n", program, results.c_str());
    return 1;
}

}  // namespace vorel_bench
