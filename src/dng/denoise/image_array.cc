#include "dng/denoise/image_array.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

namespace {

// Not a number: 0.
double limited(double v, double most) { return v > 0 ? std::min(v, most) : 0; }

constexpr double kMostLong = 4294967295.0;

}  // namespace

size_t VorelDngImageArray::pixel_size(int32_t type) {
    switch (type) {
        case kShort:
            return 2;
        case kLong:
        case kFloat:
            return 4;
        case kDouble:
            return 8;
        default:
            return 1;
    }
}

double VorelDngImageArray::element(const void *data, size_t i, int32_t type) {
    switch (type) {
        case kShort:
            return static_cast<const uint16_t *>(data)[i];
        case kLong:
            return static_cast<const uint32_t *>(data)[i];
        case kFloat:
            return static_cast<double>(static_cast<const float *>(data)[i]);
        case kDouble:
            return static_cast<const double *>(data)[i];
        default:
            return static_cast<const uint8_t *>(data)[i];
    }
}

VorelDngImageArray::VorelDngImageArray(int32_t width, int32_t height, int32_t type)
    : VorelDngImageArray(nullptr, width, height, type) {
    data_ = std::malloc(std::max<size_t>(count() * pixel_size(type), 1));
    if (!data_) throw std::bad_alloc();
}

VorelDngImageArray::VorelDngImageArray(void *data, int32_t width, int32_t height, int32_t type)
    : data_(data), width_(std::max(width, 0)), height_(std::max(height, 0)), type_(type) {}

VorelDngImageArray::~VorelDngImageArray() { std::free(data_); }

VorelDngImageArray *VorelDngImageArray::getDoubleImageArray(const void *data, int32_t width, int32_t height,
                                                            int32_t type) {
    auto array = std::make_unique<VorelDngImageArray>(width, height, kDouble);
    double *out = array->data<double>();
    for (size_t i = 0; i < array->count(); ++i) out[i] = element(data, i, type);
    return array.release();
}

VorelDngImageArray *VorelDngImageArray::getByteImageArray(const void *data, int32_t width, int32_t height,
                                                          int32_t type) {
    auto array = std::make_unique<VorelDngImageArray>(width, height, kByte);
    uint8_t *out = array->data<uint8_t>();
    if (pixel_size(type) == 1) {
        std::memcpy(out, data, array->count());
    } else {
        for (size_t i = 0; i < array->count(); ++i) out[i] = static_cast<uint8_t>(limited(element(data, i, type), 255));
    }
    return array.release();
}

void VorelDngImageArray::convertBufferFromDouble(void *dest, int32_t type) const {
    const double *in = data<double>();
    for (size_t i = 0; i < count(); ++i) {
        const uint32_t rounded = static_cast<uint32_t>(limited(in[i] + 0.5, kMostLong));
        switch (type) {
            case kShort:
                static_cast<uint16_t *>(dest)[i] = static_cast<uint16_t>(rounded);
                break;
            case kLong:
                static_cast<uint32_t *>(dest)[i] = rounded;
                break;
            case kFloat:
                static_cast<float *>(dest)[i] = static_cast<float>(in[i]);
                break;
            case kDouble:
                static_cast<double *>(dest)[i] = in[i];
                break;
            default:
                static_cast<uint8_t *>(dest)[i] = static_cast<uint8_t>(rounded);
        }
    }
}

void VorelDngImageArray::convertBufferFromByte(void *dest, int32_t type) const {
    if (type == kByte) std::memcpy(dest, data_, count());
}

void VorelDngImageArray::find_range() {
    if (range_known_) return;
    double least = 1e7, most = 0;
    for (size_t i = 0; i < count(); ++i) {
        const double v = element(data_, i, type_);
        if (v < least) least = v;
        if (v > most) most = v;
    }
    minimum_ = least;
    maximum_ = most;
    range_known_ = true;
}

double VorelDngImageArray::getMinValue() {
    find_range();
    return minimum_;
}

double VorelDngImageArray::getMaxValue() {
    find_range();
    return maximum_;
}
