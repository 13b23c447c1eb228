// A decode session of the library over a file, reached in one of three ways.
#include "session.h"

#include <vorel/exif.h>

#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstring>

#include "failure.h"
#include "jpeg_coding.h"

namespace vorel_tool {
namespace {

// IoInfo.kind.
constexpr uint32_t kKindFile = 0;
constexpr uint32_t kKindMemory = 1;

// The library counts bytes in 31 bits.
int32_t regular_file_size(const std::string &path) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) throw Failure(path + ": " + std::strerror(errno));
    if (S_ISDIR(status.st_mode)) throw Failure(path + ": is a directory");
    if (!S_ISREG(status.st_mode)) throw Failure(path + ": is not a regular file");
    if (status.st_size == 0) throw Failure(path + ": is empty");
    if (status.st_size > INT32_MAX) throw Failure(path + ": is larger than 2 GiB");
    return static_cast<int32_t>(status.st_size);
}

FILE *open_file(const std::string &path) {
    FILE *file = std::fopen(path.c_str(), "rb");
    if (!file) throw Failure(path + ": " + std::strerror(errno));
    return file;
}

int32_t read_stream(void *context, void *destination, int32_t count) {
    return static_cast<int32_t>(std::fread(destination, 1, static_cast<size_t>(count), static_cast<FILE *>(context)));
}

int32_t skip_stream(void *context, int32_t, int32_t count) {
    FILE *file = static_cast<FILE *>(context);
    std::fseek(file, count, SEEK_CUR);
    return static_cast<int32_t>(std::ftell(file));
}

int32_t rewind_stream(void *context, int32_t, int32_t) {
    std::rewind(static_cast<FILE *>(context));
    return 0;
}

int print_diagnostic(int, const char *tag, const char *format, ...) {
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    size_t length = std::strlen(text);
    while (length > 0 && text[length - 1] == '\n') text[--length] = '\0';
    return std::fprintf(stderr, "%s: %s\n", tag, text);
}

// TIFF 6.0 section 2; raw files begin so too.
bool begins_like_tiff(const std::string &path) {
    const std::unique_ptr<FILE, int (*)(FILE *)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
    char head[4] = {};
    return file && std::fread(head, 1, sizeof head, file.get()) == sizeof head &&
           (std::memcmp(head, "II*", sizeof head) == 0 || std::memcmp(head, "MM\0*", sizeof head) == 0);
}

}  // namespace

Session::Session(const std::string &path, Source source, int32_t color_format, uint32_t options)
    : path_(path), source_(source), size_(regular_file_size(path)) {
    if (source != Source::kFile) file_.reset(open_file(path));
    if (source == Source::kMemory) {
        bytes_.resize(static_cast<size_t>(size_));
        if (std::fread(bytes_.data(), 1, bytes_.size(), file_.get()) != bytes_.size())
            throw Failure(path + ": cannot be read");
        file_.reset();
    }
    session_ = open(color_format, options);
    if (!session_) {
        const std::string reason = last_error();
        throw Failure(path + ": " + (reason.empty() ? "no decode session" : reason));
    }
}

Session::~Session() {
    if (session_) VORELBRIM_DestroyDecInfo(session_);
}

DecInfo *Session::open(int32_t color_format, uint32_t options) {
    switch (source_) {
        case Source::kMemory:
            return VORELBRIM_CreateDecInfo(kKindMemory, bytes_.data(), size_, color_format, options);
        case Source::kStream:
            return VORELBRIM_CreateDecInfoWithStream(file_.get(), size_, read_stream, skip_stream, rewind_stream,
                                                     color_format, options);
        case Source::kFile:
            break;
    }
    return VORELBRIM_CreateDecInfo(kKindFile, path_.data(), size_, color_format, options);
}

ImageInfo Session::parse() {
    ImageInfo info;
    if (VORELBRIM_Parser(session_, &info) != VOREL_IMAGE_NONE) return info;
    const std::string coding = unsupported_coding(path_);
    if (!coding.empty()) throw Failure(path_ + ": " + coding);
    if (session_->imageType != VOREL_IMAGE_NONE)
        throw Failure(path_ + ": " + type_name(session_->imageType) + " of " + std::to_string(info.width) + " x " +
                      std::to_string(info.height) + " pixels, a size that is not decoded");
    if (begins_like_tiff(path_)) throw Failure(path_ + ": not a picture; a raw file is for vorel develop");
    const std::string reason = last_error();
    throw Failure(path_ + ": " + (reason.empty() ? "not a picture of a known format" : reason));
}

int32_t exif_orientation(Session &session) {
    ExifInfo *info = BRIMJ_CreatExifInfo(session.get());
    const int32_t orientation = info && info->orientation <= 8 ? static_cast<int32_t>(info->orientation) : 0;
    if (info) BRIMJ_DestroyExifInfo(info);
    return orientation;
}

const char *type_name(int32_t image_type) {
    switch (image_type) {
        case VOREL_IMAGE_JPEG:
            return "JPEG";
        case VOREL_IMAGE_BMP:
            return "BMP";
        case VOREL_IMAGE_PNG:
            return "PNG";
        case VOREL_IMAGE_GIF:
            return "GIF";
        case VOREL_IMAGE_WBMP:
            return "WBMP";
        case VOREL_IMAGE_ANIMATED_GIF:
            return "animated GIF";
        default:
            return "unknown";
    }
}

std::string last_error() {
    switch (__atomic_load_n(&gVORELBRIM_Error, __ATOMIC_RELAXED)) {
        case 0:
            return "";
        case 2:
            return "the JPEG decoder cannot set itself up for it";
        case 4:
            return "out of memory";
        case 5:
            return "its header is damaged or cut off";
        case 12:
            return "is empty";
        case 13:
            return "cannot be opened";
        default:
            return "error " + std::to_string(__atomic_load_n(&gVORELBRIM_Error, __ATOMIC_RELAXED));
    }
}

void show_diagnostics() { vorel_set_log_print(print_diagnostic); }

}  // namespace vorel_tool
