// Opcode lists made by code, and what they do to an image.
#pragma once

#include <bit>
#include <cstring>
#include <memory>
#include <string>

#include "dng/opcodes/opcode_list.h"
#include "dng/support/plain_context.h"
#include "support/samples.h"

namespace vorel::test {

struct Body {
    Body &u32(std::initializer_list<uint32_t> values) {
        for (const uint32_t value : values) bytes = cat({bytes, big_32(value)});
        return *this;
    }
    Body &u16(std::initializer_list<uint32_t> values) {
        for (const uint32_t value : values) bytes = cat({bytes, big_16(value)});
        return *this;
    }
    Body &floats(std::initializer_list<float> values) {
        for (const float value : values) u32({std::bit_cast<uint32_t>(value)});
        return *this;
    }
    Body &doubles(std::initializer_list<double> values) {
        for (const double value : values) {
            const uint64_t bits = std::bit_cast<uint64_t>(value);
            u32({static_cast<uint32_t>(bits >> 32), static_cast<uint32_t>(bits)});
        }
        return *this;
    }
    Bytes bytes;
};

constexpr uint32_t kVersion13 = 0x01030000;

inline Bytes opcode(uint32_t id, const Body &body, uint32_t flags = 0, uint32_t version = kVersion13) {
    return cat(
        {big_32(id), big_32(version), big_32(flags), big_32(static_cast<uint32_t>(body.bytes.size())), body.bytes});
}
inline Bytes list_of(std::initializer_list<Bytes> opcodes) {
    return cat({big_32(static_cast<uint32_t>(opcodes.size())), cat(opcodes)});
}

inline size_t apply(const Bytes &list, VorelDngImage &image, PlainContext &context) {
    VorelDngStream stream(list.data(), static_cast<uint32_t>(list.size()));
    VorelDngOpcodeList opcodes(2);
    opcodes.parse(context, stream, static_cast<uint32_t>(list.size()), 0);
    VorelDngImage *held = &image;
    opcodes.doApply(context, held);
    return opcodes.count();
}

// Every sample of an image as a double.
inline std::vector<double> samples_of(const VorelDngImage &image) {
    std::vector<double> samples;
    const DngRect &bounds = image.getBounds();
    for (int32_t row = bounds.top; row < bounds.bottom; ++row)
        for (int32_t column = bounds.left; column < bounds.right; ++column)
            for (uint32_t plane = 0; plane < image.planes(); ++plane)
                samples.push_back(image.isFloat() ? *image.at<float>(row, column, plane)
                                                  : *image.at<uint16_t>(row, column, plane));
    return samples;
}
// rect of an image as one of its own.
inline std::unique_ptr<VorelDngImage> cut(const VorelDngImage &image, const DngRect &rect) {
    auto part = std::make_unique<VorelDngImage>(DngRect{0, 0, rect.size().v, rect.size().h}, image.planes(),
                                                image.getPixelType());
    const size_t pixel = image.planes() * image.buffer().pixelSize;
    for (int32_t row = rect.top; row < rect.bottom; ++row) {
        const uint8_t *const from =
            static_cast<const uint8_t *>(image.buffer().data) +
            (static_cast<size_t>(row) * static_cast<size_t>(image.buffer().rowStep)) * image.buffer().pixelSize;
        std::memcpy(static_cast<uint8_t *>(part->buffer().data) + static_cast<size_t>(row - rect.top) *
                                                                      static_cast<size_t>(part->buffer().rowStep) *
                                                                      part->buffer().pixelSize,
                    from + static_cast<size_t>(rect.left) * pixel, rect.width() * pixel);
    }
    return part;
}

}  // namespace vorel::test
