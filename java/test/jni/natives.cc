// What the tests on the virtual machine need of the library beside its natives: its log lines, pictures to decode, and
// the pixels that the C entries give for the same request.
#include <vorel/bindings.h>
#include <vorel/bindings_java.h>

#include <malloc.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <string>

#include "bindings/pictures.h"
#include "dng/support/dng_builder.h"
#include "png/images.h"
#include "support/layouts.h"
#include "support/samples.h"
#include "vorel_test_Library.h"

using namespace vorel::test;

namespace {

std::mutex g_mutex;
std::string g_lines;

int capture(int priority, const char *tag, const char *format, ...) {
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    const std::lock_guard<std::mutex> lock(g_mutex);
    g_lines += std::to_string(priority) + "|" + tag + "|" + text;
    if (g_lines.back() != '\n') g_lines += '\n';
    return length;
}

jbyteArray array_of(JNIEnv *env, const void *bytes, size_t size) {
    if (!bytes) return nullptr;
    const jbyteArray array = env->NewByteArray(static_cast<jsize>(size));
    env->SetByteArrayRegion(array, 0, static_cast<jsize>(size), static_cast<const jbyte *>(bytes));
    return array;
}

// UTF-8; JNI's own is another one beyond U+FFFF.
std::string text_of(JNIEnv *env, jstring text) {
    std::u16string units(static_cast<size_t>(env->GetStringLength(text)), u' ');
    env->GetStringRegion(text, 0, env->GetStringLength(text), reinterpret_cast<jchar *>(units.data()));
    return std::filesystem::path(units).string();
}

// A mosaic of 12 bits in a file with tags of every kind.
Bytes raw_file(int width, int height, bool cropped) {
    DngBuilder builder = dng_whole_file();
    // Text as files have it: beyond U+FFFF, and no UTF-8 at all.
    add_tags(builder.tags, {dng_text(315, "K\xC3\xB6ln \xF0\x9F\x96\xBC \xFF")});
    if (width == 0) return builder.build();
    DngImage &mosaic = builder.subs[0];
    mosaic = dng_mosaic(static_cast<uint32_t>(width), static_cast<uint32_t>(height), 12);
    if (cropped) add_tags(mosaic.tags, {dng_longs(50719, {32, 16}), dng_longs(50720, {160, 120})});
    for (int i = 0; i < width * height; ++i) {
        mosaic.samples.push_back(static_cast<uint32_t>(i * 37 % 3001 + i / width * 2));
    }
    return builder.build();
}

Bytes picture_of(const std::string &type, int width, int height) {
    if (type == "RGBA") return picture_rgba(width, height);
    if (type == "JPEG") return jpeg_of(width, height);
    if (type == "PNG") return make_png({width, height, 6, 8});
    if (type == "GIF") return gif_still();
    if (type == "BMP") {
        // 24 bits a pixel, rows of whole words.
        const Bytes header = bmp_header(40, static_cast<uint32_t>(width), static_cast<uint32_t>(height));
        const size_t row_bytes = static_cast<size_t>(width * 3 + 3) / 4 * 4;
        return cat({header, {1, 0, 24, 0}, Bytes(24, 0), noise(row_bytes * static_cast<size_t>(height), 5)});
    }
    return raw_file(width, height, type == "cropped DNG");
}

}  // namespace

extern "C" {

JNIEXPORT void JNICALL Java_vorel_test_Library_captureLog(JNIEnv *, jclass) { vorel_set_log_print(capture); }

JNIEXPORT jbyteArray JNICALL Java_vorel_test_Library_takeLines(JNIEnv *env, jclass) {
    std::string lines;
    {
        const std::lock_guard<std::mutex> lock(g_mutex);
        lines.swap(g_lines);
    }
    return array_of(env, lines.data(), lines.size());
}

// Of the library that is loaded first, where that counts.
__attribute__((weak)) int vorel_test_count_allocations(void);
__attribute__((weak)) long long vorel_test_live_bytes(void);

JNIEXPORT jlong JNICALL Java_vorel_test_Library_liveBytes(JNIEnv *, jclass) {
    malloc_trim(0);
    return vorel_test_live_bytes && vorel_test_count_allocations() ? vorel_test_live_bytes() : -1;
}

JNIEXPORT jbyteArray JNICALL Java_vorel_test_Library_picture(JNIEnv *env, jclass, jstring type, jint width,
                                                             jint height) {
    const Bytes bytes = picture_of(text_of(env, type), width, height);
    return array_of(env, bytes.data(), bytes.size());
}

JNIEXPORT jbyteArray JNICALL Java_vorel_test_Library_decodeFile(JNIEnv *env, jclass, jstring path, jint sample) {
    const std::string name = text_of(env, path);
    VrOptions options = {};
    options.colorFormat = COLOR_RGBA8888;
    options.sampleSize = sample;
    void *pixels = decodeFile(name.c_str(), &options);
    const Size size = rounded(options.width, options.height, sample);
    const jbyteArray array = array_of(env, pixels, 4 * area(size.width, size.height));
    std::free(pixels);
    return array;
}

JNIEXPORT jbyteArray JNICALL Java_vorel_test_Library_frameDecodeFile(JNIEnv *env, jclass, jstring path, jint sample) {
    const std::string name = text_of(env, path);
    int32_t width = 0, height = 0;
    if (VorelGetImageInfoFromFile(name.c_str(), 0, 0, &width, &height) == 0) return nullptr;
    const Size size = rounded(width, height, sample);
    Bytes pixels(4 * area(size.width, size.height));
    if (!VorelDecodeFile(name.c_str(), pixels.data(), 0, COLOR_RGBA8888, sample)) return nullptr;
    return array_of(env, pixels.data(), pixels.size());
}

JNIEXPORT jbyteArray JNICALL Java_vorel_test_Library_decodeRegion(JNIEnv *env, jclass, jstring path, jint left,
                                                                  jint top, jint right, jint bottom, jint sample) {
    const std::string name = text_of(env, path);
    VrOptions options = {};
    RegionHandle *handle = newInstanceFile(name.c_str(), &options);
    if (!handle) return nullptr;
    options.sampleSize = sample;
    void *pixels = decodeRegion(handle, left, right, top, bottom, &options);
    const jbyteArray array = array_of(env, pixels, 4 * area((right - left) / sample, (bottom - top) / sample));
    std::free(pixels);
    recycle(handle);
    return array;
}

JNIEXPORT jbyteArray JNICALL Java_vorel_test_Library_memoryAt(JNIEnv *env, jclass, jlong address, jint size) {
    return array_of(env, reinterpret_cast<const void *>(static_cast<uintptr_t>(address)), static_cast<size_t>(size));
}

}  // extern "C"
