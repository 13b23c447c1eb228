#include "bindings/java/operations/picture_decode.h"

#include <algorithm>
#include <climits>

#include "bindings/c/binding_log.h"
#include "bindings/c/picture_bytes.h"
#include "core/path_source.h"
#include "frame/decoders.h"

namespace vorel {
namespace {

OwnedSession open_bytes(const FactorySource &source, int32_t color_format, uint32_t options) {
    if (!source.bytes || source.length < 1) return nullptr;
    return OwnedSession(
        VORELBRIM_CreateDecInfo(kIoMemory, const_cast<uint8_t *>(source.bytes), source.length, color_format, options));
}

bool is_supported(int32_t type) {
    return type == VOREL_IMAGE_JPEG || type == VOREL_IMAGE_BMP || type == VOREL_IMAGE_PNG || type == VOREL_IMAGE_GIF ||
           type == VOREL_IMAGE_ANIMATED_GIF;
}

bool is_decodable(int32_t side) { return side >= 1 && side <= kMostSide; }

}  // namespace

bool FactoryPicture::open_source() {
    if (!source_.path) {
        session_ = open_bytes(source_, request_.color_format, request_.option_word);
    } else {
        const int32_t size = file_size(kLogError, kTagBitmapDecoder, source_.path);
        if (size <= 0) return false;
        session_.reset(open_file(source_.path, size, request_.color_format, request_.option_word));
        if (!session_ && size < kWholeFileBytes && last_error() == kErrorOutOfMemory) {
            VOREL_ERROR(kTagBitmapDecoder, "fail to malloc file buffer");
            return false;
        }
    }
    if (!session_) VOREL_ERROR(kTagBitmapDecoder, "fail to create decodinf info");
    return session_ != nullptr;
}

bool FactoryPicture::open(const FactorySource &source, const FactoryRequest &request) {
    source_ = source;
    request_ = request;
    if (!open_source()) return false;
    ImageInfo info;
    type_ = VORELBRIM_Parser(session_.get(), &info);
    if (!is_supported(type_)) {
        VOREL_ERROR(kTagBitmapDecoder, "not supported file type");
        return false;
    }
    if (info.width == 0 || info.height == 0) {
        VOREL_ERROR(kTagBitmapDecoder, "not supported image size");
        return false;
    }
    image_width_ = static_cast<int32_t>(info.width);
    image_height_ = static_cast<int32_t>(info.height);
    width_ = request.width != 0 ? request.width : reduced_side(image_width_, request.sample_size);
    height_ = request.height != 0 ? request.height : reduced_side(image_height_, request.sample_size);
    if (is_decodable(width_) && is_decodable(height_)) return true;
    VOREL_ERROR(kTagBitmapDecoder, "not supported decoding size");
    return false;
}

int32_t FactoryPicture::decode(void *output) {
    const int32_t sample = std::max(request_.sample_size, 1);
    if (type_ != VOREL_IMAGE_PNG) return decode_by_type(session_.get(), output, width_, height_, sample);
    // A size of the caller's is fitted; a reduction keeps every so many pixels.
    const bool fitted = request_.width != 0 || request_.height != 0;
    session_.reset();
    return source_.path
               ? decode_png(source_.path, 0, output, width_, height_, fitted ? 0 : sample, request_.color_format)
               : decode_png(source_.bytes, source_.length, output, width_, height_, fitted ? 0 : sample,
                            request_.color_format);
}

bool FactoryPicture::has_window(const FactoryWindow &window) const {
    if (window.x >= 0 && window.y >= 0 && window.width > 0 && window.height > 0 &&
        window.width <= image_width_ - window.x && window.height <= image_height_ - window.y) {
        return true;
    }
    VOREL_ERROR(kTagBitmapDecoder, "incorrect rect size - x : %d, y : %d, w : %d, h : %d", window.x, window.y,
                window.width, window.height);
    return false;
}

int32_t FactoryPicture::decode_window(void *output, const FactoryWindow &window) {
    session_->partialDecode = 1;
    session_->partialX = static_cast<uint32_t>(window.x);
    session_->partialY = static_cast<uint32_t>(window.y);
    session_->partialWidth = static_cast<uint32_t>(window.width);
    session_->partialHeight = static_cast<uint32_t>(window.height);
    return VORELBRIM_DecodeJPEG(session_.get(), output, width_, height_);
}

bool picture_bounds(const FactorySource &source, int32_t color_format, int32_t *width, int32_t *height) {
    const OwnedSession session =
        source.path
            ? OwnedSession(VORELBRIM_CreateDecInfo(kIoFile, const_cast<char *>(source.path), 0, color_format, 0))
            : open_bytes(source, color_format, 0);
    ImageInfo info;
    if (!session || VORELBRIM_Parser(session.get(), &info) == VOREL_IMAGE_NONE) return false;
    *width = static_cast<int32_t>(info.width);
    *height = static_cast<int32_t>(info.height);
    return true;
}

bool display_bytes(int32_t color_format, int32_t width, int32_t height, size_t *bytes) {
    DecInfo session = {};
    session.outColorFormat = color_format;
    if (!picture_bytes(color_format, width, height, bytes)) return false;
    const uint64_t pixels = static_cast<uint64_t>(width) * static_cast<uint64_t>(height);
    if (pixels > INT_MAX) return false;
    *bytes = std::max(*bytes, static_cast<size_t>(pixels * static_cast<uint64_t>(getBytePerPixel(&session))));
    return *bytes <= INT_MAX;
}

}  // namespace vorel
