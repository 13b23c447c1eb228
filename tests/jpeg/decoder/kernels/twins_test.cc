// Every kernel of every table that runs here against its scalar twin: the same bytes for any input, nothing stored but
// the result, nothing read behind an input. Inputs and outputs end at pages that cannot be touched.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "jpeg/decoder/kernels/block_samples.h"
#include "support/inputs.h"

namespace vorel::test {
namespace {

std::vector<const KernelTable *> vector_tables() {
    const std::vector<const KernelTable *> tables = all_tables();
    return {tables.begin() + 1, tables.end()};
}

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
        for (int count = 1; count <= 19; ++count) {
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
                        for (const KernelTable *table : vector_tables()) {
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

TEST(Twins, AnEmptyRunStoresNothing) {
    for (const KernelTable *table : all_tables()) {
        for (const ShapeSize &size : kShapeSizes) {
            const int32_t multipliers[64] = {};
            uint8_t out = 0x5A;
            table->idct[static_cast<int>(size.shape)](
                {nullptr, nullptr, 0, multipliers, kRangeLimit + kRangeCentre, true, &out, 8});
            EXPECT_EQ(out, 0x5A);
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
int half(int width) { return (width + 1) / 2; }
int twice(int width) { return 2 * width; }
int twice_less_one(int width) { return width ? 2 * width - 1 : 0; }
int four(int width) { return 4 * width; }

std::vector<RowKernel> row_kernels() {
    std::vector<RowKernel> all;
    for (int f = 0; f < kPixelFormats; ++f) {
        int (*const pixels)(int) = f == static_cast<int>(PixelFormat::kRgb565) ? twice : four;
        all.push_back({"ycc_row", {once, once, once}, {pixels}, [f](auto &t, auto in, int w, auto out) {
                           t.ycc_row[f](in[0], in[1], in[2], w, out[0]);
                       }});
        all.push_back({"ycc_row_shared", {once, half, half}, {pixels}, [f](auto &t, auto in, int w, auto out) {
                           t.ycc_row_shared[f](in[0], in[1], in[2], w, out[0]);
                       }});
        all.push_back(
            {"ycc_row_pair", {once, once, half, half}, {pixels, pixels}, [f](auto &t, auto in, int w, auto out) {
                 t.ycc_row_pair[f](in[0], in[1], in[2], in[3], w, out[0], out[1]);
             }});
        all.push_back({"gray_row", {once}, {pixels}, [f](auto &t, auto in, int w, auto out) {
                           t.gray_row[f](in[0], w, out[0]);
                       }});
        all.push_back({"rgb_row", {once, once, once}, {pixels}, [f](auto &t, auto in, int w, auto out) {
                           t.rgb_row[f](in[0], in[1], in[2], w, out[0]);
                       }});
    }
    all.push_back({"even_samples", {twice_less_one}, {once}, [](auto &t, auto in, int w, auto out) {
                       t.even_samples(in[0], w, out[0]);
                   }});
    all.push_back({"double_samples", {half}, {once}, [](auto &t, auto in, int w, auto out) {
                       t.double_samples(in[0], w, out[0]);
                   }});
    all.push_back({"interleave", {once, once}, {twice}, [](auto &t, auto in, int w, auto out) {
                       t.interleave(in[0], in[1], w, out[0]);
                   }});
    all.push_back({"yuyv", {twice, once, once}, {four}, [](auto &t, auto in, int w, auto out) {
                       t.yuyv(in[0], in[1], in[2], w, out[0]);
                   }});
    all.push_back({"unpack_means", {four}, {once, once, once}, [](auto &t, auto in, int w, auto out) {
                       t.unpack_means(reinterpret_cast<const uint32_t *>(in[0]), w, out[0], out[1], out[2]);
                   }});
    // Hostile values too: bytes in pairs reach every one.
    for (const int32_t multiplier : {1, 16, 255, 65535, 65536, -7}) {
        for (const bool plain : {true, false}) {
            all.push_back(
                {"dc_samples", {twice}, {once}, [=](auto &t, auto in, int w, auto out) {
                     const uint8_t *range = plain ? kRangeLimit + kRangeCentre : kCompressedRange + kCompressedCentre;
                     t.dc_samples(reinterpret_cast<const int16_t *>(in[0]), w, multiplier, range, plain, out[0]);
                 }});
        }
    }
    all.push_back({"multiply_black",
                   {once, once},
                   {once},
                   [](auto &t, auto in, int w, auto out) { t.multiply_black(in[0], in[1], w, out[0]); },
                   true});
    all.push_back({"ycc_to_inverted_rgb",
                   {once, once, once},
                   {once, once, once},
                   [](auto &t, auto in, int w, auto out) {
                       t.ycc_to_inverted_rgb(in[0], in[1], in[2], w, out[0], out[1], out[2]);
                   },
                   true});
    return all;
}

// Noise with stretches of the extremes, so that every clamp is met.
Bytes row_of(std::mt19937 &random, int count) {
    Bytes bytes;
    for (int i = 0; i < count; ++i) {
        const unsigned value = random();
        bytes.push_back(value % 4 == 0 ? 0 : value % 4 == 1 ? 255 : static_cast<uint8_t>(value >> 8));
    }
    return bytes;
}

constexpr size_t kMargin = 64;  // in front of an output, to see stores before its start

std::vector<Bytes> run_row(const RowKernel &kernel, const KernelTable &table, const std::vector<Bytes> &inputs,
                           int width, uint8_t fill, bool in_place) {
    std::vector<std::unique_ptr<GuardBuffer>> in, out;
    uint8_t *in_rows[4], *out_rows[3];
    for (size_t i = 0; i < inputs.size(); ++i) {
        in.push_back(std::make_unique<GuardBuffer>(inputs[i]));
        in_rows[i] = in[i]->data();
    }
    std::vector<Bytes> results;
    if (in_place) {
        kernel.call(table, in_rows, width, in_rows);
        for (const auto &buffer : in) results.push_back(buffer->bytes());
        return results;
    }
    for (size_t i = 0; i < kernel.outputs.size(); ++i) {
        out.push_back(std::make_unique<GuardBuffer>(kMargin + static_cast<size_t>(kernel.outputs[i](width)), fill));
        out_rows[i] = out[i]->data() + kMargin;
    }
    kernel.call(table, in_rows, width, out_rows);
    for (const auto &buffer : out) results.push_back(buffer->bytes());
    return results;
}

TEST(Twins, Rows) {
    std::mt19937 random(22);
    for (const RowKernel &kernel : row_kernels()) {
        for (int width = 0; width <= 2 * 64 + 3; ++width) {
            std::vector<Bytes> inputs;
            for (const auto size : kernel.inputs) inputs.push_back(row_of(random, size(width)));
            for (const uint8_t fill : {0x00, 0xC7}) {
                const auto expected = run_row(kernel, scalar_kernels(), inputs, width, fill, false);
                for (const KernelTable *table : vector_tables()) {
                    ASSERT_EQ(run_row(kernel, *table, inputs, width, fill, false), expected)
                        << table->name << " " << kernel.name << " " << width;
                    if (!kernel.in_place) continue;
                    const auto over_inputs = run_row(kernel, *table, inputs, width, fill, true);
                    for (size_t i = 0; i < expected.size(); ++i) {
                        ASSERT_TRUE(std::equal(over_inputs[i].begin(), over_inputs[i].end(),
                                               expected[i].begin() + kMargin, expected[i].end()))
                            << table->name << " " << kernel.name << " " << width << " in place";
                    }
                }
            }
        }
    }
}

}  // namespace
}  // namespace vorel::test
