// Baseline frames whose components come in several scans: each further scan gets a record of its own, positioned behind
// its SOS, and all of them are pumped side by side, one iMCU row at a time.
#include <cstring>

#include "jpeg/decoder/entropy/entropy.h"
#include "jpeg/decoder/setup.h"

namespace vorel {
namespace {

// The caller's FILE serves several readers: each read puts the position back where the others left it.
struct SharedFile {
    IoInfo *base;
    int32_t position;
};

int32_t read_shared(void *context, void *destination, int32_t count) {
    SharedFile *file = static_cast<SharedFile *>(context);
    const int32_t kept = VORELBRIM_OsFtell(file->base->file);
    if (kept < 0 || VORELBRIM_SeekFile(file->base->file, file->position, SEEK_SET) != file->position) return 0;
    const int32_t delivered = VORELBRIM_ReadFile(file->base->file, destination, count);
    file->position += delivered;
    VORELBRIM_SeekFile(file->base->file, kept, SEEK_SET);
    return delivered;
}

int32_t skip_shared(void *context, int32_t, int32_t count) {
    SharedFile *file = static_cast<SharedFile *>(context);
    file->position += count;
    return file->position;
}

int32_t rewind_shared(void *context, int32_t, int32_t) {
    static_cast<SharedFile *>(context)->position = 0;
    return 0;
}

// A second reader of the same input; null where the input can be read only once.
IoInfo *reopen(const IoInfo *io) {
    switch (io->kind) {
        case kIoFile:
            return VORELBRIM_Open_IO(kIoFile, io->path, io->size);
        case kIoMemory:
        case kIoOwnedMemory:
            return VORELBRIM_Open_IO(kIoMemory, io->source, io->size);
        case kIoStdio: {
            SharedFile *file = os_allocate_array<SharedFile>(1);
            if (!file) return nullptr;
            file->base = const_cast<IoInfo *>(io);
            IoInfo *shared = VORELBRIM_Open_Stream(file, read_shared, skip_shared, rewind_shared, io->size);
            if (!shared) os_release(file);
            return shared;
        }
        default:
            return nullptr;
    }
}

void close_reopened(IoInfo *io) {
    if (!io) return;
    if (io->kind == kIoStream) os_release(io->source);
    VORELBRIM_Close_IO(io);
}

void close_stream(StreamBuffer *stream, uint8_t *block) {
    if (!stream) return;
    BRIMJ_ReleaseStreamBuffer(stream->io, block);
    close_reopened(stream->io);
    os_release(stream);
}

StreamBuffer *open_stream(const JpegInfo *info, uint8_t **block) {
    IoInfo *io = reopen(info->io);
    StreamBuffer *stream = io ? os_allocate_array<StreamBuffer>(1) : nullptr;
    if (!stream) {
        close_reopened(io);
        return nullptr;
    }
    *block = BRIMJ_AllocateStreamBuffer(io);
    *stream = {io, 0, io->size, 0, 0, *block};
    const int32_t start = static_cast<int32_t>(info->decInfo->streamOffset);
    if (*block && VORELBRIM_Seek_IO(io, start, SEEK_SET) == start) {
        stream->totalRead = start;
        return stream;
    }
    close_stream(stream, *block);
    return nullptr;
}

uint32_t scan_mask(const JpegInfo *info) {
    uint32_t mask = 0;
    for (int i = 0; i < info->compsInScan; ++i) mask |= 1u << info->curComponents[i]->index;
    return mask;
}

// The input is read once more, and may have changed since: the samples of a frame of another shape would not fit into
// the first one's rows.
bool is_same_frame(const JpegInfo *info, const JpegInfo *frame) {
    if (!is_baseline(info) || info->numComponents != frame->numComponents || info->imageWidth != frame->imageWidth ||
        info->imageHeight != frame->imageHeight)
        return false;
    for (int c = 0; c < info->numComponents; ++c) {
        const JpegComponent &ours = info->components[c], &first = frame->components[c];
        if (ours.id != first.id || ours.hSampling != first.hSampling || ours.vSampling != first.vSampling) return false;
    }
    return true;
}

// The record of scan number `scans_before` (0 is the first), with the frame's geometry.
JpegInfo *open_scan(JpegInfo *frame, uint32_t scans_before) {
    uint8_t *block;
    StreamBuffer *stream = open_stream(frame, &block);
    if (!stream) return nullptr;
    JpegInfo *info = open_record(frame->decInfo, stream, block, scans_before);
    if (!info) {
        close_stream(stream, block);
        return nullptr;
    }
    info->scaleIndex = frame->scaleIndex;
    info->scaleMultiplier = frame->scaleMultiplier;
    info->highQualityClamp = frame->highQualityClamp;
    info->scaledWidth = frame->scaledWidth;
    info->scaledHeight = frame->scaledHeight;
    info->sampleRangeLimit = frame->sampleRangeLimit;
    info->sampleRangeLimit2 = frame->sampleRangeLimit2;
    if (is_same_frame(info, frame)) {
        plan_components(info);
        if (BRIMJ_SetupScan(info) == kStepOk) return info;
    }
    delete_record(info);
    close_stream(stream, block);
    return nullptr;
}

}  // namespace

int32_t open_further_scans(JpegInfo *info) {
    const uint32_t all = (1u << info->numComponents) - 1;
    uint32_t covered = scan_mask(info);
    for (uint32_t scan = 1; covered != all; ++scan) {
        if (scan >= kMaxComponents) {
            VOREL_TRACE_AS(kTagJpeg, "BRIMJ_DecodeImage");
            return kStepFailed;
        }
        JpegInfo *further = open_scan(info, scan);
        if (!further) {
            VOREL_TRACE_AS(kTagJpeg, "BRIMJ_DecodeImage");
            return kStepFailed;
        }
        info->further_scans[info->further_scan_count++] = further;
        covered |= scan_mask(further);
        // The samples of all scans go to the frame's rows, through the frame's batch.
        for (int c = 0; c < info->numComponents; ++c) {
            further->sample_rows[c] = info->sample_rows[c];
            further->components[c].row_stride = info->components[c].row_stride;
        }
        further->batch = info->batch;
    }
    return kStepOk;
}

void close_further_scans(JpegInfo *info) {
    for (int32_t i = 0; i < info->further_scan_count; ++i) {
        JpegInfo *further = info->further_scans[i];
        StreamBuffer *stream = further->streamBuffer;
        uint8_t *block = further->readBuffer;
        delete_record(further);
        close_stream(stream, block);
    }
    info->further_scan_count = 0;
}

}  // namespace vorel
