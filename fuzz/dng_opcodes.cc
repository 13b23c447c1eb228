// Opcode lists on a small image of any type, whole or a region: nothing outside the image, and what changes samples by
// themselves does the same to a region as to the whole.
#include <cmath>
#include <cstring>
#include <memory>

#include "dng/opcodes/opcode_list.h"
#include "harness.h"
#include "tests/dng/support/plain_context.h"

using namespace vorel_fuzz;
using vorel::DngRect;

namespace {

uint8_t *sample(VorelDngImage &image, int32_t row, int32_t column) {
    const VorelDngPixelBuffer &buffer = image.buffer();
    return static_cast<uint8_t *>(buffer.data) +
           (static_cast<ptrdiff_t>(row) * buffer.rowStep + static_cast<ptrdiff_t>(column) * buffer.colStep) *
               static_cast<ptrdiff_t>(buffer.pixelSize);
}

VorelDngImage *make_image(const DngRect &bounds, uint32_t planes, uint32_t type) {
    auto *const image = new VorelDngImage(bounds, planes, type);
    uint32_t state = 1;
    for (int32_t row = bounds.top; row < bounds.bottom; ++row) {
        uint8_t *byte = sample(*image, row, 0);
        for (uint32_t i = 0; i < bounds.width() * planes; ++i, byte += image->buffer().pixelSize) {
            state = state * 1664525 + 1013904223;
            const float fraction = state >> 28 == 0   ? NAN
                                   : state >> 28 == 1 ? INFINITY
                                                      : static_cast<float>(state >> 12 & 0xFFFF) / 50000;
            type == kPixelFloat ? std::memcpy(byte, &fraction, sizeof fraction)
                                : std::memcpy(byte, &state, image->buffer().pixelSize);
        }
    }
    return image;
}

void apply(const Bytes &list, uint32_t stage, vorel::test::PlainContext &context, VorelDngImage *image) {
    VorelDngStream stream(list.data(), static_cast<uint32_t>(list.size()));
    VorelDngOpcodeList opcodes(stage);
    opcodes.parse(context, stream, static_cast<uint32_t>(list.size()), 0);
    require(opcodes.count() <= list.size() / 16, "every opcode has its bytes");
    opcodes.doApply(context, image);
}

// Whether all opcodes are of those that look at one sample.
bool by_samples(const Bytes &list) {
    const auto number = [&](size_t at) {
        return uint32_t{list[at]} << 24 | uint32_t{list[at + 1]} << 16 | uint32_t{list[at + 2]} << 8 | list[at + 3];
    };
    for (uint64_t at = 4; at + 16 <= list.size(); at += 16 + uint64_t{number(at + 12)}) {
        if (number(at) != 3 && number(at) < 7) return false;
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Case input(data, size, 6);
    constexpr uint32_t kTypes[] = {kPixelShort, kPixelFloat, kPixelByte, kPixelLong};
    const uint32_t type = input.one_of(kTypes), planes = 1 + input.option() % 4;
    const int32_t rows = 1 + input.below(70), columns = 1 + input.below(90);
    const uint32_t how = input.option(), where = input.option();
    const DngRect bounds = {0, 0, rows, columns};
    std::unique_ptr<VorelDngImage> whole(make_image(bounds, planes, type)), part(make_image(bounds, planes, type));
    vorel::test::PlainContext context;
    context.preview = (how & 1) != 0;
    context.frame.size = {rows, columns};
    apply(input.picture(), 1 + how % 3, context, whole.get());

    const int32_t top = static_cast<int32_t>(where % 16) % rows, left = static_cast<int32_t>(where / 16) % columns;
    VorelDngImage region({0, 0, rows - top, columns - left}, planes, type);
    const size_t bytes = static_cast<size_t>(columns - left) * planes * part->buffer().pixelSize;
    for (int32_t row = 0; row < rows - top; ++row) {
        std::memcpy(sample(region, row, 0), sample(*part, row + top, left), bytes);
    }
    context.frame = {{top, left}, {rows, columns}, false};
    apply(input.picture(), 1 + how % 3, context, &region);
    if (!by_samples(input.picture())) return 0;
    for (int32_t row = 0; row < rows - top; ++row) {
        require(std::memcmp(sample(region, row, 0), sample(*whole, row + top, left), bytes) == 0,
                "a region is the cut of the whole");
    }
    return 0;
}
