#include "png/run.h"

#include "support/samples.h"

namespace vorel::test {

Decoded decode_whole(const Bytes &png, const WholeRequest &request, uint8_t fill, bool by_path) {
    const size_t bytes = static_cast<size_t>(request.out_width) * static_cast<size_t>(request.out_height) * 4;
    GuardBuffer out(bytes, fill);
    std::optional<TempFile> file;
    GuardBuffer guarded(png);
    const void *source = by_path ? static_cast<const void *>(file.emplace(png).path()) : guarded.data();
    const int32_t length = by_path ? 0 : static_cast<int32_t>(png.size());
    const int32_t result = decodeVPNG(source, length, by_path ? nullptr : vpng_read_fn, out.data(), request.out_width,
                                      request.out_height, request.sample_size, request.format);
    return {result, out.bytes()};
}

std::optional<Decoded> decode_by_steps(const Bytes &file, int width, int height) {
    Opened open(file);
    png_uint_32 w = 0, h = 0;
    if (open.good()) vpng_get_IHDR(open.png, open.info, &w, &h, nullptr, nullptr, nullptr, nullptr, nullptr);
    if (w != static_cast<png_uint_32>(width) || h != static_cast<png_uint_32>(height)) return {};
    Decoded out = {0, Bytes(static_cast<size_t>(width * height) * 4, kFill)};
    const auto row_at = [&](int y) { return out.pixels.data() + static_cast<ptrdiff_t>(y) * width * 4; };
    const int result = unless_jumped(open.png, [&] {
        const int passes = png_set_interlace_handling(open.png);
        for (int pass = 0; pass < passes; ++pass) {
            for (int y = 0; y < height; ++y) {
                png_bytep row = row_at(y);
                if (y % 2) {
                    skip_src_rows(open.png, row, 1);
                } else {
                    png_read_rows(open.png, &row, nullptr, 1);
                }
                if (passes == 1) substituteTranspColor(open.png, open.info, row);
            }
        }
        for (int y = 0; y < height && passes > 1; ++y) substituteTranspColor(open.png, open.info, row_at(y));
        return 1;
    });
    out.result = result == 1;
    return out;
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
    const int32_t result =
        onDecodeVPNGSubset(handle_, out.data(), request.x, request.y, request.w, request.h, request.sample_size);
    return {result, out.bytes()};
}

Subject png_subject(const PngSpec &spec, const WholeRequest &request, const RegionRequest &region) {
    const auto decode = [=](Kind kind, const Bytes &png) -> Seen {
        const bool by_path = kind == Kind::kPath;
        const Decoded whole = decode_whole(png, request, kFill, by_path);
        Regions regions(png, request.format, by_path);
        Decoded part = regions ? regions.decode(region) : Decoded();
        // A failed region leaves the handle good.
        if (regions && !part.result) part = regions.decode(region);
        return {whole.result && part.result, cat({whole.pixels, part.pixels})};
    };
    // What memory that is cut short gives is what stood in the buffers.
    const auto both_fail = [](Kind, const Bytes &, const Seen &a, const Seen &b) { return !a.result && !b.result; };
    return {.name = spec.name(),
            .file = make_png(spec),
            .decode = decode,
            .kinds = {Kind::kMemory, Kind::kPath},
            .memory = size_t{4} << 20,
            .allocations = 5,
            .survives = true,  // without memory for a chunk beside the picture libpng goes on
            .decodes = 400,
            .may_differ = both_fail};
}

}  // namespace vorel::test
