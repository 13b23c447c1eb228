// The step of a session's row loop: an MCU row of the caller's pixels to samples, and those to the coder.
#include <vorel/jpeg_encoder_input.h>

#include <cstring>

#include "jpeg/encoder/session.h"

using namespace vorel;

namespace {

using Reader = int32_t (*)(JEInfo *session);

Reader reader_of(const JEInfo *session) {
    switch (session->inputFormat) {
        case COLOR_YUV420:
        case COLOR_YUV422:
        case COLOR_GRAY:
        case COLOR_YUV440:
        case COLOR_YUV444:
            return __rim_jpeg_enc_get_raw_data;
        case COLOR_YUYV:
            return __rim_jpeg_enc_get_raw_yuyv_data;
        case COLOR_NV21:
        case COLOR_NV12:
            return __rim_jpeg_enc_get_raw_yuv420_nv21_data;
        case COLOR_RGB565:
            return __rim_jpeg_enc_get_raw_rgb565_data;
        case COLOR_RGB888:
            return __rim_jpeg_enc_get_raw_rgb888_data;
        case COLOR_RGBA8888:
            return __rim_jpeg_enc_get_raw_rgba8888_data;
        case COLOR_BGRA8888:
            return __rim_jpeg_enc_get_raw_bgra8888_data;
        default:
            return nullptr;  // the samples stay as they are
    }
}

}  // namespace

extern "C" int32_t __rim_jpeg_enc_process_image_data(JEInfo *session) {
    JESampling *sampling = session->sampling;
    if (sampling->rowCounter >= session->mcuRowTotal) return 1;  // nothing is left to read
    session->nextRow = static_cast<uint16_t>(session->nextRow + kBlockSide * session->maxVSamp);
    // The rows of a coder that has stopped are not read: it does not say any more which of them is the last.
    if (!session->work->failed) {
        uint8_t ***rows = session->work->rows;
        std::memcpy(rows, sampling->rows, sizeof session->work->rows);
        session->work->mayPoint = true;
        if (const Reader read = reader_of(session)) read(session);
        session->work->mayPoint = false;
        session->compressRow(session, rows);
    }
    ++sampling->rowCounter;
    sampling->rowFill = 0;
    return 1;
}
