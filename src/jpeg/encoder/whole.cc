// Whole pictures and strips in one session: to memory, to a file, through a callback.
#include <vorel/jpeg_encoder_input.h>
#include <vorel/jpeg_encoder_progressive.h>

#include "jpeg/encoder/headers/markers.h"
#include "jpeg/encoder/progressive/progressive.h"
#include "jpeg/encoder/quantisation.h"
#include "jpeg/encoder/sink.h"

namespace vorel {
namespace {

constexpr int32_t kLeastBuffer = 2048;

HuffmanSpec spec_of(int32_t quality) {
    HuffmanSpec spec = {};
    spec.quality = static_cast<uint32_t>(clamp_quality(quality));
    return spec;
}

// Codes that only the callers of ..._ex to memory and to a file ask for.
RawInfo plain(const RawInfo &raw) {
    RawInfo copy = raw;
    copy.stripMode = copy.progressive = copy.optimizeHuffman = 0;
    return copy;
}

// A later strip begins with the restart marker that stands there in the whole stream. Its first MCU is a multiple of
// the interval: that is a whole row, or 4 where 4 divides the row.
void begin_later_strip(JEInfo *session, const RawInfo *raw) {
    if (!session->restartInterval) return;
    const uint64_t mcus = uint64_t{raw->stripStartRow} / (8u * session->maxVSamp) * session->mcusPerRow;
    session->restartCounter = 0;
    session->restartNumber = static_cast<uint32_t>((static_cast<int64_t>(mcus / session->restartInterval) - 1) % 8);
}

void write_header(JEInfo *session, const RawInfo *raw) {
    const int32_t rows = session->height;
    session->exif = raw->exif;
    if (raw->stripMode) session->height = static_cast<int32_t>(raw->fullHeight);
    __rim_jpeg_enc_make_header(session);
    session->height = rows;
}

bool run_rows(JEInfo *session) {
    // nextRow counts modulo 65536, which no height reaches.
    while (session->nextRow < session->height && !session->work->failed) __rim_jpeg_enc_process_image_data(session);
    return !session->work->failed;
}

// Header, rows and end. False, with a line that speaks of the entry, where anything failed.
bool run_session(JEInfo *session, const RawInfo *raw, const char *entry) {
    bool good;
    if (session->progressiveMode) {
        write_marker(session, kSoi);
        __rim_jpeg_enc_write_app0_marker(session);
        good = encode_progressive(session);
    } else {
        if (raw->stripMode && raw->notFirstStrip) {
            begin_later_strip(session, raw);
        } else {
            write_header(session, raw);
        }
        good = run_rows(session);
    }
    if (!good) {
        VOREL_LOG(kTagJpegStat, "[%s : __rim_jpeg_enc_process_image_data fail!!(%d)]\n", entry, __LINE__);
        return false;
    }
    if (raw->stripMode && raw->notLastStrip) return __rim_jpeg_enc_make_without_end_mark(session);
    return __rim_jpeg_enc_make_end_mark(session);
}

void measure(RawInfo *raw, HuffmanSpec *spec) {
    // A session takes the word without a sign.
    const int32_t quality = spec->quality > 100 ? 100 : static_cast<int32_t>(spec->quality);
    if (raw->optimizeHuffman && rim_get_scanning_huffman(raw, quality, spec)) spec->valid = 1;
}

// A fresh session to its end. On return output describes what there is: also the memory, which may have been replaced,
// of a session that failed.
bool finish(JEInfo *session, const RawInfo *raw, RimEncSink *output, const char *entry) {
    const bool good = run_session(session, raw, entry);
    output->total = session->sink->total;
    if (output->mode == kSinkMemory) {
        output->buffer = session->sink->buffer;
        output->capacity = session->sink->capacity;
        output->position = session->sink->position;
    }
    destroy_session(session);
    return good;
}

bool encode(RawInfo *raw, RimEncSink *output, HuffmanSpec *spec, const char *entry) {
    JEInfo *session = __rim_jpeg_enc_initiaize(raw, output, spec, nullptr);
    return session && finish(session, raw, output, entry);
}

bool to_open_file(RawInfo *raw, FILE *file, HuffmanSpec *spec, const char *entry) {
    RimEncSink output = {};
    output.mode = kSinkFile;
    output.file = file;
    const bool good = encode(raw, &output, spec, entry);
    std::fclose(file);
    return good;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t rim_enc_jpeg_to_buffer(RawInfo *raw, uint8_t **buffer, int32_t *size, int32_t quality) {
    if (!raw || !buffer || !size || *size < 0) return 0;
    if (*size < kLeastBuffer) {
        void *larger = os_reallocate(*buffer, kLeastBuffer);
        if (!larger) return 0;
        // Some of a header's bytes stay what the memory held.
        const int32_t held = *buffer ? *size : 0;
        *buffer = static_cast<uint8_t *>(larger);
        std::memset(*buffer + held, 0, static_cast<size_t>(kLeastBuffer - held));
        *size = kLeastBuffer;
    }
    HuffmanSpec spec = spec_of(quality);
    uint32_t bytes = static_cast<uint32_t>(*size);
    const int32_t result = rim_enc_jpeg_to_buffer_ex(raw, buffer, &bytes, &spec);
    *size = static_cast<int32_t>(bytes);
    return result;
}

int32_t rim_enc_jpeg_to_buffer_ex(RawInfo *raw, uint8_t **buffer, uint32_t *size, HuffmanSpec *spec) {
    if (!raw || !buffer || !size || !spec) return 0;
    measure(raw, spec);
    RimEncSink output = {};
    output.mode = kSinkMemory;
    output.buffer = *buffer;
    output.capacity = *buffer ? *size : 0;
    JEInfo *session = __rim_jpeg_enc_initiaize(raw, &output, spec, nullptr);
    if (!session) return 0;
    const bool good = finish(session, raw, &output, __func__);
    *buffer = output.buffer;
    *size = output.total;
    if (good) return 1;
    os_release(*buffer);
    *buffer = nullptr;
    *size = 0;
    return 0;
}

int32_t rim_enc_jpeg_to_file(RawInfo *raw, const char *path, int32_t quality) {
    HuffmanSpec spec = spec_of(quality);
    return rim_enc_jpeg_to_file_ex(raw, path, &spec);
}

int32_t rim_enc_jpeg_to_file_ex(RawInfo *raw, const char *path, HuffmanSpec *spec) {
    if (!raw || !path || !spec) return 0;
    RawInfo whole = *raw;
    whole.stripMode = 0;
    measure(&whole, spec);
    FILE *file = std::fopen(path, "wb");
    return file && to_open_file(&whole, file, spec, __func__);
}

int32_t rim_enc_jpeg_to_stream(RawInfo *raw, RimEncCallback callback, int32_t quality, void *callbackArg) {
    HuffmanSpec spec = spec_of(quality);
    return rim_enc_jpeg_to_stream_ex(raw, callback, &spec, callbackArg);
}

int32_t rim_enc_jpeg_to_stream_ex(RawInfo *raw, RimEncCallback callback, HuffmanSpec *spec, void *callbackArg) {
    if (!raw || !callback || !callbackArg || !spec) return 0;
    RawInfo whole = plain(*raw);
    RimEncSink output = {};
    output.mode = kSinkCallback;
    output.callback = callback;
    output.callbackArg = callbackArg;
    return encode(&whole, &output, spec, __func__);
}

int32_t rim_enc_jpeg_to_buffer_full_buffer(RawInfo *raw, RimEncSink *record, int32_t quality) {
    HuffmanSpec spec = spec_of(quality);
    return rim_enc_jpeg_to_buffer_ex_full_buffer(raw, record, &spec);
}

int32_t rim_enc_jpeg_to_buffer_ex_full_buffer(RawInfo *raw, RimEncSink *record, HuffmanSpec *spec) {
    if (!raw || !record || !record->buffer || !spec) return 0;
    RawInfo whole = plain(*raw);
    record->mode = kSinkMemory;
    JEInfo *session = __rim_jpeg_enc_initiaize(&whole, record, spec, nullptr);
    if (!session) return 0;
    session->work->fixed = true;
    return finish(session, &whole, record, __func__);
}

int32_t rim_enc_jpeg_to_file_full_buffer(RawInfo *raw, RimEncSink *record, int32_t quality) {
    HuffmanSpec spec = spec_of(quality);
    return rim_enc_jpeg_to_file_ex_full_buffer(raw, record, &spec);
}

int32_t rim_enc_jpeg_to_file_ex_full_buffer(RawInfo *raw, RimEncSink *record, HuffmanSpec *spec) {
    if (!record || !record->file) return 0;
    if (!raw || !spec) {
        std::fclose(record->file);
        record->file = nullptr;
        return 0;
    }
    RawInfo whole = plain(*raw);
    FILE *file = record->file;
    record->file = nullptr;
    return to_open_file(&whole, file, spec, __func__);
}

}  // extern "C"
