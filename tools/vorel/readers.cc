// Pictures from files: raw frames, PNG, PPM and PGM.
#include "readers.h"

#include <png.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>

#include "failure.h"

namespace vorel_tool {
namespace {

constexpr int32_t kMostSide = 65535;

std::ifstream open_file(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw Failure(path + ": " + std::strerror(errno));
    return file;
}

Picture new_picture(const std::string &path, const PixelFormat &format, uint64_t width, uint64_t height) {
    if (width < 1 || height < 1 || width > kMostSide || height > kMostSide)
        throw Failure(path + ": " + std::to_string(width) + " x " + std::to_string(height) +
                      " pixels are none or too many");
    const int32_t w = static_cast<int32_t>(width), h = static_cast<int32_t>(height);
    if (picture_bytes(format, w, h) > INT32_MAX) throw Failure(path + ": the picture is larger than 2 GiB");
    return make_picture(format, w, h);
}

void fill(const std::string &path, std::istream &file, Picture *picture) {
    file.read(reinterpret_cast<char *>(picture->bytes.data()), static_cast<std::streamsize>(picture->bytes.size()));
    if (static_cast<size_t>(file.gcount()) != picture->bytes.size())
        throw Failure(path + ": " + std::to_string(picture->bytes.size()) + " bytes of pixels are wanted, there are " +
                      std::to_string(file.gcount()));
}

// The next number of a PPM or PGM header, behind blanks and comments; -1 where there is none.
int pnm_number(std::istream &file) {
    for (;;) {
        file >> std::ws;
        if (file.peek() != '#') break;
        std::string comment;
        std::getline(file, comment);
    }
    int number = -1;
    return file >> number ? number : -1;
}

}  // namespace

Picture read_raw(const std::string &path, const PixelFormat &format, Size size) {
    const uint64_t bytes = picture_bytes(format, size.width, size.height);
    if (bytes > INT32_MAX) throw Failure(path + ": a frame of that size is larger than 2 GiB");
    std::ifstream file = open_file(path);
    Picture picture = make_picture(format, size.width, size.height);
    fill(path, file, &picture);
    if (file.peek() != std::char_traits<char>::eof())
        throw Failure(path + ": longer than the " + std::to_string(bytes) + " bytes of such a frame");
    return picture;
}

Picture read_png(const std::string &path, bool keep_gray) {
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) throw Failure(path + ": " + image.message);
    try {
        const bool gray = keep_gray && !(image.format & PNG_FORMAT_FLAG_COLOR);
        image.format = gray ? PNG_FORMAT_GRAY : PNG_FORMAT_RGB;
        Picture picture = new_picture(path, *find_format(gray ? "gray" : "rgb888"), image.width, image.height);
        const png_color black = {};
        if (!png_image_finish_read(&image, &black, picture.bytes.data(), 0, nullptr))
            throw Failure(path + ": " + image.message);
        return picture;
    } catch (...) {
        png_image_free(&image);
        throw;
    }
}

Picture read_pnm(const std::string &path) {
    std::ifstream file = open_file(path);
    char magic[2] = {};
    file.read(magic, 2);
    const int width = pnm_number(file), height = pnm_number(file), most = pnm_number(file);
    const bool gray = magic[1] == '5';
    if (magic[0] != 'P' || (magic[1] != '6' && !gray) || width < 1 || height < 1 || most != 255 ||
        !std::isspace(file.get()))
        throw Failure(path + ": not a binary PPM or PGM (P6, P5) with 255 as its largest value");
    Picture picture = new_picture(path, *find_format(gray ? "gray" : "rgb888"), static_cast<uint64_t>(width),
                                  static_cast<uint64_t>(height));
    fill(path, file, &picture);
    return picture;
}

}  // namespace vorel_tool
