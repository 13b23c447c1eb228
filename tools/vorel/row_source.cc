#include "row_source.h"

#include <png.h>
#include <vorel/jpeg_decoder.h>
#include <vorel/jpeg_iterative.h>
#include <vorel/png.h>

#include <algorithm>
#include <csetjmp>
#include <cstring>
#include <utility>

#include "develop.h"
#include "failure.h"
#include "jpeg_coding.h"
#include "progress.h"
#include "raw_file.h"
#include "regions.h"
#include "session.h"
#include "upright.h"

namespace vorel_tool {
namespace {

constexpr size_t kPixelBytes = 4;

[[noreturn]] void fail(const std::string &path, const std::string &reason) {
    if (cancelled()) throw Failure(path + ": cancelled");
    throw Failure(path + ": cannot be decoded" + (reason.empty() ? "" : ": " + reason));
}

// One pass over the entropy-coded data, a strip at a time.
class JpegRows : public RowSource {
  public:
    // Null for sampling factors that are not decoded in strips.
    static std::unique_ptr<RowSource> open(std::unique_ptr<Session> session, const ImageInfo &info) {
        std::unique_ptr<JpegRows> rows(new JpegRows(std::move(session), info));
        int32_t ready = 4;
        while (ready == 4 && !cancelled())
            ready = VORELBRIM_PrepareJPEGIter(rows->session_->get(), rows->width(), rows->height());
        if (ready == 4) rows->fail_jpeg();
        if (ready != 1) rows.reset();
        return rows;
    }
    ~JpegRows() override { VORELBRIM_AbortJPEGIter(session_->get()); }

    bool gray() const override { return gray_; }

    // The library's strips have a row of their neighbours above and below.
    void read(uint8_t *rows, int32_t count) override {
        uint8_t *strip = rows - static_cast<size_t>(width()) * kPixelBytes;
        const int32_t result =
            VORELBRIM_DecodeJPEGIter4LTN(session_->get(), strip, width(), height(), VOREL_ITERATE, count);
        if (result != 4 && result != 1) fail_jpeg();
    }

  private:
    JpegRows(std::unique_ptr<Session> session, const ImageInfo &info)
        : RowSource(static_cast<int32_t>(info.width), static_cast<int32_t>(info.height)),
          session_(std::move(session)),
          gray_(info.numComponents == 1) {}

    [[noreturn]] void fail_jpeg() const {
        const std::string coding = unsupported_coding(session_->path());
        fail(session_->path(), coding.empty() ? last_error() : coding);
    }

    const std::unique_ptr<Session> session_;
    const bool gray_;
};

// A JPEG that is to be turned: the rows are rectangles of the stored picture, which its map finds.
class TurnedJpegRows : public RowSource {
  public:
    TurnedJpegRows(const std::string &path, const ImageInfo &info, int32_t orientation)
        : RowSource(static_cast<int32_t>(is_sideways(orientation) ? info.height : info.width),
                    static_cast<int32_t>(is_sideways(orientation) ? info.width : info.height)),
          regions_(open_regions(path)),
          orientation_(orientation),
          gray_(info.numComponents == 1) {}

    bool gray() const override { return gray_; }

    void read(uint8_t *rows, int32_t count) override {
        const bool sideways = is_sideways(orientation_);
        const bool from_end = sideways ? is_from_right(orientation_) : is_from_below(orientation_);
        const int32_t first = from_end ? height() - next_ - count : next_;
        const Rect rect = sideways ? Rect{first, 0, count, width()} : Rect{0, first, width(), count};
        const Picture part = upright(regions_->decode(rect, 1), orientation_);
        std::memcpy(rows, part.bytes.data(), part.bytes.size());
        next_ += count;
    }

