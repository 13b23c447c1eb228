#include "dng/denoise/noise_reduction.h"

#include <vorel/dng_samples.h>
#include <vorel/util.h>

#include <cstring>
#include <memory>

#include "dng/denoise/bilateral_filter.h"
#include "dng/denoise/median.h"

namespace {

constexpr int32_t kSpikeThreshold = 20;
constexpr double kSigmaRange = 16, kSigmaSpatial = 32;

// A picture in planes of Y and two of chroma; filters work on width / 2 by height / 2 samples of those.
struct Planes {
    uint8_t *y;
    uint8_t *chroma[2];
    int32_t width, height, chroma_stride;
};

// False: cancelled.
bool reduce(const vorel::DevelopContext &decoder, const Planes &planes, int32_t strength) {
    const int32_t width = planes.width / 2, height = planes.height / 2;
    vorel::remove_spikes(planes.y, planes.width, planes.width, planes.height, kSpikeThreshold, planes.y, planes.width);
    if (decoder.cancelled()) return false;
    for (uint8_t *chroma : planes.chroma) {
        vorel::remove_spikes(chroma, planes.chroma_stride, width, height, kSpikeThreshold, chroma,
                             planes.chroma_stride);
        if (decoder.cancelled()) return false;
    }
    for (int32_t round = 0; round < strength; ++round) {
        for (uint8_t *chroma : planes.chroma) {
            vorel::smooth_bytes(chroma, planes.chroma_stride, width, height, kSigmaRange, kSigmaSpatial);
            if (decoder.cancelled()) return false;
        }
    }
    return true;
}

std::unique_ptr<uint8_t[]> block_of(size_t bytes) { return std::unique_ptr<uint8_t[]>(new uint8_t[bytes]); }

}  // namespace

void VorelDngNoiseReduction::doNoiseReductionBiLateralFilter(vorel::DevelopContext &decoder, const uint8_t *inRgba,
                                                             uint8_t *outRgba, int32_t width, int32_t height) {
    if (width < 1 || height < 1) return;
    // The converters' chroma planes hold an odd last column and row, which keep what they have.
    const size_t luma = static_cast<size_t>(width) * static_cast<size_t>(height);
    const size_t stride = (static_cast<size_t>(width) + 1) / 2;
    const size_t chroma = stride * ((static_cast<size_t>(height) + 1) / 2);
    const auto block = block_of(luma + 2 * chroma);
    uint8_t *y = block.get();
    rgba8888_to_yuv420(width, height, inRgba, y);
    if (decoder.cancelled()) return;
    const Planes planes = {y, {y + luma, y + luma + chroma}, width, height, static_cast<int32_t>(stride)};
    if (reduce(decoder, planes, strength_)) yuv420_to_rgba8888(width, height, y, outRgba);
}

void VorelDngNoiseReduction::doNoiseReductionBiLateralFilter(vorel::DevelopContext &decoder, const uint8_t *inRgba,
                                                             uint8_t *outRgba, int32_t width, int32_t height,
                                                             const vorel::DngRect &rect) {
    const vorel::DngRect part = vorel::intersection(rect, {0, 0, height, width});
    if (part.empty()) return;
    const size_t row_bytes = size_t{part.width()} * 4;
    const auto pixels = block_of(row_bytes * part.height());
    const auto offset = [&](int32_t row) {
        return (static_cast<size_t>(row) * static_cast<size_t>(width) + static_cast<size_t>(part.left)) * 4;
    };
    uint8_t *at = pixels.get();
    for (int32_t row = part.top; row < part.bottom; ++row, at += row_bytes) {
        std::memcpy(at, inRgba + offset(row), row_bytes);
    }
    doNoiseReductionBiLateralFilter(decoder, pixels.get(), pixels.get(), part.size().h, part.size().v);
    if (decoder.cancelled()) return;
    at = pixels.get();
    for (int32_t row = part.top; row < part.bottom; ++row, at += row_bytes) {
        std::memcpy(outRgba + offset(row), at, row_bytes);
    }
}

void VorelDngNoiseReduction::doNoiseReductionBiLateralFilter(vorel::DevelopContext &decoder, const VorelDngImage &src,
                                                             VorelDngImage &dst) {
    const vorel::DngRect &bounds = src.getBounds();
    if (bounds.empty() || dst.getBounds() != bounds || src.planes() != 3 || dst.planes() != 3 ||
        src.getPixelType() != kPixelByte || dst.getPixelType() != kPixelByte) {
        return;
    }
    const int32_t width = bounds.size().h, height = bounds.size().v;
    const size_t row_bytes = size_t{bounds.width()} * 3;
    const size_t luma = size_t{bounds.width()} * bounds.height();
    const size_t chroma = static_cast<size_t>(width / 2) * static_cast<size_t>(height / 2);
    const auto rgb = block_of(row_bytes * bounds.height()), yuv = block_of(luma + 2 * chroma);
    for (int32_t row = 0; row < height; ++row) {
        std::memcpy(rgb.get() + static_cast<size_t>(row) * row_bytes, src.at<uint8_t>(bounds.top + row, bounds.left),
                    row_bytes);
    }
    Bitmap2Yuv420p(yuv.get(), rgb.get(), width, height);
    if (decoder.cancelled()) return;
    uint8_t *y = yuv.get();
    if (!reduce(decoder, {y, {y + luma, y + luma + chroma}, width, height, width / 2}, strength_)) return;
    Yuv420p2Bitmap(rgb.get(), yuv.get(), width, height);
    for (int32_t row = 0; row < height; ++row) {
        std::memcpy(dst.at<uint8_t>(bounds.top + row, bounds.left), rgb.get() + static_cast<size_t>(row) * row_bytes,
                    row_bytes);
    }
}
