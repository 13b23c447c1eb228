// The byte shuffles of 24- and 32-bit rows: every table of this CPU against the scalar one.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

#include "raster/kernels/bmp_kernels.h"
#include "support/inputs.h"

namespace vorel::test {
namespace {

TEST(BmpKernels, EveryTargetGivesTheScalarBytesAndNothingBeyond) {
    const BmpKernels *tables[kMaxKernelTables];
    const int count = runnable_bmp_kernels(tables);
    std::string names;
    for (int i = 0; i < count; ++i) names += std::string(i ? ", " : "") + tables[i]->name;
    RecordProperty("targets", names);
    std::printf("targets: %s\n", names.c_str());
    std::mt19937 random(7);
    for (int source_bytes = 3; source_bytes <= 4; ++source_bytes) {
        for (int order = 0; order < kByteOrders; ++order) {
            const int out_bytes = order == static_cast<int>(ByteOrder::kRgb) ? 3 : 4;
            for (int32_t pixels = 0; pixels < 140; ++pixels) {
                GuardBuffer source(static_cast<size_t>(pixels * source_bytes));
                for (size_t i = 0; i < source.size(); ++i) source.data()[i] = static_cast<uint8_t>(random());
                const auto run = [&](const BmpKernels &table, uint8_t fill) {
                    GuardBuffer out(static_cast<size_t>(pixels * out_bytes), fill);
                    (source_bytes == 3 ? table.from_bgr : table.from_bgrx)[order](source.data(), pixels, out.data());
                    return out.bytes();
                };
                const Bytes expected = run(scalar_bmp_kernels(), 0);
                for (int i = 0; i < count; ++i) {
                    for (const uint8_t fill : {0x00, 0xA5}) {
                        ASSERT_EQ(run(*tables[i], fill), expected)
                            << tables[i]->name << ", " << source_bytes << " bytes, order " << order << ", " << pixels;
                    }
                }
            }
        }
    }
}

}  // namespace
}  // namespace vorel::test
