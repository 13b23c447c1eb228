#include "regions.h"

#include <png.h>
#include <vorel/jpeg_region.h>
#include <vorel/png.h>
#include <cstdio>

#include <algorithm>
#include <climits>
#include <cstring>

#include "failure.h"
#include "progress.h"
#include "session.h"

namespace vorel_tool {
namespace {

// A region enters chunks in the middle, and the library has libpng warn that their check values do not fit.
void be_silent(png_structp, png_const_charp) {}
void jump_out(png_structp png, png_const_charp) { png_longjmp(png, 1); }

Picture make_region(const std::string &path, int32_t width, int32_t height) {
    const PixelFormat &format = *find_format("rgba8888");
    if (picture_bytes(format, width, height) > INT32_MAX)
        throw Failure(path + ": " + std::to_string(width) + " x " + std::to_string(height) +
                      " pixels are more than 2 GiB");
    return make_picture(format, width, height);
}

class PngRegions : public RegionSource {
  public:
    PngRegions(const std::string &path, bool interlaced);
    ~PngRegions() override;

    int32_t width() const override { return handle_->width; }
    int32_t height() const override { return handle_->height; }
    void set_memory(size_t bytes) override { vpng_set_region_memory(handle_, bytes); }
    Picture decode(const Rect &rect, int32_t sample) override;

  private:
    void decode_rows(Rect rect, int32_t sample, uint8_t *out);

    std::string path_;
    bool interlaced_;
    vpng_tile_index *handle_;
};

PngRegions::PngRegions(const std::string &path, bool interlaced)
    : path_(path), interlaced_(interlaced), handle_(onBuildTileIndexVPNG(path.c_str(), 0, nullptr, COLOR_RGBA8888)) {
    if (!handle_) throw Failure(path + ": cannot be decoded");
    png_set_error_fn(handle_->png, png_get_error_ptr(handle_->png), jump_out, be_silent);
}

PngRegions::~PngRegions() {
    vpng_destroy_read_struct(&handle_->png, &handle_->info, nullptr);
    VORELBRIM_OsFree(handle_);
}

void PngRegions::decode_rows(Rect rect, int32_t sample, uint8_t *out) {
    if (onDecodeVPNGSubset(handle_, out, rect.x, rect.y, rect.width, rect.height, sample) != 1)
        throw Failure(path_ + ": cannot be decoded");
}

Picture PngRegions::decode(const Rect &rect, int32_t sample) {
    const int32_t width = rect.width / sample, height = rect.height / sample;
    // The library takes the row behind the last but one for the last; a row more, which is dropped, keeps the distance.
    const bool one_more = !interlaced_ && sample > 1 && rect.height <= handle_->height - rect.y - sample;
    Picture picture = make_region(path_, width, height + one_more);
    Rect wanted = rect;
    wanted.height += one_more ? sample : 0;
    if (interlaced_ && height == handle_->height && height > 1) {
        // Of an interlaced picture the library gives no region of all rows.
        wanted.height = height - 1;
        decode_rows(wanted, sample, picture.bytes.data());
        decode_rows({rect.x, rect.y + height - 1, rect.width, 1}, sample,
                    picture.bytes.data() + static_cast<size_t>(width) * 4 * static_cast<size_t>(height - 1));
    } else {
        decode_rows(wanted, sample, picture.bytes.data());
    }
    set_size(&picture, width, height);
    return picture;
}

// The session with its map; each rectangle has a child of its own. A picture that has no map, or whose components come
// in scans of their own, is decoded down to the rectangle instead.
class JpegRegions : public RegionSource {
  public:
    explicit JpegRegions(const std::string &path)
        : path_(path), session_(path, Source::kMemory, COLOR_RGBA8888, VOREL_OPTION_REGION) {
        session_.parse();
        DecodeWatch watch(session_.get(), path + ": map");
        const bool mapped = VORELBRIM_ScanHuffmanInfo(session_.get()) == 1;
        watch.end();
        if (cancelled()) {
            VORELBRIM_DestroyJpegInfo(session_.get());
            throw Failure(path + ": cancelled");
        }
        if (!mapped || session_.get()->multiScan) VORELBRIM_SetDecOption(session_.get(), VOREL_OPTION_FIT_STRETCH);
    }
    ~JpegRegions() override { VORELBRIM_DestroyJpegInfo(session_.get()); }

    int32_t width() const override { return static_cast<int32_t>(session_.get()->imageWidth); }
    int32_t height() const override { return static_cast<int32_t>(session_.get()->imageHeight); }

    Picture decode(const Rect &rect, int32_t sample) override {
        Picture picture = make_region(path_, rect.width / sample, rect.height / sample);
        const int32_t done = VORELBRIM_DecodeRegion(session_.get(), picture.bytes.data(), reduced(width(), sample),
                                                    reduced(height(), sample), rect.x / sample, rect.y / sample,
                                                    picture.width, picture.height, sample);
        if (done != 1) throw Failure(path_ + ": cannot be decoded at 1/" + std::to_string(sample));
        return picture;
    }

  private:
    static int32_t reduced(int32_t side, int32_t sample) {
        return static_cast<int32_t>(std::max<int64_t>(1, (2 * int64_t{side} + sample) / (2 * sample)));
    }

    std::string path_;
    Session session_;
};

}  // namespace

std::unique_ptr<RegionSource> open_regions(const std::string &path) {
    bool interlaced = false;
    {
        Session session(path, Source::kFile, COLOR_RGBA8888, 0);
        const ImageInfo info = session.parse();
        interlaced = info.progressive != 0;
        if (session.type() == VOREL_IMAGE_JPEG) return std::make_unique<JpegRegions>(path);
        if (session.type() != VOREL_IMAGE_PNG)
            throw Failure(path + ": is a " + type_name(session.type()) + "; regions are for JPEG and PNG");
    }
    return std::make_unique<PngRegions>(path, interlaced);
}

Rect parse_rect(const std::string &text) {
    Rect rect;
    int end = 0;
    const int read = std::sscanf(text.c_str(), "%9d,%9d,%9d,%9d%n", &rect.x, &rect.y, &rect.width, &rect.height, &end);
    if (read != 4 || static_cast<size_t>(end) != text.size() || rect.x < 0 || rect.y < 0 || rect.width < 1 ||
        rect.height < 1)
        throw BadUsage("--rect: " + text + " is not X,Y,WIDTH,HEIGHT");
    return rect;
}

}  // namespace vorel_tool
