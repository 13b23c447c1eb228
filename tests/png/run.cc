#include "png/run.h"

namespace vorel::test {

Decoded decode_whole(const Bytes &png, const WholeRequest &request, uint8_t fill, bool by_path) {
    const size_t bytes = static_cast<size_t>(request.out_width) * static_cast<size_t>(request.out_height) * 4;
    GuardBuffer out(bytes, fill);
    Decoded decoded;
    if (by_path) {
        const TempFile file(png);
        decoded.result = decodeVPNG(file.path(), 0, nullptr, out.data(), request.out_width, request.out_height,
                                    request.sample_size, request.format);
    } else {
        const GuardBuffer guarded(png);
        decoded.result =
            decodeVPNG(const_cast<GuardBuffer &>(guarded).data(), static_cast<int32_t>(png.size()), vpng_read_fn,
                       out.data(), request.out_width, request.out_height, request.sample_size, request.format);
    }
    decoded.pixels = out.bytes();
    return decoded;
}

Regions::Regions(const Bytes &png, int format, bool by_path) : png_(png), file_(by_path ? png : Bytes()) {
    handle_ = by_path ? onBuildTileIndexVPNG(file_.path(), 0, nullptr, format)
                      : onBuildTileIndexVPNG(png_.data(), static_cast<int32_t>(png_.size()), vpng_read_fn, format);
}

Regions::~Regions() {
    if (!handle_) return;
    vpng_destroy_read_struct(&handle_->png, &handle_->info, nullptr);
    VORELBRIM_OsFree(handle_);
}

Decoded Regions::decode(const RegionRequest &request) {
    const int s = request.sample_size < 1 ? 1 : request.sample_size;
    const int width = request.w / s, height = request.h / s;
    const bool any = width > 0 && height > 0;
    GuardBuffer out(any ? static_cast<size_t>(width) * static_cast<size_t>(height) * 4 : 0, kFill);
    Decoded decoded;
    decoded.result =
        onDecodeVPNGSubset(handle_, out.data(), request.x, request.y, request.w, request.h, request.sample_size);
    decoded.pixels = out.bytes();
    return decoded;
}

}  // namespace vorel::test
