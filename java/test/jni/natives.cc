// What the tests on the virtual machine need of the library beside its natives: its log lines, pictures to decode, and
// the pixels that the C entries give for the same request.
#include <vorel/bindings.h>
#include <vorel/bindings_java.h>
#include <vorel/jpeg_encoder.h>

#include <malloc.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "dng/support/dng_builder.h"
#include "vorel_test_Library.h"

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

std::vector<uint8_t> bytes_of(JNIEnv *env, jbyteArray array) {
    std::vector<uint8_t> bytes(static_cast<size_t>(env->GetArrayLength(array)));
    env->GetByteArrayRegion(array, 0, static_cast<jsize>(bytes.size()), reinterpret_cast<jbyte *>(bytes.data()));
    return bytes;
}

// UTF-8, as Java writes it into an array.
std::string path_of(JNIEnv *env, jbyteArray utf8) {
    const std::vector<uint8_t> bytes = bytes_of(env, utf8);
    return std::string(bytes.begin(), bytes.end());
}

size_t side(int32_t whole, int32_t sample) { return static_cast<size_t>((whole * 2 + sample) / (2 * sample)); }

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

JNIEXPORT jbyteArray JNICALL Java_vorel_test_Library_jpeg(JNIEnv *env, jclass, jbyteArray rgba, jint width,
                                                          jint height) {
    std::vector<uint8_t> pixels = bytes_of(env, rgba);
    int32_t size = 4096;
    auto *out = static_cast<uint8_t *>(std::malloc(static_cast<size_t>(size)));
    const int32_t result = compressToByte(pixels.data(), width, height, COLOR_RGBA8888, &out, &size, 90);
    const jbyteArray array = result == 1 ? array_of(env, out, static_cast<size_t>(size)) : nullptr;
    std::free(out);
    return array;
}

JNIEXPORT jbyteArray JNICALL Java_vorel_test_Library_dng(JNIEnv *env, jclass, jint width, jint height) {
    using namespace vorel::test;
    DngBuilder builder = dng_whole_file();
    const bool cropped = width < 0;
    if (cropped) width = -width;
    // Text as files have it: beyond U+FFFF, and no UTF-8 at all.
    add_tags(builder.tags, {dng_text(315, "K\xC3\xB6ln \xF0\x9F\x96\xBC \xFF")});
    if (width > 0) {
        builder.subs[0] = dng_mosaic(static_cast<uint32_t>(width), static_cast<uint32_t>(height), 12);
        if (cropped) add_tags(builder.subs[0].tags, {dng_longs(50719, {32, 16}), dng_longs(50720, {160, 120})});
        auto &samples = builder.subs[0].samples;
        samples.resize(static_cast<size_t>(width) * static_cast<size_t>(height));
        for (size_t i = 0; i < samples.size(); ++i)
            samples[i] = static_cast<uint32_t>(i * 37 % 3001 + i / static_cast<size_t>(width) * 2);
    }
    const Bytes bytes = builder.build();
    return array_of(env, bytes.data(), bytes.size());
}

JNIEXPORT jbyteArray JNICALL Java_vorel_test_Library_decodeFile(JNIEnv *env, jclass, jbyteArray path, jint sample) {
    const std::string name = path_of(env, path);
    VrOptions options = {};
    options.colorFormat = COLOR_RGBA8888;
    options.sampleSize = sample;
    void *pixels = decodeFile(name.c_str(), &options);
    const jbyteArray array = array_of(env, pixels, 4 * side(options.width, sample) * side(options.height, sample));
    std::free(pixels);
    return array;
}

JNIEXPORT jbyteArray JNICALL Java_vorel_test_Library_frameDecodeFile(JNIEnv *env, jclass, jbyteArray path,
                                                                     jint sample) {
    const std::string name = path_of(env, path);
    int32_t width = 0, height = 0;
    if (VorelGetImageInfoFromFile(name.c_str(), 0, 0, &width, &height) == 0) return nullptr;
    std::vector<uint8_t> pixels(4 * side(width, sample) * side(height, sample));
    if (!VorelDecodeFile(name.c_str(), pixels.data(), 0, COLOR_RGBA8888, sample)) return nullptr;
    return array_of(env, pixels.data(), pixels.size());
}

JNIEXPORT jbyteArray JNICALL Java_vorel_test_Library_decodeRegion(JNIEnv *env, jclass, jbyteArray path, jint left,
                                                                  jint top, jint right, jint bottom, jint sample) {
    const std::string name = path_of(env, path);
    VrOptions options = {};
    RegionHandle *handle = newInstanceFile(name.c_str(), &options);
    if (!handle) return nullptr;
    options.sampleSize = sample;
    void *pixels = decodeRegion(handle, left, right, top, bottom, &options);
    const jbyteArray array =
        array_of(env, pixels, 4 * static_cast<size_t>((right - left) / sample * ((bottom - top) / sample)));
    std::free(pixels);
    recycle(handle);
    return array;
}

JNIEXPORT jbyteArray JNICALL Java_vorel_test_Library_memoryAt(JNIEnv *env, jclass, jlong address, jint size) {
    return array_of(env, reinterpret_cast<const void *>(static_cast<uintptr_t>(address)), static_cast<size_t>(size));
}

}  // extern "C"
