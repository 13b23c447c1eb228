// Pictures to files: raw, PNG, PPM and JPEG.
#include "writers.h"

#include <png.h>

#include <csetjmp>

#include "failure.h"
#include "output_file.h"
#include "progress.h"

namespace vorel_tool {
namespace {

bool ends_with(const std::string &text, const char *ending) {
    const std::string wanted = ending;
    if (text.size() <= wanted.size()) return false;
    for (size_t i = 0; i < wanted.size(); ++i) {
        const char have = text[text.size() - wanted.size() + i];
        if ((have >= 'A' && have <= 'Z' ? have - 'A' + 'a' : have) != wanted[i]) return false;
    }
    return true;
}

void write_raw(const Picture &picture, OutputFile &file) { file.write(picture.bytes.data(), picture.bytes.size()); }

void write_ppm(const Picture &picture, OutputFile &file) {
    const std::string header =
        "P6\n" + std::to_string(picture.width) + " " + std::to_string(picture.height) + "\n255\n";
    file.write(header.data(), header.size());
    std::vector<uint8_t> row(static_cast<size_t>(picture.width) * 3);
    for (int32_t y = 0; y < picture.height; ++y) {
        rgb_row(picture, y, row.data());
        file.write(row.data(), row.size());
    }
}

// libpng leaves by longjmp: this frame holds nothing with a destructor. False on any failure.
bool encode_png(png_structp png, png_infop info, const Picture &picture, FILE *stream, uint8_t *row) {
    if (setjmp(png_jmpbuf(png))) return false;
    const bool gray = is_gray(picture);
    png_init_io(png, stream);
    png_set_compression_level(png, 3);
    png_set_IHDR(png, info, static_cast<png_uint_32>(picture.width), static_cast<png_uint_32>(picture.height), 8,
                 gray            ? PNG_COLOR_TYPE_GRAY
                 : picture.alpha ? PNG_COLOR_TYPE_RGB_ALPHA
                                 : PNG_COLOR_TYPE_RGB,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (int32_t y = 0; y < picture.height; ++y) {
        if (picture.alpha) {
            png_write_row(png, &picture.bytes[static_cast<size_t>(y) * static_cast<size_t>(picture.width) * 4]);
            continue;
        }
        gray ? gray_row(picture, y, row) : rgb_row(picture, y, row);
        png_write_row(png, row);
    }
    png_write_end(png, info);
    return true;
}

void be_silent(png_structp, png_const_charp) {}
void jump_out(png_structp png, png_const_charp) { png_longjmp(png, 1); }

}  // namespace

FileKind kind_of_file(const std::string &path) {
    if (ends_with(path, ".raw")) return FileKind::kRaw;
    if (ends_with(path, ".png")) return FileKind::kPng;
    if (ends_with(path, ".ppm")) return FileKind::kPpm;
    if (ends_with(path, ".pgm")) return FileKind::kPgm;
    if (ends_with(path, ".jpg") || ends_with(path, ".jpeg")) return FileKind::kJpeg;
    return FileKind::kUnknown;
}

void check_output_name(const std::string &path) {
    const FileKind kind = kind_of_file(path);
    if (kind == FileKind::kUnknown || kind == FileKind::kPgm)
        throw BadUsage(path + ": the output's name has to end in .raw, .png, .ppm or .jpg");
}

void write_png(const Picture &picture, const std::string &path, FILE *stream) {
    std::vector<uint8_t> row(static_cast<size_t>(picture.width) * 3);
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, jump_out, be_silent);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    const bool written = info && encode_png(png, info, picture, stream, row.data());
    png_destroy_write_struct(&png, &info);
    if (!written) throw Failure(path + ": cannot be written as PNG");
}

void write_picture(const Picture &picture, const std::string &path, bool (*cancelled)(), const JpegOptions &jpeg) {
    catch_signals();  // before there is a file that a signal would leave behind
    OutputFile file(path);
    switch (kind_of_file(path)) {
        case FileKind::kJpeg: {
            const std::vector<uint8_t> stream = encode_jpeg(picture, jpeg, path);
            file.write(stream.data(), stream.size());
            break;
        }
        case FileKind::kPng:
            write_png(picture, path, file.stream());
            break;
        case FileKind::kPpm:
            write_ppm(picture, file);
            break;
        default:
            write_raw(picture, file);
            break;
    }
    if (cancelled()) throw Failure(path + ": cancelled, not written");
    file.commit();
}

}  // namespace vorel_tool
