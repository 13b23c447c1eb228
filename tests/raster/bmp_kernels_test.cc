// The byte shuffles of 24- and 32-bit rows: every table of this CPU gives the scalar bytes and nothing beyond.
#include "raster/kernels/bmp_kernels.h"
#include "support/samples.h"
#include "support/twins.h"

namespace vorel::test {
namespace {

TEST(BmpKernels, EveryTargetGivesTheScalarBytesAndNothingBeyond) {
    for (const bool has_fourth : {false, true}) {
        for (int order = 0; order < kByteOrders; ++order) {
            const size_t out_bytes = order == static_cast<int>(ByteOrder::kRgb) ? 3 : 4;
            for (int32_t pixels = 0; pixels < 140; ++pixels) {
                const size_t count = static_cast<size_t>(pixels);
                GuardBuffer source(noise(count * (has_fourth ? 4 : 3), static_cast<unsigned>(pixels)));
                expect_twins(runnable_bmp_kernels, std::to_string(pixels), [&](const BmpKernels &kernels) {
                    return whole_output(count * out_bytes, [&](uint8_t *out) {
                        (has_fourth ? kernels.from_bgrx : kernels.from_bgr)[order](source.data(), pixels, out);
                    });
                });
            }
        }
    }
}

}  // namespace
}  // namespace vorel::test
