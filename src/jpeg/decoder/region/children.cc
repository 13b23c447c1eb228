// Child sessions: each decodes a part of its base session's picture over an input of its own.
#include <vorel/jpeg_region.h>

#include "core/core.h"
#include "core/session.h"
#include "jpeg/decoder/decoder.h"
#include "jpeg/decoder/region/children.h"
#include "jpeg/decoder/setup.h"
#include "jpeg/decoder/statistics/statistics.h"

namespace vorel {
namespace {

// The base's input a second time. The callbacks of a stream serve one reader at a time; a FILE has no second one.
IoInfo *open_for_child(const IoInfo *io) {
    if (io->kind == kIoStream) return VORELBRIM_Open_Stream(io->source, io->readFn, io->skipFn, io->rewindFn, io->size);
    return open_again(io);
}

void copy_settings(const DecInfo *base, DecInfo *child) {
    child->outColorFormat = base->outColorFormat;
    child->decOption = base->decOption;
    child->imageWidth = base->imageWidth;
    child->imageHeight = base->imageHeight;
    child->outWidth = base->outWidth;
    child->outHeight = base->outHeight;
    child->imageType = base->imageType;
    child->streamOffset = base->streamOffset;
    child->jpegProgressive = base->jpegProgressive;
    child->jpegRestartInterval = base->jpegRestartInterval;
    child->jpegMaxV = base->jpegMaxV;
    child->jpegMaxH = base->jpegMaxH;
    child->jpegComponents = base->jpegComponents;
}

// Takes the input, also when it fails.
DecInfo *make_child(DecInfo *base, IoInfo *io) {
    if (!io) return nullptr;
    DecInfo *child = new_session();
    uint32_t *map = nullptr;
    const bool mapped = base->regionMap && *base->regionMap;
    if (child && mapped) map = os_allocate_array<uint32_t>(1);
    if (!child || (mapped && !map)) {
        set_error(kErrorOutOfMemory);
        VORELBRIM_Close_IO(io);
        VORELBRIM_DestroyDecInfo(child);
        return nullptr;
    }
    child->ioInfo = io;
    copy_settings(base, child);
    if (base->decOption & VOREL_OPTION_REGION) child->retainedJpegInfo = base->retainedJpegInfo;
    if (map) *map = *base->regionMap;
    child->regionMap = map;
    if (!adopt_child(base, child)) {
        // One that has no slot still sees that its base is cancelled.
        child->parent = base;
        child->childIndex = UINT32_MAX;
    }
    if (load_relaxed(&base->abortFlag) == kAbortCancelled) store_relaxed(&child->abortFlag, kAbortCancelled);
    return child;
}

}  // namespace

Rectangle rectangle_of(const DecInfo *session) {
    return {static_cast<int32_t>(session->partialX), static_cast<int32_t>(session->partialY),
            static_cast<int32_t>(session->partialWidth), static_cast<int32_t>(session->partialHeight)};
}

void set_rectangle(DecInfo *session, const Rectangle &to) {
    session->partialX = static_cast<uint32_t>(to.x);
    session->partialY = static_cast<uint32_t>(to.y);
    session->partialWidth = static_cast<uint32_t>(to.width);
    session->partialHeight = static_cast<uint32_t>(to.height);
}

void give_back_map(DecInfo *child) {
    // A child of a base without a map has made one of its own.
    BRIMJ_DestroyJpegInfo(child);
}

int32_t decode_region_as(DecInfo *base, int32_t format, void *output, int32_t width, int32_t height, int32_t x,
                         int32_t y, int32_t part_width, int32_t part_height, int32_t sample) {
    const StepScope scope(JPEG_STAT_REGION);
    DecInfo *child = BRIMJ_CreateTemporaryDecInfo(base, x, y, part_width, part_height, sample);
    if (!child) return 0;
    child->outColorFormat = format;
    const int32_t result = VORELBRIM_DecodeRegionBase(child, output, width, height);
    VORELBRIM_DestroyDecInfo(child);
    return result;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

DecInfo *BRIMJ_CreateTemporaryDecInfo(DecInfo *base, int32_t x, int32_t y, int32_t width, int32_t height,
                                      int32_t sampleSize) {
    if (!base || !base->ioInfo) return nullptr;
    DecInfo *child = make_child(base, open_for_child(base->ioInfo));
    if (!child) return nullptr;
    child->partialDecode = 1;
    set_rectangle(child, {x, y, width, height});
    child->sampleSize = sampleSize;
    return child;
}

DecInfo *BRIMJ_CreateTemporaryDecInfoWithIIO(DecInfo *base, uint32_t sourceKind, void *sourceHandle) {
    if (!base || !base->ioInfo) return nullptr;
    return make_child(base, VORELBRIM_Open_IO(sourceKind, sourceHandle, base->ioInfo->size));
}

DecInfo *VORELBRIM_CreateRegionDecoderInstance(DecInfo *base, int32_t x, int32_t y, int32_t width, int32_t height,
                                               int32_t sampleSize) {
    return BRIMJ_CreateTemporaryDecInfo(base, x, y, width, height, sampleSize);
}

int32_t VORELBRIM_DecodeRegionBase(DecInfo *child, void *output, int32_t width, int32_t height) {
    if (!child || !is_rectangle(rectangle_of(child))) return 0;
    const int32_t result = VORELBRIM_DecodeJPEG(child, output, width, height);
    give_back_map(child);
    return result;
}

int32_t VORELBRIM_DecodeRegion(DecInfo *base, void *output, int32_t width, int32_t height, int32_t x, int32_t y,
                               int32_t partialWidth, int32_t partialHeight, int32_t sampleSize) {
    if (!base) return 0;
    return decode_region_as(base, base->outColorFormat, output, width, height, x, y, partialWidth, partialHeight,
                            sampleSize);
}

}  // extern "C"
