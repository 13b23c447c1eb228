// The entries that turn a path or a buffer into pixels or sizes. The Vorel family decodes any format, the Vjpg family
// JPEG only; each pair of twins is one function here, told apart by its entry.
#include <cstring>
#include <utility>

#include "core/core.h"
#include "core/path_source.h"
#include "frame/decoders.h"
#include "jpeg/decoder/decoder.h"

namespace vorel {
namespace {

constexpr int32_t kRotated90 = 6, kRotated180 = 3, kRotated270 = 8;  // Exif orientation, CIPA DC-008 4.6.4 A

// An exported entry: what its log lines say, and what sets it apart from its twin.
struct Entry {
    const char *name;
    const char *tag;
    bool any_format;
};
constexpr Entry vorel_entry(const char *name) { return {name, kTagStat, true}; }
constexpr Entry vjpg_entry(const char *name) { return {name, kTagJpegStat, false}; }

#define VOREL_ENTRY_TRACE(entry) VOREL_LOG((entry).tag, "[%s:%d]\n", (entry).name, __LINE__)

// Where the picture comes from. length 0 means that `at` is a path.
struct Source {
    const void *at;
    int32_t length;

    static Source path(const char *path) { return {path, 0}; }
    const char *as_path() const { return static_cast<const char *>(at); }
};

struct Request {
    void *output;
    int32_t color_format;
    int32_t sample_size;  // 1 and up
    int32_t *options;     // null, or three words: flags, then the output's width and height
};

// A session and the block that was read for it.
class OwnedSession {
  public:
    explicit OwnedSession(DecInfo *session) : session_(session) {}
    ~OwnedSession() { close(); }
    OwnedSession(const OwnedSession &) = delete;
    OwnedSession &operator=(const OwnedSession &) = delete;

    // The reason of a failure outlives its session.
    void close() {
        DecInfo *session = release();
        if (!session) return;
        const uint32_t error = last_error();
        os_release(session->fileBuffer);
        VORELBRIM_DestroyDecInfo(session);
        set_error(error);
    }
    DecInfo *release() { return std::exchange(session_, nullptr); }
    DecInfo *get() const { return session_; }
    DecInfo *operator->() const { return session_; }
    explicit operator bool() const { return session_ != nullptr; }

