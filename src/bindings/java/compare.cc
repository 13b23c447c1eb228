// A native for conformance work: how far two bitmaps are from one another, as a line in a file of results.
#include <jni.h>

#include <algorithm>

#include <com_vorelsoft_images_VorelBitmapFactory.h>
#include "bindings/c/binding_log.h"
#include "bindings/java/android_bitmap.h"
#include "bindings/java/operations/comparison.h"

using namespace vorel;

namespace {

constexpr const char *kResults = "/sdcard/testresult/ConformanceTestResult.txt";

// Over what both have.
double psnr_of(const LockedBitmap &first, const LockedBitmap &second) {
    return psnr_of_rows(first.pixels(), first.info().stride, second.pixels(), second.info().stride,
                        std::min(first.row_bytes(), second.row_bytes()),
                        std::min(first.info().height, second.info().height));
}

}  // namespace

extern "C" jdouble Java_com_vorelsoft_images_VorelBitmapFactory_CompareJPEG(JNIEnv *env, jclass, jobject first,
                                                                            jobject second, jlong firstTimeMs,
                                                                            jlong secondTimeMs, jint quality,
                                                                            jlong originSize, jlong encodedSize,
                                                                            jint encode) {
    const LockedBitmap one(env, first), other(env, second);
    if (!one || !other) {
        VOREL_ERROR(kTagBitmapDecoder, "AndroidBitmap_lockPixels() failed ! error=%d",
                    one ? other.error() : one.error());
        return 0;
    }
    const double psnr = psnr_of(one, other);
    append_comparison(kResults, {static_cast<long>(firstTimeMs), static_cast<long>(secondTimeMs), quality,
                                 static_cast<long>(originSize), static_cast<long>(encodedSize), encode != 0, psnr});
    return psnr;
}
