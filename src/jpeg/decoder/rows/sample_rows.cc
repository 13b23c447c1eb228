// Memory of the row pump: sample rows, and the batch of coefficients.
#include <cstring>

#include "jpeg/decoder/setup.h"

namespace vorel {
namespace {

bool allocate_batch(RowPump *pump) {
    if (pump->batch) return true;
    pump->batch_memory = BRIM_FakeMalloc(nullptr, sizeof(McuBatch) + alignof(McuBatch));
    if (!pump->batch_memory) return false;
    const uintptr_t address = reinterpret_cast<uintptr_t>(pump->batch_memory) + alignof(McuBatch) - 1;
    pump->batch = reinterpret_cast<McuBatch *>(address & ~(alignof(McuBatch) - 1));
    for (int b = 0; b < kBatchBlocks; ++b) pump->batch->blocks[b] = pump->batch->coefficients[b];
    return true;
}

}  // namespace

namespace {

// Of an iMCU row: wide enough for whole MCUs.
struct RowsNeeded {
    int64_t bytes;
    int32_t count;
};
RowsNeeded rows_needed(const JpegInfo *info, int component) {
    const FrameLayout &frame = *info->frame;
    const ComponentPlan &plan = info->plan.components[component];
    const JpegComponent &sampling = frame.components[component];
    if (info->plan.scaleIndex > 3) return {info->plan.scaledWidth, (frame.mcuHeight >> info->plan.scaleIndex) + 1};
    return {ceil_div(frame.imageWidth, frame.mcuWidth) * sampling.hSampling * plan.block_width,
            static_cast<int32_t>(sampling.vSampling) * plan.block_height};
}

}  // namespace

bool allocate_sample_rows(JpegInfo *info) {
    for (int i = 0; i < info->frame->numComponents; ++i) {
        ComponentRows *at = &info->pump.components[i];
        const RowsNeeded needed = rows_needed(info, i);
        if (needed.bytes > INT32_MAX) return false;
        at->row_count = needed.count;
        BRIM_FakeFree(at->rows);
        at->rows = BRIMJ_AllocSampleArry(info, static_cast<int32_t>(needed.bytes), at->row_count, nullptr);
        if (!at->rows) return false;
    }
    return allocate_batch(&info->pump);
}

void release_sample_rows(JpegInfo *info) {
    for (ComponentRows &at : info->pump.components) {
        BRIM_FakeFree(at.rows);
        BRIM_FakeFree(at.expanded);
        at.rows = at.expanded = nullptr;
    }
    BRIM_FakeFree(info->pump.batch_memory);
    info->pump.batch = nullptr;
    info->pump.batch_memory = nullptr;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t vorel_jpeg_rows(JpegInfo *info, VorelJpegRows *out) {
    if (!info || !out) return 0;
    *out = {};
    out->components = info->frame->numComponents;
    out->mcusPerRow = info->scan.mcusPerRow;
    out->mcuRows = info->scan.mcuRows;
    out->blocksInMcu = info->scan.blocksInMcu;
    out->scaledWidth = info->plan.scaledWidth;
    out->scaledHeight = info->plan.scaledHeight;
    out->outputRows = static_cast<uint32_t>(info->plan.window.y + info->plan.window.height);
    for (int i = 0; i < out->components; ++i) {
        const RowsNeeded needed = rows_needed(info, i);
        out->component[i] = const_cast<JpegComponent *>(&info->frame->components[i]);
        out->rows[i] = info->pump.components[i].rows;
        out->rowCount[i] = needed.count;
        out->rowBytes[i] = static_cast<int32_t>(needed.bytes);
    }
    return 1;
}

// One block of memory: the row pointers, then the rows, which are round_up_pow2(rowBytes, 32) bytes apart. Freed with
// BRIM_FakeFree.
uint8_t **BRIMJ_AllocSampleArry(void *owner, int32_t rowBytes, int32_t rows, int32_t *outOffset) {
    if (rowBytes < 0 || rowBytes > INT32_MAX - 31 || rows < 0) return nullptr;
    const size_t stride = static_cast<size_t>(round_up_pow2(rowBytes, 32));
    const uint64_t pointers = (static_cast<uint64_t>(rows) * sizeof(uint8_t *) + 63) & ~uint64_t{63};
    size_t samples;
    if (!checked_product(stride, static_cast<uint64_t>(rows), &samples) || pointers > INT32_MAX - 64 ||
        samples > INT32_MAX - pointers - 64) {
        return nullptr;
    }
    void *memory = BRIM_FakeMalloc(owner, static_cast<int32_t>(pointers + samples));
    if (!memory) return nullptr;
    uint8_t **out = static_cast<uint8_t **>(memory);
    uint8_t *first = static_cast<uint8_t *>(memory) + pointers;
    std::memset(first, 128, samples);
    for (int32_t i = 0; i < rows; ++i) out[i] = first + static_cast<size_t>(i) * stride;
    // The memory is aligned to 16 bytes already.
    if (outOffset) *outOffset = 0;
    return out;
}

}  // extern "C"