  private:
    DecInfo *session_;
};

DecInfo *open_path(const char *path, int32_t size, int32_t color_format, uint32_t options) {
    return VORELBRIM_CreateDecInfo(kIoFile, const_cast<char *>(path), size, color_format, options);
}

DecInfo *open_memory(const void *memory, int32_t bytes, int32_t color_format, uint32_t options) {
    return VORELBRIM_CreateDecInfo(kIoMemory, const_cast<void *>(memory), bytes, color_format, options);
}

DecInfo *open_source(const Source &source, int32_t color_format) {
    return source.length == 0 ? open_path(source.as_path(), 0, color_format, 0)
                              : open_memory(source.at, source.length, color_format, 0);
}

// Required: three of the buffer entries ask for the size of the file that the buffer's bytes name, for the log line
// that comes of it. The buffer ends nowhere by itself, so a terminated copy is asked about.
void probe_as_path(const Entry &entry, const void *buffer, int32_t length) {
    char path[4097];
    const size_t bytes = length < 0                                      ? 0
                         : static_cast<size_t>(length) < sizeof path - 1 ? static_cast<size_t>(length)
                                                                         : sizeof path - 1;
    const size_t used = strnlen(static_cast<const char *>(buffer), bytes);
    std::memcpy(path, buffer, used);
    path[used] = '\0';
    file_size(kLogInfo, entry.tag, path);
}

// Turns the picture as its orientation says and gives the size that it then has.
void apply_orientation(int32_t orientation, const Request &request, int32_t *width, int32_t *height) {
    const int32_t degrees = orientation == kRotated90    ? 90
                            : orientation == kRotated270 ? 270
                            : orientation == kRotated180 ? 180
                                                         : 0;
    if (degrees == 0) return;
    const int32_t turned = rotate_in_place(request.output, *width, *height, request.color_format, degrees);
    if (turned && degrees != 180) std::swap(*width, *height);
}

// Parses and decodes an open session. The rotation comes after the decode, so the session itself is given no
// orientation option, else the picture would turn twice.
int32_t decode_session(const Entry &entry, OwnedSession &session, const Source &source, const Request &request) {
    ImageInfo info;
    const int32_t type = VORELBRIM_Parser(session.get(), &info);
    int32_t width = static_cast<int32_t>(info.width / static_cast<uint32_t>(request.sample_size));
    int32_t height = static_cast<int32_t>(info.height / static_cast<uint32_t>(request.sample_size));
    int32_t result = 0;
    if (type != VOREL_IMAGE_NONE) {
        const bool oriented = request.options && (request.options[0] & VOREL_OPTION_EXIF_ORIENTATION);
        const int32_t orientation = oriented ? exif_orientation(session.get()) : 1;
        if (!entry.any_format) {
            result = VORELBRIM_PDecodeJPEG(session.get(), request.output, width, height, request.sample_size);
        } else if (type != VOREL_IMAGE_PNG) {
            result = decode_by_type(session.get(), request.output, width, height, request.sample_size);
        } else {
            session.close();
            result = decode_png(source.at, source.length, request.output, width, height, request.sample_size,
                                request.color_format);
        }
        if (result) apply_orientation(orientation, request, &width, &height);
    }
    if (request.options) {
        request.options[1] = width;
        request.options[2] = height;
    }
    // Each kind of failure has a line of its own.
    if (type == VOREL_IMAGE_NONE) {
        VOREL_ENTRY_TRACE(entry);
    } else if (!result) {
        VOREL_ENTRY_TRACE(entry);
    }
    return result;
}

int32_t decode_file(const Entry &entry, const char *path, void *output, int32_t color_format, int32_t sample_size,
                    int32_t *options) {
    if (!path || !output) {
        VOREL_ENTRY_TRACE(entry);
        return 0;
    }
    const int32_t size = file_size(kLogInfo, entry.tag, path);
    if (size == 0) {
        set_error(kErrorOpen);
        return 0;
    }
    OwnedSession session(open_file(path, size, color_format, 0));
    if (!session) {
        VOREL_ENTRY_TRACE(entry);
        return 0;
    }
    const Request request = {output, color_format, sample_size < 1 ? 1 : sample_size, options};
    return decode_session(entry, session, Source::path(path), request);
}

int32_t decode_buffer(const Entry &entry, const void *buffer, void *output, int32_t length, int32_t color_format,
                      int32_t sample_size, int32_t *options) {
    if (!buffer || !output) {
        VOREL_ENTRY_TRACE(entry);
        return 0;
    }
    OwnedSession session(open_memory(buffer, length, color_format, 0));
    if (!session) {
        VOREL_ENTRY_TRACE(entry);
        return 0;
    }
    const Request request = {output, color_format, sample_size < 1 ? 1 : sample_size, options};
    return decode_session(entry, session, {buffer, length}, request);
}

int32_t decode_probed_buffer(const Entry &entry, const void *buffer, void *output, int32_t length, int32_t color_format,
                             int32_t sample_size, int32_t *options) {
    if (buffer && output) probe_as_path(entry, buffer, length);
    return decode_buffer(entry, buffer, output, length, color_format, sample_size, options);
}

int32_t image_info(const Entry &entry, const Source &source, int32_t *width, int32_t *height) {
    if (!source.at || !width || !height) {
        VOREL_ENTRY_TRACE(entry);
        return 0;
    }
    OwnedSession session(open_source(source, COLOR_RGB565));
    if (!session) {
        VOREL_ENTRY_TRACE(entry);
        return 0;
    }
    ImageInfo info;
    const int32_t type = VORELBRIM_Parser(session.get(), &info);
    if (type == VOREL_IMAGE_NONE) {
        VOREL_ENTRY_TRACE(entry);
        return 0;
    }
    if (!entry.any_format && type != VOREL_IMAGE_JPEG) {
        VOREL_ENTRY_TRACE(entry);
        return 0;
    }
    *width = static_cast<int32_t>(info.width);
    *height = static_cast<int32_t>(info.height);
    return type;
}

// The input begins at the offset; length counts from there. An empty one is no path.
int32_t image_info_at(const Entry &entry, const void *buffer, int32_t offset, int32_t length, int32_t *width,
                      int32_t *height) {
    const bool valid = buffer && offset >= 0 && length > 0;
    return image_info(entry, {valid ? static_cast<const uint8_t *>(buffer) + offset : nullptr, length}, width, height);
}

// Opens and parses a JPEG for the image-utility entries, null with a log line when it is none.
DecInfo *open_jpeg(const Entry &entry, const void *path_or_buffer, int32_t size, int32_t color_format,
                   ImageInfo *info) {
    OwnedSession session(open_source({path_or_buffer, size}, color_format));
    if (!session) {
        VOREL_ENTRY_TRACE(entry);
        return nullptr;
    }
    if (VORELBRIM_Parser(session.get(), info) == VOREL_IMAGE_NONE) {
        VOREL_ENTRY_TRACE(entry);
        return nullptr;
    }
    return session.release();
}

// What decodeJPEG decodes to.
bool decode_jpeg_writes(int32_t color_format) {
    switch (color_format) {
        case COLOR_YUV420:
        case COLOR_RGBA8888:
        case COLOR_BGRA8888:
        case COLOR_YUYV:
        case COLOR_NV21:
        case COLOR_NV12:
            return true;
        default:
            return false;
    }
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t VorelGetFileSize(const char *path) { return file_size(kLogInfo, kTagStat, path); }
int32_t VjpgGetFileSize(const char *path) { return file_size(kLogInfo, kTagJpegStat, path); }

int32_t VorelGetImageInfoFromFile(const char *path, int32_t, int32_t, int32_t *outWidth, int32_t *outHeight) {
    return image_info(vorel_entry(__func__), Source::path(path), outWidth, outHeight);
}

int32_t VjpgGetImageInfoFromFile(const char *path, int32_t, int32_t, int32_t *outWidth, int32_t *outHeight) {
    return image_info(vjpg_entry(__func__), Source::path(path), outWidth, outHeight);
}

int32_t VorelGetImageInfoFromBuffer(const void *buffer, int32_t offset, int32_t length, int32_t *outWidth,
                                    int32_t *outHeight) {
    return image_info_at(vorel_entry(__func__), buffer, offset, length, outWidth, outHeight);
}

int32_t VjpgGetImageInfoFromBuffer(const void *buffer, int32_t offset, int32_t length, int32_t *outWidth,
                                   int32_t *outHeight) {
    return image_info_at(vjpg_entry(__func__), buffer, offset, length, outWidth, outHeight);
}

int32_t VorelDecodeFile(const char *path, void *output, int32_t, int32_t colorFormat, int32_t sampleSize) {
    return decode_file(vorel_entry(__func__), path, output, colorFormat, sampleSize, nullptr);
}

int32_t VjpgDecodeFile(const char *path, void *output, int32_t, int32_t colorFormat, int32_t sampleSize) {
    return decode_file(vjpg_entry(__func__), path, output, colorFormat, sampleSize, nullptr);
}

int32_t VorelDecodeFileOpt(const char *path, void *output, int32_t, int32_t colorFormat, int32_t sampleSize,
                           int32_t *options) {
    return decode_file(vorel_entry(__func__), path, output, colorFormat, sampleSize, options);
}

int32_t VjpgDecodeFileOpt(const char *path, void *output, int32_t, int32_t colorFormat, int32_t sampleSize,
                          int32_t *options) {
    return decode_file(vjpg_entry(__func__), path, output, colorFormat, sampleSize, options);
}

// Required: alone among the buffer entries, this one asks for no file size.
int32_t VorelDecodeBuffer(const void *buffer, void *output, int32_t length, int32_t colorFormat, int32_t sampleSize) {
    return decode_buffer(vorel_entry(__func__), buffer, output, length, colorFormat, sampleSize, nullptr);
}

int32_t VjpgDecodeBuffer(const void *buffer, void *output, int32_t length, int32_t colorFormat, int32_t sampleSize) {
    return decode_probed_buffer(vjpg_entry(__func__), buffer, output, length, colorFormat, sampleSize, nullptr);
}

int32_t VorelDecodeBufferOpt(const void *buffer, void *output, int32_t length, int32_t colorFormat, int32_t sampleSize,
                             int32_t *options) {
    return decode_probed_buffer(vorel_entry(__func__), buffer, output, length, colorFormat, sampleSize, options);
}

int32_t VjpgDecodeBufferOpt(const void *buffer, void *output, int32_t length, int32_t colorFormat, int32_t sampleSize,
                            int32_t *options) {
    return decode_probed_buffer(vjpg_entry(__func__), buffer, output, length, colorFormat, sampleSize, options);
}

int32_t decodeJPEG(const void *pathOrBuffer, int32_t size, void *output, int32_t width, int32_t height,
                   int32_t colorFormat) {
    constexpr Entry entry = {"decodeJPEG", kTagImageUtil, false};
    VOREL_LOG(entry.tag, "VJPEG decodeJPEG - %s\n", BRIMJ_GetVersion());
    if (size < 0 || !pathOrBuffer || !output) return 0;
    if (!decode_jpeg_writes(colorFormat)) {
        VOREL_LOG(entry.tag, "VJPEG decodeJPEG not support type : %d", colorFormat);
        return 0;
    }
    ImageInfo info;
    OwnedSession session(open_jpeg(entry, pathOrBuffer, size, colorFormat, &info));
    if (!session) return 0;
    const int32_t result = VORELBRIM_PDecodeJPEG(session.get(), output, width, height, 0);
    if (!result) VOREL_ENTRY_TRACE(entry);
    return result;
}

// Parsing alone does not read the Exif record; decoding does, so the picture is decoded at its smallest.
DecInfo *getExif(const void *pathOrBuffer, int32_t size) {
    constexpr Entry entry = {"getExif", kTagImageUtil, false};
    constexpr int32_t kReduction = 8;
    constexpr uint64_t kPixelBytes = 4;
    VOREL_LOG(entry.tag, "VJPEG getExif - %s", BRIMJ_GetVersion());
    if (size < 0 || !pathOrBuffer) return nullptr;
    ImageInfo info;
    OwnedSession session(open_jpeg(entry, pathOrBuffer, size, COLOR_RGBA8888, &info));
    if (!session) return nullptr;
    const uint32_t width = info.width / kReduction, height = info.height / kReduction;
    const OsBlock pixels(os_allocate_array<uint8_t>(uint64_t{width} * height * kPixelBytes));
    if (!pixels || !VORELBRIM_PDecodeJPEG(session.get(), pixels.as<void>(), static_cast<int32_t>(width),
                                          static_cast<int32_t>(height), kReduction)) {
        VOREL_ENTRY_TRACE(entry);
        return nullptr;
    }
    return session.release();
}

int32_t destroyExif(DecInfo *session) { return VORELBRIM_DestroyDecInfo(session); }

}  // extern "C"
