#include "regions.h"

#include <png.h>

#include <climits>
#include <cstring>

#include "commands.h"
#include "session.h"

namespace vorel_tool {
namespace {

// A region enters chunks in the middle, and the library has libpng warn that their check values do not fit.
void be_silent(png_structp, png_const_charp) {}
void jump_out(png_structp png, png_const_charp) { png_longjmp(png, 1); }

}  // namespace

RegionSource::RegionSource(const std::string &path) : path_(path) {
    {
        Session session(path, Source::kFile, COLOR_RGBA8888, 0);
        const ImageInfo info = session.parse();
        if (session.type() != VOREL_IMAGE_PNG)
            throw Failure(path + ": is a " + type_name(session.type()) + "; regions are for PNG so far");
        interlaced_ = info.progressive != 0;
    }
    handle_ = onBuildTileIndexVPNG(path_.c_str(), 0, nullptr, COLOR_RGBA8888);
    if (!handle_) throw Failure(path + ": cannot be decoded");
    png_set_error_fn(handle_->png, png_get_error_ptr(handle_->png), jump_out, be_silent);
}

RegionSource::~RegionSource() {
    vpng_destroy_read_struct(&handle_->png, &handle_->info, nullptr);
    VORELBRIM_OsFree(handle_);
}

void RegionSource::decode_rows(Rect rect, int32_t sample, uint8_t *out) {
    if (onDecodeVPNGSubset(handle_, out, rect.x, rect.y, rect.width, rect.height, sample) != 1)
        throw Failure(path_ + ": cannot be decoded");
}

Picture RegionSource::decode(const Rect &rect, int32_t sample) {
    const PixelFormat &format = *find_format("rgba8888");
    const int32_t width = rect.width / sample, height = rect.height / sample;
    // The library takes the row behind the last but one for the last; a row more, which is dropped, keeps the distance.
    const bool one_more = !interlaced_ && sample > 1 && rect.height <= handle_->height - rect.y - sample;
    if (picture_bytes(format, width, height + 1) > INT32_MAX)
        throw Failure(path_ + ": " + std::to_string(width) + " x " + std::to_string(height) +
                      " pixels are more than 2 GiB");
    Picture picture = make_picture(format, width, height + one_more);
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

}  // namespace vorel_tool
