#include "bindings/java/operations/kept_session.h"

#include <algorithm>
#include <cstring>

#include "bindings/c/binding_log.h"
#include "core/path_source.h"
#include "core/session.h"

namespace vorel {
namespace {

constexpr int32_t kThumbnailMask = 3, kThumbnail = 2;
constexpr int64_t kLeastReduction = 64;  // of the area, from which on bands of rows are not worth their threads
constexpr int32_t kMapFlags = VOREL_ITERATE | VOREL_ITERATE_MAP;

bool parse_jpeg(DecInfo *session, const FactorySource &source) {
    ImageInfo info;
    if (VORELBRIM_Parser(session, &info) != VOREL_IMAGE_JPEG) {
        if (source.path) {
            VOREL_ERROR(kTagBitmapDecoder, "File : %s isn't a jpeg file", source.path);
        } else {
            VOREL_ERROR(kTagBitmapDecoder, "Buffered input isn't a jpeg file");
        }
        return false;
    }
    if (info.width != 0 && info.height != 0) return true;
    VOREL_ERROR(kTagBitmapDecoder, "Parsing Error");
    return false;
}

OwnedSession open_kept(const FactorySource &source, int32_t color_format, uint32_t option_word) {
    OwnedSession session;
    if (source.path) {
        const int32_t size = file_size(kLogError, kTagBitmapDecoder, source.path);
        if (size > 0) session.reset(open_whole_file(source.path, size, color_format, option_word));
    } else if (source.bytes && source.length > 0) {
        OsBlock copy(os_allocate(static_cast<size_t>(source.length)));
        if (!copy) {
            VOREL_ERROR(kTagBitmapDecoder, "fail to make byte buffer");
            return session;
        }
        std::memcpy(copy.as<void>(), source.bytes, static_cast<size_t>(source.length));
        session.reset(VORELBRIM_CreateDecInfo(kIoMemory, copy.as<void>(), source.length, color_format, option_word));
        if (session) session->fileBuffer = copy.release();
    }
    if (!session) VOREL_ERROR(kTagBitmapDecoder, "CreateDecInfo Error");
    return session;
}

bool is_jpeg(const DecInfo *session) { return session->imageType == VOREL_IMAGE_JPEG; }

// Behind a decode: one that failed before it had read the frame has left no size, by which the next ones go.
int32_t with_size(DecInfo *session, int32_t result) {
    if (session->imageWidth != 0 && session->imageHeight != 0) return result;
    const uint32_t error = last_error();
    const int32_t type = session->imageType;
    ImageInfo info;
    VORELBRIM_Parser(session, &info);
    session->imageType = type;
    set_error(error);
    return result;
}

// A decode in pieces is under way.
bool is_open(const DecInfo *session) { return session->codecState && session->codecState != session->retainedJpegInfo; }

// Iterations that ended with a map leave their own window, and the option to decode by it. Neither is for the size that
// is asked for now.
void want_whole_picture(DecInfo *session) {
    session->partialDecode = 0;
    session->partialX = session->partialY = session->partialWidth = session->partialHeight = 0;
    if (session->retainedJpegInfo) session->decOption &= ~static_cast<uint32_t>(VOREL_OPTION_REGION);
}

}  // namespace

bool jpeg_size(const FactorySource &source, int32_t *width, int32_t *height) {
    const OwnedSession session(
        source.path ? VORELBRIM_CreateDecInfo(kIoFile, const_cast<char *>(source.path), 0, COLOR_RGBA8888, 0)
        : source.bytes && source.length > 0
            ? VORELBRIM_CreateDecInfo(kIoMemory, const_cast<uint8_t *>(source.bytes), source.length, COLOR_RGBA8888, 0)
            : nullptr);
    if (!session) {
        VOREL_ERROR(kTagBitmapDecoder, "CreateDecInfo Error");
        return false;
    }
    if (!parse_jpeg(session.get(), source)) return false;
    *width = static_cast<int32_t>(session->imageWidth);
    *height = static_cast<int32_t>(session->imageHeight);
    return true;
}

DecInfo *keep_jpeg(const FactorySource &source, int32_t color_format, uint32_t option_word) {
    OwnedSession session = open_kept(source, color_format, option_word);
    return session && parse_jpeg(session.get(), source) ? session.release() : nullptr;
}

ExifInfo *read_exif(DecInfo *session, const char *path) {
    const FactorySource source = {path ? path : "", nullptr, 0};
    OwnedSession own;
    if (!session) {
        own.reset(VORELBRIM_CreateDecInfo(kIoFile, const_cast<char *>(source.path), 0, COLOR_RGBA8888, 0));
        session = own.get();
        if (!session) {
            VOREL_ERROR(kTagBitmapDecoder, "CreateDecInfo Error");
            return nullptr;
        }
    }
    if (!parse_jpeg(session, source)) return nullptr;
    ExifInfo *exif = BRIMJ_CreatExifInfo(session);
    if (!exif) VOREL_ERROR(kTagBitmapDecoder, "Exif Parsing Error");
    return exif;
}

int32_t cancel_decode(DecInfo *session) {
    if (!session) return 0;
    cancel_with_children(session);
    return 1;
}

int32_t cancel_map(DecInfo *session) {
    if (!session) return 0;
    store_relaxed(&session->abortFlag, kAbortCancelled);
    return 1;
}

void kept_size(const DecInfo *session, const KeptRequest &request, int32_t *width, int32_t *height) {
    const bool reduced = request.sample_size >= 1;
    *width = reduced ? static_cast<int32_t>(session->imageWidth) / request.sample_size : request.width;
    *height = reduced ? static_cast<int32_t>(session->imageHeight) / request.sample_size : request.height;
}

int32_t decode_kept(DecInfo *session, void *output, const KeptRequest &request) {
    if (!is_jpeg(session)) return 0;
    int32_t width, height;
    kept_size(session, request, &width, &height);
    const int64_t source = int64_t{session->imageWidth} * session->imageHeight;
    const bool stated = request.width > 0 && request.height > 0;
    const int64_t wanted = stated ? int64_t{request.width} * request.height : int64_t{width} * height;
    want_whole_picture(session);
    if (source / kLeastReduction < wanted) {
        return with_size(session,
                         VORELBRIM_PDecodeJPEG(session, output, width, height, std::max(request.sample_size, 1)));
    }
    return with_size(session, VORELBRIM_DecodeJPEG(session, output, width, height));
}

bool is_window(const FactoryWindow &window) {
    if (window.width > 0 && window.height > 0) return true;
    VOREL_ERROR(kTagBitmapDecoder, "Width and Height coudn't be Zero");
    return false;
}

int32_t decode_kept_window(DecInfo *session, void *output, const KeptRequest &request, const FactoryWindow &window) {
    if (!is_jpeg(session) || !is_window(window) || window.x < 0 || window.y < 0) return 0;
    int32_t width, height;
    kept_size(session, request, &width, &height);
    want_whole_picture(session);
    session->partialDecode = 1;
    session->partialX = static_cast<uint32_t>(window.x);
    session->partialY = static_cast<uint32_t>(window.y);
    session->partialWidth = static_cast<uint32_t>(window.width);
    session->partialHeight = static_cast<uint32_t>(window.height);
    return with_size(session, VORELBRIM_DecodeJPEG(session, output, width, height));
}

int32_t decode_kept_thumbnail(DecInfo *session, void *output, int32_t width, int32_t height, int32_t flags) {
    if (!is_jpeg(session)) return 0;
    if (!is_open(session)) want_whole_picture(session);
    const int32_t thumbnail = (flags & kThumbnailMask) | kThumbnail;
    session->decOption =
        (session->decOption & ~static_cast<uint32_t>(kThumbnailMask)) | static_cast<uint32_t>(thumbnail);
    int32_t result;
    do {
        result = VORELBRIM_PrepareJPEGIter(session, width, height);
    } while (result == kIterMore);
    if (result != 1) return with_size(session, 0);
    do {
        result = VORELBRIM_DecodeJPEGIter(session, output, width, height, VOREL_ITERATE, height);
    } while (result == kIterMore);
    return result == 1;
}

int32_t decode_kept_with_midpoints(DecInfo *session, void *output, const KeptRequest &request, int32_t count) {
    if (!is_jpeg(session) || count < 0 || count > 4) return 0;
    int32_t width, height;
    kept_size(session, request, &width, &height);
    want_whole_picture(session);
    session->midpointCount = count;
    return with_size(session, VORELBRIM_DecodeJPEG(session, output, width, height));
}

int32_t prepare_kept(DecInfo *session, int32_t width, int32_t height) {
    if (!is_open(session)) want_whole_picture(session);
    return VORELBRIM_PrepareJPEGIter(session, width, height);
}

int32_t prepare_kept_midpoints(DecInfo *session, int32_t width, int32_t height, const uint8_t *blob, int32_t size) {
    VOREL_ERROR(kTagBitmapDecoder, "prepare called useMIDPoint");
    // Only a step that begins a decode takes them.
    if (!is_open(session) && (!blob || !vorel_read_midpoints(session, blob, size))) {
        VOREL_ERROR(kTagBitmapDecoder, "prepare useMIDPoint is null");
    }
    session->sampleSize = width > 0 ? static_cast<int32_t>(session->imageWidth) / width : 1;
    return prepare_kept(session, width, height);
}

bool ends_session(int32_t result, int32_t flags) { return result != kIterMore && !(result == 1 && flags == kMapFlags); }

}  // namespace vorel
