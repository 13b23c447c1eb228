#include "dng/image/image.h"

#include <cstring>
#include <new>
#include <utility>

#include "core/core.h"
#include "dng/image/buffer_size.h"
#include "dng/parse/tag_types.h"

VorelDngImage::VorelDngImage(const vorel::DngRect &bounds, uint32_t planes, uint32_t pixelType, vorel::ImageFill fill,
                             PaddingType padding) {
    const uint32_t bytes = ComputeBufferSize(pixelType, bounds.size(), planes, padding);
    if (bytes == 0) return;
    const uint32_t pixel_size = TagTypeSize(pixelType);
    memorySize_ = bytes;
    memory_ = vorel::os_allocate(memorySize_);
    if (!memory_) throw std::bad_alloc();
    vorel::use_large_pages(memory_, memorySize_);
    if (fill == vorel::ImageFill::kZero) std::memset(memory_, 0, memorySize_);
    const uint32_t row = padding == kPaddingSIMD ? RoundUpForPixelSize(bounds.width(), pixel_size) : bounds.width();
    buffer_.area = bounds;
    buffer_.planes = planes;
    buffer_.rowStep = static_cast<int32_t>(row * planes);
    buffer_.colStep = static_cast<int32_t>(planes);
    buffer_.planeStep = 1;
    buffer_.pixelType = pixelType;
    buffer_.pixelSize = pixel_size;
    buffer_.data = memory_;
}

VorelDngImage::~VorelDngImage() { vorel::os_release(memory_); }

void VorelDngImage::swap(VorelDngImage &other) {
    std::swap(buffer_, other.buffer_);
    std::swap(memory_, other.memory_);
    std::swap(memorySize_, other.memorySize_);
}

void VorelDngImage::doTrim(const vorel::DngRect &rect) {
    const vorel::DngRect kept = vorel::intersection(rect, buffer_.area);
    if (kept.empty()) return;
    buffer_.data = static_cast<uint8_t *>(buffer_.data) +
                   static_cast<size_t>(buffer_.at<uint8_t>(kept.top, kept.left) -
                                       buffer_.at<uint8_t>(buffer_.area.top, buffer_.area.left)) *
                       buffer_.pixelSize;
    buffer_.area = kept;
}
