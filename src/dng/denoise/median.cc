#include "dng/denoise/median.h"

#include <vorel/dng_samples.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace vorel {

WindowRows::WindowRows(const ChannelView &channel, int32_t width, int32_t height, int32_t radius)
    : channel_(channel),
      width_(width),
      height_(height),
      radius_(radius),
      pitch_(static_cast<size_t>(width) + 2 * static_cast<size_t>(radius)),
      memory_(pitch_ * (2 * static_cast<size_t>(radius) + 1)) {}

uint8_t *WindowRows::slot(int32_t row) {
    return memory_.data() + static_cast<size_t>(row % (2 * radius_ + 1)) * pitch_;
}

void WindowRows::advance() {
    ++at_;
    for (; read_ < height_ && read_ <= at_ + radius_; ++read_) {
        const uint8_t *from = channel_.data + ptrdiff_t{read_} * channel_.stride;
        uint8_t *to = slot(read_) + radius_;
        if (channel_.step == 1) {
            std::memcpy(to, from, static_cast<size_t>(width_));
        } else {
            for (ptrdiff_t x = 0; x < width_; ++x) to[x] = from[x * channel_.step];
        }
        std::memset(to - radius_, to[0], static_cast<size_t>(radius_));
        std::memset(to + width_, to[width_ - 1], static_cast<size_t>(radius_));
    }
}

const uint8_t *WindowRows::row(int32_t distance) const {
    const int32_t row = std::clamp(at_ + distance, 0, height_ - 1);
    return memory_.data() + static_cast<size_t>(row % (2 * radius_ + 1)) * pitch_;
}

SquareMedians::SquareMedians(const ChannelView &channel, int32_t width, int32_t height)
    : rows_(channel, width, height, 2), width_(static_cast<uint32_t>(width)), memory_((size_t{width_} + 4) * 6) {
    for (size_t i = 0; i < 5; ++i) sorted_[i] = memory_.data() + i * (size_t{width_} + 4);
    medians_ = memory_.data() + 5 * (size_t{width_} + 4);
}

const uint8_t *SquareMedians::next() {
    rows_.advance();
    const uint8_t *rows[5];
    for (int32_t i = 0; i < 5; ++i) rows[i] = rows_.row(i - 2);
    const DenoiseKernels &kernels = denoise_kernels();
    kernels.sort_columns(rows, width_ + 4, sorted_);
    kernels.median_25(sorted_, width_, medians_);
    return medians_;
}

void remove_spikes(const uint8_t *src, int32_t stride, int32_t width, int32_t height, int32_t threshold, uint8_t *dst,
                   int32_t dst_stride) {
    if (width < 1 || height < 1) return;
    SquareMedians square({src, stride, 1}, width, height);
    const DenoiseKernels &kernels = denoise_kernels();
    for (int32_t y = 0; y < height; ++y) {
        const uint8_t *medians = square.next();
        uint8_t *to = dst + ptrdiff_t{y} * dst_stride;
        if (threshold < 0) {
            // Every difference is more than one side of it.
            std::memcpy(to, medians, static_cast<size_t>(width));
            continue;
        }
        kernels.spikes(square.middle(), medians, static_cast<uint8_t>(std::min(threshold, 255)),
                       static_cast<uint32_t>(width), to);
    }
}

namespace {

void write_row(const uint8_t *medians, int32_t width, int32_t step, uint8_t *dst) {
    if (step == 1) {
        std::memcpy(dst, medians, static_cast<size_t>(width));
    } else {
        for (ptrdiff_t x = 0; x < width; ++x) dst[x * step] = medians[x];
    }
}

// Distances of the taps of a window from its middle: rows, columns.
struct Tap {
    int8_t row, column;
};
constexpr Tap kCross5[] = {{-1, 0}, {0, -1}, {0, 0}, {0, 1}, {1, 0}};
constexpr Tap kSquare9[] = {{-1, -1}, {-1, 0}, {-1, 1}, {0, -1}, {0, 0}, {0, 1}, {1, -1}, {1, 0}, {1, 1}};
constexpr Tap kRhomb13[] = {{-2, 0}, {-1, -1}, {-1, 0}, {-1, 1}, {0, -2}, {0, -1}, {0, 0},
                            {0, 1},  {0, 2},   {1, -1}, {1, 0},  {1, 1},  {2, 0}};

template <size_t kTaps>
void filter(Window window, const Tap (&taps)[kTaps], int32_t radius, const ChannelView &channel, int32_t width,
            int32_t height, uint8_t *destination, int32_t stride) {
    if (width < 1 || height < 1) return;
    try {
        WindowRows rows(channel, width, height, radius);
        std::vector<uint8_t> medians(static_cast<size_t>(width));
        for (int32_t y = 0; y < height; ++y) {
            rows.advance();
            const uint8_t *at[kTaps];
            for (size_t i = 0; i < kTaps; ++i) at[i] = rows.row(taps[i].row) + radius + taps[i].column;
            denoise_kernels().median_of[static_cast<int>(window)](at, static_cast<uint32_t>(width), medians.data());
            write_row(medians.data(), width, channel.step, destination + ptrdiff_t{y} * stride);
        }
    } catch (const std::bad_alloc &) {
        // Without memory the destination stays as it is.
    }
}

}  // namespace
}  // namespace vorel

extern "C" void MedianFilterRhomb3x3(const uint8_t *source, int32_t sourceStride, int32_t width, int32_t height,
                                     int32_t channelCount, uint8_t *destination, int32_t destinationStride) {
    vorel::filter(vorel::Window::kCross5, vorel::kCross5, 1, {source, sourceStride, channelCount}, width, height,
                  destination, destinationStride);
}

extern "C" void MedianFilterSquare3x3(const uint8_t *source, int32_t sourceStride, int32_t width, int32_t height,
                                      int32_t channelCount, uint8_t *destination, int32_t destinationStride) {
    vorel::filter(vorel::Window::kSquare9, vorel::kSquare9, 1, {source, sourceStride, channelCount}, width, height,
                  destination, destinationStride);
}

extern "C" void MedianFilterRhomb5x5(const uint8_t *source, int32_t sourceStride, int32_t width, int32_t height,
                                     int32_t channelCount, uint8_t *destination, int32_t destinationStride) {
    vorel::filter(vorel::Window::kRhomb13, vorel::kRhomb13, 2, {source, sourceStride, channelCount}, width, height,
                  destination, destinationStride);
}

extern "C" void MedianFilterSquare5x5(const uint8_t *source, int32_t sourceStride, int32_t width, int32_t height,
                                      int32_t channelCount, uint8_t *destination, int32_t destinationStride) {
    if (width < 1 || height < 1) return;
    try {
        vorel::SquareMedians square({source, sourceStride, channelCount}, width, height);
        for (int32_t y = 0; y < height; ++y) {
            vorel::write_row(square.next(), width, channelCount, destination + ptrdiff_t{y} * destinationStride);
        }
    } catch (const std::bad_alloc &) {
        // As above.
    }
}
