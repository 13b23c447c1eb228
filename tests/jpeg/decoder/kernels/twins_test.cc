// Every kernel of every table that runs here against its scalar twin: the same bytes for any input, nothing stored but
// the result, nothing read behind an input. Inputs and outputs end at pages that cannot be touched. And the tables.
#include <gtest/gtest.h>

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <utility>

#include "jpeg/decoder/kernels/block_samples.h"
#include "support/layouts.h"

namespace vorel::test {
namespace {

// ---- Inverse DCTs

// DC alone, the 4 x 4 corner and just beyond it, more, everything.
constexpr int kLastOf[] = {0, 1, 9, 10, 20, 63};
constexpr int kLasts = 6;

constexpr int kExtremes = -1, kSomeExtremes = -2;  // in place of a largest magnitude

int16_t coefficient(std::mt19937 &random, int magnitude) {
    if (magnitude == kExtremes || (magnitude == kSomeExtremes && random() % 4 == 0)) {
        return random() % 2 ? INT16_MAX : INT16_MIN;
    }
    if (magnitude == kSomeExtremes) magnitude = 3;
    return static_cast<int16_t>(static_cast<int>(random() % static_cast<unsigned>(2 * magnitude + 1)) - magnitude);
}

struct BlockRow {
    std::unique_ptr<GuardBuffer> coefficients, pointers, lasts;
    int count;
};

// Neighbours of any content, and content that ends before the position that `last` allows.
BlockRow make_run(std::mt19937 &random, int count, int magnitude) {
    const size_t n = static_cast<size_t>(count);
    BlockRow run = {std::make_unique<GuardBuffer>(n * 128), std::make_unique<GuardBuffer>(n * sizeof(int16_t *)),
                    std::make_unique<GuardBuffer>(n), count};
    auto *blocks = reinterpret_cast<int16_t *>(run.coefficients->data());
    auto **pointers = reinterpret_cast<int16_t **>(run.pointers->data());
    for (int i = 0; i < count; ++i) pointers[i] = blocks + 64 * (count - 1 - i);
    const int kind = static_cast<int>(random() % (kLasts + 1));
    for (int i = 0; i < count; ++i) {
        const int last = kLastOf[kind == kLasts ? static_cast<int>(random() % kLasts) : kind];
        run.lasts->data()[i] = static_cast<uint8_t>(last);
        for (int k = 0; k <= last; ++k) {
            if (random() % 4) pointers[i][kZigzag[k]] = coefficient(random, magnitude);
        }
    }
    return run;
}

void make_quant(std::mt19937 &random, int kind, uint16_t *quant) {
    for (int k = 0; k < 64; ++k) {
        const uint16_t kinds[] = {static_cast<uint16_t>(1 + k / 4), 255, 32767, 65535, static_cast<uint16_t>(random())};
        quant[k] = kinds[kind];
    }
}

// The run's samples in rows that have `gap` bytes of something else between them.
Bytes transform_run(const KernelTable *table, const ShapeSize &size, const BlockRow &run, const int32_t *multipliers,
                    bool plain, int gap, uint8_t fill) {
    const size_t row = static_cast<size_t>(run.count * size.width), stride = row + static_cast<size_t>(gap);
    GuardBuffer out(stride * static_cast<size_t>(size.height) - static_cast<size_t>(gap), fill);
    const uint8_t *range = plain ? kRangeLimit + kRangeCentre : kCompressedRange + kCompressedCentre;
    table->idct[static_cast<int>(size.shape)]({reinterpret_cast<const int16_t *const *>(run.pointers->data()),
                                               run.lasts->data(), run.count, multipliers, range, plain, out.data(),
                                               static_cast<ptrdiff_t>(stride)});
    return out.bytes();
}

TEST(Twins, InverseDcts) {
    std::mt19937 random(21);
    const KernelTable *scalar = &scalar_kernels();
    for (const ShapeSize &size : kShapeSizes) {
        for (int count = 0; count <= 19; ++count) {
            for (const int magnitude : {3, 200, 2047, 32767, kExtremes, kSomeExtremes, kSomeExtremes}) {
                for (int quant_kind = 0; quant_kind < 5; ++quant_kind) {
                    const BlockRow run = make_run(random, count, magnitude);
                    uint16_t quant[64];
                    int32_t multipliers[64];
                    make_quant(random, quant_kind, quant);
                    make_multipliers(size.shape, quant, multipliers);
                    const bool plain = random() % 8 != 0;
                    const int gap = static_cast<int>(random() % 3) * 5;
                    for (const uint8_t fill : {0x00, 0xC7}) {
                        const Bytes expected = transform_run(scalar, size, run, multipliers, plain, gap, fill);
                        if (count == 0) ASSERT_EQ(expected, Bytes(expected.size(), fill));
                        for (const KernelTable *table : all_tables()) {
                            ASSERT_EQ(transform_run(table, size, run, multipliers, plain, gap, fill), expected)
                                << table->name << " " << size.name << " " << count << " blocks of " << magnitude
                                << ", quantisers " << quant_kind << ", plain " << plain;
                        }
                    }
                }
            }
        }
    }
}

// ---- Rows

// A row kernel by the bytes that it reads and writes for a width.
struct RowKernel {
    const char *name;
    std::vector<int (*)(int width)> inputs, outputs;
    std::function<void(const KernelTable &, uint8_t *const *in, int width, uint8_t *const *out)> call;
    bool in_place = false;  // may be called with its outputs as its first inputs
};

int once(int width) { return width; }
int twice(int width) { return 2 * width; }
int twice_less_one(int width) { return width ? 2 * width - 1 : 0; }
int four(int width) { return 4 * width; }

using Sizes = std::vector<int (*)(int)>;

// A kernel that takes its inputs, the width and its outputs.
template <size_t kIn, size_t kOut, typename Pick>
RowKernel row_kernel(const char *name, Sizes inputs, Sizes outputs, const Pick &pick, bool in_place = false) {
    const auto call = [pick](const KernelTable &table, uint8_t *const *in, int width, uint8_t *const *out) {
        [&]<size_t... I, size_t... O>(std::index_sequence<I...>, std::index_sequence<O...>) {
            pick(table)(in[I]..., width, out[O]...);
        }
        (std::make_index_sequence<kIn>(), std::make_index_sequence<kOut>());
    };
    return {name, std::move(inputs), std::move(outputs), call, in_place};
}

int whole_taps(int width) { return width / kTapReach * kTapReach; }

std::vector<RowKernel> row_kernels() {
    const Sizes one = {once}, two = {once, once}, three = {once, once, once};
    std::vector<RowKernel> all = {
        row_kernel<1, 1>("even_samples", {twice_less_one}, one, [](auto &t) { return t.even_samples; }),
        row_kernel<1, 1>("double_samples", {half_up}, one, [](auto &t) { return t.double_samples; }),
        row_kernel<2, 1>("interleave", two, {twice}, [](auto &t) { return t.interleave; }),
        row_kernel<3, 1>("yuyv", {twice, once, once}, {four}, [](auto &t) { return t.yuyv; }),
        row_kernel<2, 1>(
            "multiply_black", two, one, [](auto &t) { return t.multiply_black; }, true),
        row_kernel<3, 3>(
            "ycc_to_inverted_rgb", three, three, [](auto &t) { return t.ycc_to_inverted_rgb; }, true)};
    for (int f = 0; f < kPixelFormats; ++f) {
        const Sizes pixels = {f == static_cast<int>(PixelFormat::kRgb565) ? twice : four};
        const Sizes pair = {pixels[0], pixels[0]}, shared = {once, half_up, half_up},
                    four_rows = {once, once, half_up, half_up};
        all.push_back(row_kernel<3, 1>("ycc_row", three, pixels, [f](auto &t) { return t.ycc_row[f]; }));
        all.push_back(row_kernel<3, 1>("ycc_row_shared", shared, pixels, [f](auto &t) { return t.ycc_row_shared[f]; }));
        all.push_back(row_kernel<4, 2>("ycc_row_pair", four_rows, pair, [f](auto &t) { return t.ycc_row_pair[f]; }));
        all.push_back(row_kernel<1, 1>("gray_row", one, pixels, [f](auto &t) { return t.gray_row[f]; }));
        all.push_back(row_kernel<3, 1>("rgb_row", three, pixels, [f](auto &t) { return t.rgb_row[f]; }));
    }
    all.push_back({"unpack_means", {four}, three, [](auto &t, auto in, int w, auto out) {
                       t.unpack_means(reinterpret_cast<const uint32_t *>(in[0]), w, out[0], out[1], out[2]);
                   }});
    all.push_back({"means", {twice, twice}, one, [](auto &t, auto in, int w, auto out) {
                       t.means(reinterpret_cast<const uint16_t *>(in[0]), reinterpret_cast<const uint16_t *>(in[1]), w,
                               out[0]);
                   }});
    all.push_back({"sum_taps", {once, once}, {whole_taps}, [](auto &t, auto in, int w, auto out) {
                       std::vector<int32_t> starts;
                       for (int32_t at = 0; at + kTapReach <= w; at += kTapReach) starts.push_back(at);
                       Bytes picks(in[1], in[1] + starts.size() * kTapReach);
                       for (uint8_t &pick : picks) pick &= kTapReach - 1;
                       t.sum_taps(in[0], {starts.data(), picks.data(), static_cast<int32_t>(starts.size())},
                                  reinterpret_cast<uint16_t *>(out[0]));
                   }});
    // Hostile values too: bytes in pairs reach every one.
    for (const int32_t multiplier : {1, 16, 255, 65535, 65536, -7}) {
        for (const uint8_t *range : {kRangeLimit + kRangeCentre, kCompressedRange + kCompressedCentre}) {
            all.push_back({"dc_samples", {twice}, one, [=](auto &t, auto in, int w, auto out) {
                               const auto *dc = reinterpret_cast<const int16_t *>(in[0]);
                               t.dc_samples(dc, w, multiplier, range, range == kRangeLimit + kRangeCentre, out[0]);
                           }});
        }
    }
    return all;
}

// Outputs, or the inputs that they are written over.
Bytes run_row(const RowKernel &kernel, const KernelTable &table, const std::vector<Bytes> &inputs, int width,
              bool in_place) {
    std::list<GuardBuffer> rows;
    std::vector<uint8_t *> in;
    std::vector<size_t> sizes;
    for (const Bytes &input : inputs) in.push_back(rows.emplace_back(input).data());
    for (const auto size : kernel.outputs) sizes.push_back(static_cast<size_t>(size(width)));
    if (!in_place) return whole_outputs(sizes, [&](uint8_t *const *out) { kernel.call(table, in.data(), width, out); });
    kernel.call(table, in.data(), width, in.data());
    Bytes results;
    for (size_t i = 0; i < sizes.size(); ++i) results.insert(results.end(), in[i], in[i] + sizes[i]);
    return results;
}

TEST(Twins, Rows) {
    std::mt19937 random(22);
    for (const RowKernel &kernel : row_kernels()) {
        for (int width = 0; width <= 2 * 64 + 3; ++width) {
            std::vector<Bytes> inputs;
            for (const auto size : kernel.inputs)
                inputs.push_back(kernel_row(static_cast<size_t>(size(width)), static_cast<unsigned>(random())));
            const Bytes expected = run_row(kernel, scalar_kernels(), inputs, width, false);
            for (const KernelTable *table : all_tables()) {
                for (const bool in_place : {false, true}) {
                    if (in_place && !kernel.in_place) continue;
                    ASSERT_EQ(run_row(kernel, *table, inputs, width, in_place), expected)
                        << table->name << " " << kernel.name << " " << width << " in place " << in_place;
                }
            }
        }
    }
}

// ---- Which tables there are, and how tests choose among them

TEST(Targets, TheScalarTableIsFirstAndTheBestIsTaken) {
    const std::vector<const KernelTable *> tables = all_tables();
    ASSERT_FALSE(tables.empty());
    std::string names;
    for (const KernelTable *table : tables) names += std::string(" ") + table->name;
    std::printf("kernel tables that run here:%s\n", names.c_str());
    EXPECT_EQ(tables.front(), &scalar_kernels());
    EXPECT_STREQ(tables.front()->name, "scalar");
    EXPECT_EQ(&kernels(), tables.back());
#if !VOREL_SIMD
    EXPECT_EQ(tables.size(), 1u);
#elif defined(__x86_64__) && defined(__linux__)
    EXPECT_EQ(tables.size() > 1, __builtin_cpu_supports("sse4.2") != 0);
#elif defined(__aarch64__)
    ASSERT_EQ(tables.size(), 2u);
    EXPECT_STREQ(tables.back()->name, "NEON");
#endif
}

TEST(Targets, NothingWiderThanTheLimitRuns) {
    const std::vector<const KernelTable *> tables = all_tables();
    size_t left = tables.size();
    for (int i = kSimdTargets - 1; i >= 0; --i) {
        const SimdTarget target = static_cast<SimdTarget>(i);
        limit_simd_targets(target);
        EXPECT_EQ(all_tables().size(), left) << simd_target_name(target);
        EXPECT_EQ(&kernels(), tables[left - 1]) << simd_target_name(target);
        EXPECT_EQ(simd_target_runs(target), cpu_runs_target(target)) << simd_target_name(target);
        if (target < SimdTarget::kAvx2) EXPECT_FALSE(bmi2_runs());
        left -= cpu_runs_target(target);
    }
    EXPECT_EQ(left, 0u);
    limit_simd_targets(SimdTarget::kCount);
    EXPECT_EQ(all_tables(), tables);
}

}  // namespace
}  // namespace vorel::test
