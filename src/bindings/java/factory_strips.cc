// Natives that decode a kept session in strips: rows with guard rows above and below, ready to be drawn as tiles. What
// ends a session is the same as for rows without guards.
#include <jni.h>

#include <algorithm>

#include <com_vorelsoft_images_VorelBitmapFactory.h>
#include "bindings/java/java_bytes.h"
#include "bindings/java/java_output.h"
#include "bindings/java/kept_handle.h"
#include "bindings/java/operations/strip_tiles.h"

namespace vorel {
namespace {

#define VOREL_TILES "DecodeJPEGFromFileIter4LTNToNativeBufferArray"

constexpr int32_t kBitmapGuard = 2;  // rows of a bitmap that are no rows of the strip

bool has_strip_flags(int32_t flags) { return flags == VOREL_ITERATE || flags == (VOREL_ITERATE | VOREL_ITERATE_MAP); }

// Rows of a strip's buffer. Formats with planes have a second guard row on each side.
int32_t buffer_rows(const DecInfo *session, int32_t rows) {
    const ChromaLayout chroma = pixel_layout(session->outColorFormat).chroma;
    const int32_t guard = chroma == ChromaLayout::kNone ? 2 : 4;
    return static_cast<int32_t>(std::min<int64_t>(int64_t{std::max(rows, 0)} + guard, INT32_MAX));
}

bool accepts_flags(int32_t flags, int32_t rows) {
    if (has_strip_flags(flags)) return true;
    VOREL_ERROR(kTagBitmapDecoder, "DecodeJPEGFromFileIter4LTN use FullBuffer is not supported is error #3 : %d %d",
                flags, rows);
    return false;
}

int32_t next_strip(JNIEnv *env, DecInfo *session, jobject bitmap, int32_t width, int32_t height, int32_t flags) {
    const LockedBitmap locked(env, bitmap);
    if (!locked) {
        VOREL_ERROR(kTagBitmapDecoder, "DecodeJPEGFromFile : AndroidBitmap_lockPixels() failed ! error=%d",
                    locked.error());
        return 0;
    }
    const int32_t rows = static_cast<int32_t>(locked.info().height) - kBitmapGuard;
    const BitmapPixels pixels(locked, session->outColorFormat, width, buffer_rows(session, rows));
    if (rows < 1 || !pixels.data()) return 0;
    return VORELBRIM_DecodeJPEGIter4LTN(session, pixels.data(), width, height, static_cast<uint32_t>(flags), rows);
}

bool has_midpoint(const DecInfo *session, int32_t number) {
    // The first number begins at the top of the picture.
    return session->midpointCount > 0 &&
           (number <= 1 || (number <= session->midpointCount && session->midpoints[number - 1]));
}

// The strip's blocks go into the array. What the library's function gave; 0 without memory.
int32_t next_tiles(JNIEnv *env, DecInfo *session, jlongArray array, int32_t width, int32_t height, int32_t flags,
                   const StripTiles &tiles) {
    OsBlock put(os_allocate_array<void *>(static_cast<uint64_t>(tiles.blocks)));
    OsBlock strip(put ? tiles.new_strip() : nullptr);
    if (!strip) return 0;
    const int32_t result = VORELBRIM_DecodeJPEGIter4LTN(session, strip.as<void>(), width, height,
                                                        static_cast<uint32_t>(flags), tiles.rows());
    if (result != kIterMore && result != 1) return result;
    if (!tiles.cut(strip.release(), put.as<void *>())) return 0;
    for (int32_t i = 0; i < tiles.blocks; ++i) write_long(env, array, i, to_handle(put.as<void *>()[i]));
    return result;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

jint Java_com_vorelsoft_images_VorelBitmapFactory_DecodeJPEGFromFileIter4LTN(JNIEnv *env, jclass, jlong handle,
                                                                             jobject bitmap, jint width, jint height,
                                                                             jint flags) {
    DecInfo *session = kept_session(handle, "DecodeJPEGFromFileIter4LTN");
    if (!session || !accepts_flags(flags, height)) return 0;
    return ended(session, next_strip(env, session, bitmap, width, height, flags), flags);
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_DecodeJPEGFromFileIter4LTNToBuffer(JNIEnv *env, jclass, jlong handle,
                                                                                     jobject buffer, jint width,
                                                                                     jint height, jint flags,
                                                                                     jint rows) {
    DecInfo *session = kept_session(handle, "DecodeJPEGFromFileIter4LTNToBuffer");
    if (!session || !accepts_flags(flags, rows)) return 0;
    const int32_t result =
        decode_into_buffer(env, buffer, session->outColorFormat, width, buffer_rows(session, rows), [&](void *pixels) {
            return VORELBRIM_DecodeJPEGIter4LTN(session, pixels, width, height, static_cast<uint32_t>(flags), rows);
        });
    return ended(session, result, flags);
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_DecodeJPEGFromFileIter4LTNToBufferMidpoint(
    JNIEnv *env, jclass, jlong handle, jobject buffer, jint width, jint height, jint flags, jint midpointNumber,
    jint rows) {
    DecInfo *session = kept_session(handle, "DecodeJPEGFromFileIter4LTNToBufferMidpoint");
    if (!session || !accepts_flags(flags, rows)) return 0;
    if (!has_midpoint(session, midpointNumber)) VOREL_ERROR(kTagBitmapDecoder, "4LTN useMIDPoint is null");
    const int32_t result =
        decode_into_buffer(env, buffer, session->outColorFormat, width, buffer_rows(session, rows), [&](void *pixels) {
            return VORELBRIM_DecodeJPEGMidpIter4LTN(session, pixels, width, height, static_cast<uint32_t>(flags),
                                                    midpointNumber, rows);
        });
    return ended(session, result, flags);
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_DecodeJPEGFromFileIter4LTNToNativeBufferArray(
    JNIEnv *env, jclass, jlong handle, jlongArray nativeHandleArray, jint width, jint height, jint flags,
    jint tileWidth, jint tileHeight) {
    DecInfo *session = kept_session(handle, VOREL_TILES);
    if (!session) return 0;
    const StripTiles tiles = {session->outColorFormat, width, tileWidth, tileHeight,
                              array_length(env, nativeHandleArray)};
    if (tiles.blocks < 1) {
        VOREL_ERROR(kTagBitmapDecoder, VOREL_TILES " : nativeHandleArray is wrong !");
        return 0;
    }
    if (!has_strip_flags(flags)) {
        VOREL_ERROR(kTagBitmapDecoder, VOREL_TILES " : FullBuffer is not supported");
        return 0;
    }
    if (session->imageType != VOREL_IMAGE_JPEG) {
        VOREL_ERROR(kTagBitmapDecoder, VOREL_TILES " : is not supported for non-JPEG");
        return 0;
    }
    if (!StripTiles::has_format(session->outColorFormat)) {
        VOREL_ERROR(kTagBitmapDecoder, VOREL_TILES " : is not supported for [%d] color type", session->outColorFormat);
        return 0;
    }
    if (!tiles.valid()) {
        VOREL_ERROR(kTagBitmapDecoder, VOREL_TILES " : nativeHandleArray is wrong !");
        return 0;
    }
    return ended(session, next_tiles(env, session, nativeHandleArray, width, height, flags, tiles), flags);
}

}  // extern "C"
