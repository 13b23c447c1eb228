// The size of a JPEG in memory, without a session (T.81 B.2.2).
#include <vorel/exif.h>

#include <cstring>

#include "core/core.h"
#include "jpeg/jpeg.h"

using namespace vorel;

namespace {

constexpr int32_t kFound = 200, kFailed = 201;
constexpr const char *kName = "BRIMJ_GetJPEGResolution";

bool has_segment(int32_t marker) {
    return marker == kDht || marker == kDqt || marker == kDri || marker == kCom || marker == kDnl || is_app(marker);
}

}  // namespace

extern "C" {

// Required: SOF1 is passed over like data, and a scan without a frame of the other kinds is a picture of 0 x 0.
int32_t BRIMJ_GetJPEGResolution(const uint8_t *buffer, int32_t length, uint32_t *outWidth, uint32_t *outHeight) {
    constexpr int32_t kFrameBytes = 18;  // from the marker on
    *outWidth = *outHeight = 0;
    const auto failed = [](int line) {
        VOREL_LOG(kTagJpeg, "[%s:%d]", kName, line);
        return kFailed;
    };
    for (int64_t at = 2; buffer && at + 1 < length;) {
        const void *found = std::memchr(buffer + at, 0xFF, static_cast<size_t>(length - 1 - at));
        if (!found) break;
        at = static_cast<const uint8_t *>(found) - buffer;
        const int32_t marker = buffer[at + 1];
        if (marker == kSos) return kFound;
        if (marker == kSof0 || marker == kSof2) {
            if (length - at < kFrameBytes) return failed(__LINE__);
            if (buffer[at + 4] != 8) {
                VOREL_LOG(kTagJpeg, "[%s:%d, %d]", kName, __LINE__, buffer[at + 4]);
                return kFailed;
            }
            *outHeight = static_cast<uint32_t>(big_endian_16(buffer + at + 5));
            *outWidth = static_cast<uint32_t>(big_endian_16(buffer + at + 7));
            at += 2 + 7;
        } else if (has_segment(marker)) {
            const int32_t size = at + 4 <= length ? big_endian_16(buffer + at + 2) : 0;
            if (size < 2) return failed(__LINE__);
            at += 2 + size;
        } else {
            at += marker == 0xFF ? 1 : 2;
        }
    }
    return failed(__LINE__);
}

}  // extern "C"
