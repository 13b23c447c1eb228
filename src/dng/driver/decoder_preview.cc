// The small picture that a file carries, or one as small made from the raw image.
#include <algorithm>
#include <cstring>

#include <vorel/util.h>

#include "dng/driver/decoder.h"
#include "dng/driver/region.h"
#include "dng/image/read_image.h"

using vorel::DngRect;

namespace {

constexpr uint32_t kCompressionJpeg = 7, kCompressionLossyJpeg = 34892;
constexpr uint32_t kRgb = 3, kRgbaBytes = 4;

// Any image as rows of R, G, B without padding: grey three times, of wider samples the high byte.
std::unique_ptr<VorelDngImage> as_rgb(const VorelDngImage &image) {
    const DngRect &bounds = image.getBounds();
    auto rgb = std::make_unique<VorelDngImage>(bounds, kRgb, kPixelByte, vorel::ImageFill::kZero, kPaddingNone);
    const uint32_t planes = image.planes();
    for (int32_t row = bounds.top; row < bounds.bottom; ++row) {
        for (int32_t column = bounds.left; column < bounds.right; ++column) {
            for (uint32_t i = 0; i < kRgb; ++i) {
                const uint32_t plane = planes < kRgb ? 0 : i;
                uint8_t *out = rgb->at<uint8_t>(row, column, i);
                switch (image.getPixelType()) {
                    case kPixelByte:
                        *out = *image.at<uint8_t>(row, column, plane);
                        break;
                    case kPixelShort:
                        *out = static_cast<uint8_t>(*image.at<uint16_t>(row, column, plane) >> 8);
                        break;
                    case kPixelLong:
                        *out = static_cast<uint8_t>(*image.at<uint32_t>(row, column, plane) >> 24);
                        break;
                    default:
                        break;
                }
            }
        }
    }
    return rgb;
}

}  // namespace

VorelDngImage *VorelDngDecoder::readPreviewImage(VorelDngIFD &ifd) {
    if (!ifd.hasImage()) return nullptr;
    restore_byte_order();
    const DngRect bounds = {0, 0, static_cast<int32_t>(ifd.height), static_cast<int32_t>(ifd.width)};
    auto image = std::make_unique<VorelDngImage>(bounds, ifd.samplesPerPixel, ifd.pixelType());
    VorelDngReadImage().read(ifd, file_->stream, *image);
    return image.release();
}

int32_t VorelDngDecoder::decodePreview(decInfo *info) {
    info_ = info;
    developsPreview_ = true;
    preferredSize_ = info->preferredSize;
    readStage1Image();
    parse_opcode_lists();
    return develop(info);
}

VorelDngImage *VorelDngDecoder::decodePreviewImage(int32_t width, int32_t height) {
    if (!prologue(nullptr)) return nullptr;
    VorelDngIFD *preview = file_->previewIFD();
    if (!preview) return nullptr;
    if (preview->compression == kCompressionJpeg || preview->compression == kCompressionLossyJpeg) {
        return readPreviewImage(*preview);
    }
    decInfo info = {};
    info.previewWidth = static_cast<uint32_t>(std::max(width, 0));
    info.previewHeight = static_cast<uint32_t>(std::max(height, 0));
    info.preferredSize = std::max(info.previewWidth, info.previewHeight);
    const bool done = decodePreview(&info);
    info_ = nullptr;
    return done ? finalImage_.release() : nullptr;
}

int32_t VorelDngDecoder::decodePreviewImage(uint8_t *out, int32_t width, int32_t height) {
    convertRGB2RGBA(out, width, height, nullptr, 0, 0);
    const std::unique_ptr<VorelDngImage> image(decodePreviewImage(width, height));
    if (!image || image->getBounds().empty()) return 0;
    const std::unique_ptr<VorelDngImage> rgb = as_rgb(*image);
    const DngRect &bounds = rgb->getBounds();
    convertRGB2RGBA(out, width, height, rgb->at<uint8_t>(bounds.top, bounds.left), static_cast<int32_t>(bounds.width()),
                    static_cast<int32_t>(bounds.height()));
    return 1;
}

int32_t VorelDngDecoder::developPreview(uint8_t *out, int32_t width, int32_t height, decInfo *info) {
    convertRGB2RGBA(out, width, height, nullptr, 0, 0);
    info_ = info;
    acceptLossless_ = info->acceptLossless == 1;
    if (!prologue(nullptr)) return 0;
    info->previewWidth = static_cast<uint32_t>(width), info->previewHeight = static_cast<uint32_t>(height);
    info->preferredSize = std::max(info->previewWidth, info->previewHeight);
    if (!decodePreview(info) || !finalImage_) return 0;
    const DngRect &bounds = finalImage_->getBounds();
    const int32_t columns = static_cast<int32_t>(bounds.width()), rows = static_cast<int32_t>(bounds.height());
    const int64_t stride = finalImage_->buffer().rowStep;
    const uint8_t *pixels = finalImage_->at<uint8_t>(bounds.top, bounds.left);
    if (columns == width && rows == height) {
        vorel::expand_rows(pixels, stride, out, size_t{bounds.width()} * kRgbaBytes, bounds.width(), bounds.height());
        return 1;
    }
    // Of an image that has no mosaic, or one that cannot be reduced.
    const std::unique_ptr<uint8_t[]> whole(new uint8_t[size_t{bounds.width()} * bounds.height() * kRgbaBytes]);
    vorel::expand_rows(pixels, stride, whole.get(), size_t{bounds.width()} * kRgbaBytes, bounds.width(),
                       bounds.height());
    vorel_resize_rgba8888(whole.get(), out, columns, rows, width, height);
    return 1;
}
