// Whole raw files, and lossless JPEG by itself: every develop ends within its buffers, a rectangle is the cut of a
// larger one by every entry, and a develop gives the same bytes again.
#include <vorel/dng.h>
#include <vorel/jpeg_decoder.h>

#include <algorithm>
#include <cstdlib>

#include "harness.h"

using namespace vorel_fuzz;

namespace {

constexpr uint64_t kMostPixels = 1 << 17;  // developed here; larger files are parsed

struct Rectangle {
    int32_t top, bottom, left, right;
};

Bytes rectangle(const Bytes &file, const Rectangle &r, decInfo info, bool with_handle) {
    info.regionTop = r.top, info.regionBottom = r.bottom, info.regionLeft = r.left, info.regionRight = r.right;
    info.width = static_cast<uint32_t>(r.right - r.left), info.height = static_cast<uint32_t>(r.bottom - r.top);
    Bytes out(size_t{info.width} * info.height * 4, kFill);
    const auto decode = with_handle ? decodeDNGImageBuffer_for_RD : decodeDNGImageBuffer;
    decode(file.data(), static_cast<int32_t>(file.size()), out.data(), &info);
    return out;
}

Bytes cut(const Bytes &whole, int32_t width, const Rectangle &r) {
    Bytes out;
    for (int32_t y = r.top; y < r.bottom; ++y) {
        const uint8_t *row =
            &whole[(static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(r.left)) * 4];
        out.insert(out.end(), row, row + static_cast<size_t>(r.right - r.left) * 4);
    }
    return out;
}

// CFALayout: of staggered mosaics the picture has other rows or columns than its rectangles count in.
bool may_be_staggered(const Bytes &file) {
    const uint8_t tags[2][2] = {{0x17, 0xC6}, {0xC6, 0x17}};
    return std::search(file.begin(), file.end(), tags[0], tags[0] + 2) != file.end() ||
           std::search(file.begin(), file.end(), tags[1], tags[1] + 2) != file.end();
}

void develop(Case &input) {
    const Bytes &file = input.picture();
    const int32_t length = static_cast<int32_t>(file.size());
    decInfo info = {};
    info.acceptLossless = 1;
    if (parseDNGImageBuffer(file.data(), length, &info) != 0) return;
    int32_t preview_width = 0, preview_height = 0;
    parseDNGPreviewImageBuffer(file.data(), length, &preview_width, &preview_height);
    if (info.width == 0 || uint64_t{info.width} * info.height > kMostPixels) return;
    if (preview_width > 0 && int64_t{preview_width} * preview_height <= static_cast<int64_t>(kMostPixels)) {
        Bytes out(static_cast<size_t>(preview_width) * static_cast<size_t>(preview_height) * 4);
        decodeDNGPreviewImageBuffer(file.data(), length, out.data(), preview_width, preview_height);
    }
    const int32_t width = static_cast<int32_t>(info.width), height = static_cast<int32_t>(info.height);
    decInfo record = {};
    record.acceptLossless = 1;
    const Bytes all = rectangle(file, {0, height, 0, width}, record, false);
    const int32_t top = input.below(height), left = input.below(width);
    const Rectangle part = {top, std::min(height, top + input.side()), left, std::min(width, left + input.side())};
    const Bytes expected = may_be_staggered(file) ? rectangle(file, part, record, false) : cut(all, width, part);
    require(rectangle(file, part, record, false) == expected, "a rectangle is the cut of the whole");
    decInfo handle = record;
    if (parseDNGImageBuffer_for_RD(file.data(), length, &handle) == 0) {
        decInfo through = record;
        through.handle = handle.handle;
        require(rectangle(file, part, through, true) == expected, "a handle gives the same");
        finalizeHandle(&handle);
    }
    decInfo whole = record;
    whole.width = static_cast<uint32_t>(input.side()), whole.height = static_cast<uint32_t>(input.side());
    whole.noiseStrength = input.below(3) - 1;
    if (input.below(2)) {
        whole.preferredSize = static_cast<uint32_t>(input.side());
        whole.previewWidth = static_cast<uint32_t>(input.side()),
        whole.previewHeight = static_cast<uint32_t>(input.side());
    }
    decInfo again = whole;
    Bytes first(size_t{whole.width} * whole.height * 4, kFill), second(first.size(), kOtherFill);
    decodeDNGImageBuffer(file.data(), length, first.data(), &whole);
    decodeDNGImageBuffer(file.data(), length, second.data(), &again);
    require(first == second, "a develop gives the same bytes again");
    VDngStage stage = {};
    decInfo staged = record;
    if (vorel_dng_stage(file.data(), length, 1 + input.below(3), &staged, &stage) == 1) std::free(stage.samples);
}

void lossless(const uint8_t *data, size_t size) {
    const int32_t length = static_cast<int32_t>(size);
    VorelLosslessFrame frame;
    if (!vorel_jpeg_lossless_frame(data, length, &frame)) return;
    struct Receiver {
        int32_t samples, rows;
        uint32_t sum;
    } receiver = {frame.width * frame.components, 0, 0};
    const int32_t rows = vorel_jpeg_decode_lossless(
        data, length,
        [](void *user, int32_t row, const uint16_t *samples) {
            Receiver &to = *static_cast<Receiver *>(user);
            require(row == to.rows++, "rows come in order");
            for (int32_t i = 0; i < to.samples; ++i) to.sum += samples[i];
            return 0;
        },
        &receiver);
    require(rows == receiver.rows, "all rows are counted");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size > 1 << 20) return 0;
    lossless(data, size);
    Case input(data, size, 12);
    develop(input);
    return 0;
}
