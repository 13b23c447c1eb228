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

// Wide enough for whole MCUs.
bool allocate_sample_rows(JpegInfo *info) {
    const FrameLayout &frame = *info->frame;
    for (int i = 0; i < frame.numComponents; ++i) {
        const JpegComponent &component = frame.components[i];
        const ComponentPlan &plan = info->plan.components[i];
        ComponentRows *at = &info->pump.components[i];
        int64_t width = ceil_div(frame.imageWidth, frame.mcuWidth) * component.hSampling * plan.block_width;
        at->row_count = static_cast<int32_t>(component.vSampling) * plan.block_height;
        if (info->plan.scaleIndex > 3) {
            width = info->plan.scaledWidth;
            at->row_count = (frame.mcuHeight >> info->plan.scaleIndex) + 1;
        }
        if (width > INT32_MAX) return false;
        BRIM_FakeFree(at->rows);
        at->rows = BRIMJ_AllocSampleArry(info, static_cast<int32_t>(width), at->row_count, nullptr);
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
