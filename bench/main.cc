// vorel_bench [REGEX] [--quick] [--simd avx2|sse4|scalar] [--list] [--results FILE] [--benchmark_...]: measures the
// rows whose names match, prints the table, and keeps it in FILE. The status is 1 when a decoder failed or the outputs
// differ where they may not.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "filter.h"
#include "machine.h"
#include "measure.h"
#include "report.h"
#include "util/simd_targets.h"

namespace vorel_bench {
namespace {

struct Arguments {
    std::string filter = ".";
    std::string results;
    std::string simd;  // empty: what the CPU runs
    bool quick = false, list = false;
};

std::map<std::string, Result> g_results;

// One iteration is the whole row; Google Benchmark sees our median as its time and the rest as counters.
void run_row(benchmark::State &state, const Row &row, const Effort &effort) {
    try {
        Result result;
        for (auto _ : state) {
            result = measure(row, effort);
            state.SetIterationTime(result.ours.median_s);
        }
        g_results[name_of(row)] = result;
        state.counters["peer_s"] = result.peer.median_s;
        state.counters["ratio"] = result.ratio;
        const int limit = tolerated_difference(row);
        if (limit >= 0 && result.difference > limit) state.SkipWithError("the outputs differ too much");
    } catch (const std::exception &error) {
        state.SkipWithError(error.what());
    }
}

// Prints a line a row, and keeps it.
class Table : public benchmark::BenchmarkReporter {
  public:
    explicit Table(const std::string &simd) : simd_(simd) {}
    bool ReportContext(const Context &) override {
        emit(table_header());
        if (!simd_.empty()) emit("vectors of both: at most " + simd_ + "\n");
        return true;
    }
    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs) {
            const std::string name = run.run_name.function_name;
            const auto result = g_results.find(name);
            if (result != g_results.end()) emit(table_line(name, result->second));
            if (run.error_occurred) {
                emit("  FAILED " + name + ": " + run.error_message + "\n");
                failed_ = true;
            }
        }
    }
    bool failed() const { return failed_; }
    bool keep(const std::string &path) const {
        std::ofstream file(path);
        file << text_;
        return static_cast<bool>(file.flush());
    }

  private:
    void emit(const std::string &text) {
        std::fputs(text.c_str(), stdout);
        std::fflush(stdout);
        text_ += text;
    }

    std::string simd_, text_;
    bool failed_ = false;
};

// Switches off wider vectors, ours and the peer's, which reads its environment at first use and has nothing between
// SSE2 and AVX2.
bool choose_simd(const std::string &name) {
    struct Choice {
        const char *name;
        vorel::SimdTarget widest;
        const char *peer_variable;
    };
    constexpr Choice kChoices[] = {{"avx2", vorel::SimdTarget::kAvx2, "JSIMD_FORCEAVX2"},
                                   {"sse4", vorel::SimdTarget::kSse4, "JSIMD_FORCESSE2"},
                                   {"scalar", vorel::SimdTarget::kScalar, "JSIMD_FORCENONE"}};
    for (const Choice &choice : kChoices) {
        if (name != choice.name) continue;
        vorel::limit_simd_targets(choice.widest);
        return setenv(choice.peer_variable, "1", 1) == 0;
    }
    return false;
}

bool read_arguments(int argc, char **argv, Arguments *arguments) {
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "--quick") {
            arguments->quick = true;
        } else if (argument == "--list") {
            arguments->list = true;
        } else if (argument == "--results" && i + 1 < argc) {
            arguments->results = argv[++i];
        } else if (argument == "--simd" && i + 1 < argc && choose_simd(argv[i + 1])) {
            arguments->simd = argv[++i];
        } else if (argument[0] != '-') {
            arguments->filter = argument;
        } else {
            std::fprintf(stderr,
                         "usage: vorel_bench [REGEX] [--quick] [--simd avx2|sse4|scalar] [--list] [--results FILE] "
                         "[--benchmark_...]\n");
            return false;
        }
    }
    return true;
}

int run(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    Arguments arguments;
    if (!read_arguments(argc, argv, &arguments)) return 2;
    stay_on_one_processor();
    const Effort effort = arguments.quick ? Effort{0.2, 3, 5} : Effort{};
    const Filter filter(arguments.filter);
    for (const Row &row : all_rows()) {
        if (!filter.wants(name_of(row))) continue;
        if (arguments.list) {
            std::puts(name_of(row).c_str());
            continue;
        }
        benchmark::RegisterBenchmark(name_of(row).c_str(),
                                     [row, effort](benchmark::State &state) { run_row(state, row, effort); })
            ->Iterations(1)
            ->UseManualTime();
    }
    if (arguments.list) return 0;
    Table table(arguments.simd);
    if (benchmark::RunSpecifiedBenchmarks(&table) == 0) {
        std::fprintf(stderr, "vorel_bench: no row matches %s\n", arguments.filter.c_str());
        return 2;
    }
    if (!arguments.results.empty() && !table.keep(arguments.results)) {
        std::fprintf(stderr, "vorel_bench: cannot write %s\n", arguments.results.c_str());
        return 1;
    }
    return table.failed() ? 1 : 0;
}

}  // namespace
}  // namespace vorel_bench

int main(int argc, char **argv) {
    try {
        return vorel_bench::run(argc, argv);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "vorel_bench: %s\n", error.what());
        return 1;
    }
}