  private:
    const std::unique_ptr<RegionSource> regions_;
    const int32_t orientation_;
    const bool gray_;
    int32_t next_ = 0;
};

void be_silent(png_structp, png_const_charp) {}
void jump_out(png_structp png, png_const_charp) { png_longjmp(png, 1); }

class PngRows : public RowSource {
  public:
    PngRows(const std::string &path, const ImageInfo &info)
        : RowSource(static_cast<int32_t>(info.width), static_cast<int32_t>(info.height)), path_(path) {
        if (onDecodeVPNGInit(&png_, &info_, path.c_str(), nullptr, 0) == 1) {
            png_set_error_fn(png_, png_get_error_ptr(png_), jump_out, be_silent);
            return;
        }
        vpng_destroy_read_struct(&png_, &info_, nullptr);
        fail(path, "");
    }
    ~PngRows() override { vpng_destroy_read_struct(&png_, &info_, nullptr); }

    void read(uint8_t *rows, int32_t count) override {
        if (!read_guarded(rows, count)) fail(path_, "");
    }

  private:
    // libpng leaves by longjmp: nothing here has a destructor.
    bool read_guarded(uint8_t *rows, int32_t count) {
        if (setjmp(png_jmpbuf(png_))) return false;
        read_rows(rows, count);
        return true;
    }
    void read_rows(uint8_t *rows, int32_t count) {
        for (int32_t i = 0; i < count; ++i, rows += static_cast<size_t>(width()) * kPixelBytes) {
            png_read_row(png_, rows, nullptr);
            substituteTranspColor(png_, info_, rows);
        }
    }

    std::string path_;
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
};

class WholePicture : public RowSource {
  public:
    explicit WholePicture(Picture picture)
        : RowSource(picture.width, picture.height), picture_(std::move(picture)), next_(picture_.bytes.data()) {}

    void read(uint8_t *rows, int32_t count) override {
        const size_t bytes = static_cast<size_t>(count) * static_cast<size_t>(width()) * kPixelBytes;
        std::memcpy(rows, next_, bytes);
        next_ += bytes;
    }

  private:
    const Picture picture_;
    const uint8_t *next_;
};

Picture decode_whole(const std::string &path, const ImageInfo &info) {
    const PixelFormat &format = *find_format("rgba8888");
    const auto width = static_cast<int32_t>(info.width), height = static_cast<int32_t>(info.height);
    if (picture_bytes(format, width, height) > INT32_MAX) throw Failure(path + ": more than 2 GiB of pixels");
    Picture picture = make_picture(format, width, height);
    const auto decode = [&](Picture *into) {
        return VorelDecodeFile(path.c_str(), into->bytes.data(), 0, format.code, 1) != 0;
    };
    const auto all_are = [](const Picture &in, uint8_t value) {
        return std::all_of(in.bytes.begin(), in.bytes.end(), [=](uint8_t byte) { return byte == value; });
    };
    bool done = decode(&picture);
    if (done && all_are(picture, 0)) {
        // Decoders that know no way to store a picture leave the buffer as it was.
        constexpr uint8_t kWhite = 255;
        Picture white = picture;
        std::fill(white.bytes.begin(), white.bytes.end(), kWhite);
        done = decode(&white) && !all_are(white, kWhite);
    }
    if (!done) fail(path, unsupported_coding(path));
    return picture;
}

}  // namespace

std::unique_ptr<RowSource> open_rows(const std::string &path, bool oriented) {
    if (const std::unique_ptr<RawFile> raw = RawFile::open(path))
        return std::make_unique<WholePicture>(develop_whole(*raw, oriented));
    auto session = std::make_unique<Session>(path, Source::kFile, COLOR_RGBA8888, VOREL_OPTION_FIT_STRETCH);
    const ImageInfo info = session->parse();
    const int32_t type = session->type();
    if (type == VOREL_IMAGE_PNG && !info.progressive) return std::make_unique<PngRows>(path, info);
    if (type == VOREL_IMAGE_JPEG) {
        const int32_t orientation = oriented ? exif_orientation(*session) : 0;
        if (orientation > 1) return std::make_unique<TurnedJpegRows>(path, info, orientation);
        if (std::unique_ptr<RowSource> rows = JpegRows::open(std::move(session), info)) return rows;
    }
    return std::make_unique<WholePicture>(decode_whole(path, info));
}

}  // namespace vorel_tool
