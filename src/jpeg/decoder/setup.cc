// Set-up of a decode: the record, the header, the geometry, the tables of a scan, and taking it all down again.
#include "jpeg/decoder/setup.h"

#include <climits>
#include <cstring>

#include "jpeg/decoder/entropy.h"
#include "jpeg/decoder/markers.h"
#include "jpeg/decoder/output.h"

namespace vorel {
namespace {

// Below this many blocks the look-ups of the fast path cost more than they save.
constexpr uint64_t kFastPathBlocks = 512;

// Decode mode 1 gives up precision that these templates (T.81 annex K.1 at three tenths) do not ask for.
constexpr uint8_t kLumaTemplate[kBlockCoefficients] = {5,  3,  3,  5,  7,  12, 15, 18, 4,  4,  4,  6,  8,  17, 18, 17,
                                                       4,  4,  5,  7,  12, 17, 21, 17, 4,  5,  7,  9,  15, 26, 24, 19,
                                                       5,  7,  11, 17, 20, 33, 31, 23, 7,  11, 17, 19, 24, 31, 34, 28,
                                                       15, 19, 23, 26, 31, 36, 36, 30, 22, 28, 29, 29, 34, 30, 31, 30};
constexpr uint8_t kChromaTemplate[kBlockCoefficients] = {
    5,  5,  7,  14, 30, 30, 30, 30, 5,  6,  8,  20, 30, 30, 30, 30, 7,  8,  17, 30, 30, 30,
    30, 30, 14, 20, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30,
    30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30};
constexpr uint16_t kUnity = 0x2000;  // of a correction factor

bool is_high_quality(const uint16_t *q) {
    for (int k = kBlockCoefficients - 1; k >= 0; --k) {
        if (2 * q[k] < kLumaTemplate[k]) return true;
    }
    return false;
}

void clamp_component(JpegComponent *component) {
    const uint8_t *floor = component->index == 0 ? kLumaTemplate : kChromaTemplate;
    const uint16_t *q = component->quantTable->q;
    uint16_t clamped[kBlockCoefficients];
    clamped[0] = q[0];
    component->correction[0] = kUnity;
    for (int k = kBlockCoefficients - 1; k >= 1; --k) {
        const bool below = q[k] < floor[k];
        clamped[k] = below ? floor[k] : q[k];
        component->correction[k] = below ? static_cast<uint16_t>((q[k] << 13) / floor[k]) : kUnity;
    }
    make_multipliers(component->shape, clamped, component->multipliers);
}

// Multipliers in the form that the component's kernel takes.
void make_component_multipliers(JpegInfo *info, JpegComponent *component) {
    if (info->highQualityClamp) {
        clamp_component(component);
    } else if (info->scaleIndex > 3) {
        make_scaled_multipliers(component->quantTable->q, component->multipliers);
    } else {
        make_multipliers(component->shape, component->quantTable->q, component->multipliers);
    }
}

// The component's quantisation table. Where neither its slot nor slot 0 has one, the first table there is serves.
bool find_quant_table(JpegInfo *info, JpegComponent *component) {
    const uint32_t slot = component->quantTableIndex;
    if (slot > 3) return false;
    if (!info->quantTables[slot]) {
        if (info->quantTables[0]) return false;
        int from = 1;
        while (from < 4 && !info->quantTables[from]) ++from;
        if (from == 4) return false;
        for (int to = from - 1; to >= 0; --to) {
            info->quantTables[to] = os_allocate_array<QuantBlock>(1);
            if (!info->quantTables[to]) {
                set_error(kErrorOutOfMemory);
                return false;
            }
            *info->quantTables[to] = *info->quantTables[from];
        }
    }
    component->quantTable = info->quantTables[slot] ? info->quantTables[slot] : info->quantTables[0];
    return true;
}

// Decode mode 1 holds coefficients to the templates where the first component's table is finer than its own.
void choose_clamp(JpegInfo *info) {
    JpegComponent *first = &info->components[0];
    info->highQualityClamp = info->decMode == 1 && is_baseline(info) && info->scaleIndex == 0 &&
                             find_quant_table(info, first) && is_high_quality(first->quantTable->q);
}

uint32_t remainder_or_whole(uint32_t blocks, uint32_t factor) { return blocks % factor ? blocks % factor : factor; }

void shape_single_component(JpegInfo *info) {
    JpegComponent *component = info->curComponents[0];
    info->mcusPerRow = component->widthInBlocks;
    info->mcuRows = component->heightInBlocks;
    component->mcuWidth = component->mcuHeight = component->mcuBlocks = 1;
    component->mcuSampleWidth = kBlockSide;
    component->lastColWidth = 1;
    component->lastRowHeight = remainder_or_whole(component->heightInBlocks, component->vSampling);
    info->blocksInMcu = 1;
    info->mcuMembership[0] = 0;
}

// False when an MCU would have more blocks than T.81 B.2.3 allows.
bool shape_interleaved(JpegInfo *info) {
    info->mcusPerRow = static_cast<uint32_t>(ceil_div(info->imageWidth, info->mcuWidth));
    info->mcuRows = static_cast<uint32_t>(ceil_div(info->imageHeight, info->mcuHeight));
    info->blocksInMcu = 0;
    for (int i = 0; i < info->compsInScan; ++i) {
        JpegComponent *component = info->curComponents[i];
        component->mcuWidth = component->hSampling;
        component->mcuHeight = component->vSampling;
        component->mcuBlocks = component->mcuWidth * component->mcuHeight;
        component->mcuSampleWidth =
            component->hSampling * (info->jointChroma ? component->dctScaledSize : uint32_t{kBlockSide});
        component->lastColWidth = remainder_or_whole(component->widthInBlocks, component->mcuWidth);
        component->lastRowHeight = remainder_or_whole(component->heightInBlocks, component->mcuHeight);
        if (info->blocksInMcu + component->mcuBlocks > kMaxBlocksInMcu) return false;
        for (uint32_t b = 0; b < component->mcuBlocks; ++b) {
            info->mcuMembership[info->blocksInMcu++] = static_cast<uint32_t>(i);
        }
    }
    return true;
}

bool derive_tables(JpegInfo *info) {
    EntropyDecoder *entropy = info->entropy;
    for (int i = 0; i < info->compsInScan; ++i) {
        const int32_t dc = static_cast<int32_t>(info->curComponents[i]->dcTable);
        const int32_t ac = static_cast<int32_t>(info->curComponents[i]->acTable);
        if (dc > 3 || ac > 3) return false;
        if (!BRIMJ_PrepareDerivedTbl(info, 1, dc, &entropy->dcDerived[dc], entropy)) return false;
        if (!BRIMJ_PrepareDerivedTbl(info, 0, ac, &entropy->acDerived[ac], entropy)) return false;
    }
    for (int b = 0; b < info->blocksInMcu; ++b) {
        const JpegComponent *component = info->curComponents[info->mcuMembership[b]];
        entropy->blockDc[b] = entropy->dcDerived[component->dcTable];
        entropy->blockAc[b] = entropy->acDerived[component->acTable];
        entropy->blockSkip[b] = entropy->acSkip[component->acTable];
        entropy->block_keep[b] = component->keep;
    }
    return true;
}

bool uses_skip_tables(const JpegInfo *info) {
    const DecInfo *session = info->decInfo;
    return info->scaleIndex != 0 || info->isRegion || session->partialDecode ||
           (session->decOption & VOREL_OPTION_SKIP_TABLES);
}

bool allocate_entropy(JpegInfo *info) {
    if (!info->entropy) {
        info->entropy = static_cast<EntropyDecoder *>(BRIM_FakeMalloc(info, sizeof(EntropyDecoder)));
        if (!info->entropy) {
            set_error(kErrorOutOfMemory);
            return false;
        }
        std::memset(info->entropy, 0, sizeof(EntropyDecoder));
    }
    EntropyDecoder *entropy = info->entropy;
    entropy->insufficientData = 0;
    entropy->restartsToGo = 0;
    entropy->bitBuffer = 0;
    entropy->bitCount = 0;
    std::memset(entropy->lastDc, 0, sizeof entropy->lastDc);
    entropy->skip_needed = uses_skip_tables(info);
    return true;
}

// Rows of one iMCU row for every component, wide enough for whole MCUs.
bool allocate_sample_rows(JpegInfo *info) {
    for (int i = 0; i < info->numComponents; ++i) {
        JpegComponent *component = &info->components[i];
        int64_t width = ceil_div(info->imageWidth, info->mcuWidth) * component->hSampling * component->block_width;
        component->row_count = static_cast<int32_t>(component->vSampling) * component->block_height;
        if (info->scaleIndex > 3) {
            width = info->scaledWidth;
            component->row_count = (info->mcuHeight >> info->scaleIndex) + 1;
        }
        if (width > INT32_MAX) return false;
        component->rows = BRIMJ_AllocSampleArry(info, static_cast<int32_t>(width), component->row_count, nullptr);
        if (!component->rows) return false;
        component->row_stride = round_up_pow2(static_cast<int32_t>(width), 32);
        info->sample_rows[i] = component->rows;
    }
    return true;
}

bool allocate_batch(JpegInfo *info) {
    info->batch = static_cast<McuBatch *>(BRIM_FakeMalloc(info, sizeof(McuBatch) + alignof(McuBatch)));
    if (!info->batch) return false;
    info->batch_memory = info->batch;
    const uintptr_t address = reinterpret_cast<uintptr_t>(info->batch) + alignof(McuBatch) - 1;
    info->batch = reinterpret_cast<McuBatch *>(address & ~(alignof(McuBatch) - 1));
    for (int b = 0; b < kBatchBlocks; ++b) info->batch->blocks[b] = info->batch->coefficients[b];
    return true;
}

void release_components(JpegInfo *info) {
    if (!info->components) return;
    for (int i = 0; i < info->numComponents; ++i) {
        BRIM_FakeFree(info->components[i].rows);
        BRIM_FakeFree(info->components[i].expanded);
    }
    os_release(info->components);
    info->components = nullptr;
}

// The sampling of the frame, known once the header is parsed.
void find_sampling(JpegInfo *info) {
    info->maxH = info->maxV = 1;
    for (int i = 0; i < info->numComponents; ++i) {
        const JpegComponent *component = &info->components[i];
        if (component->hSampling > info->maxH) info->maxH = static_cast<uint8_t>(component->hSampling);
        if (component->vSampling > info->maxV) info->maxV = static_cast<uint8_t>(component->vSampling);
    }
    info->mcuWidth = static_cast<uint16_t>(info->maxH * kBlockSide);
    info->mcuHeight = static_cast<uint16_t>(info->maxV * kBlockSide);
    for (int i = 0; i < info->numComponents; ++i) {
        JpegComponent *component = &info->components[i];
        component->widthInBlocks =
            static_cast<uint32_t>(ceil_div(int64_t{info->imageWidth} * component->hSampling, info->mcuWidth));
        component->heightInBlocks =
            static_cast<uint32_t>(ceil_div(int64_t{info->imageHeight} * component->vSampling, info->mcuHeight));
        component->downsampledWidth =
            static_cast<uint32_t>(ceil_div(int64_t{info->imageWidth} * component->hSampling, info->maxH));
        component->downsampledHeight =
            static_cast<uint32_t>(ceil_div(int64_t{info->imageHeight} * component->vSampling, info->maxV));
    }
    info->imcu_rows = static_cast<uint32_t>(ceil_div(info->imageHeight, info->mcuHeight));
}

// Distance in MCU columns between two places of a row that a stored map of the stream holds: restarts fall on them.
int32_t map_interval(const JpegInfo *info) {
    constexpr int32_t kWidest = 16;
    const int32_t restart = static_cast<int32_t>(info->restartInterval);
    if (restart == 0 || info->restartInterval == info->mcusPerRow) return kWidest;
    return restart <= kWidest ? restart : BRIMJ_GetGCD(restart, kWidest);
}

bool all_quant_tables_there(const JpegInfo *info) {
    for (int i = 0; i < info->compsInScan; ++i) {
        if (!info->curComponents[i]->quantTable) return false;
    }
    return true;
}

}  // namespace

JpegInfo *open_record(DecInfo *session, StreamBuffer *stream, uint8_t *block, uint32_t scans_to_pass) {
    JpegInfo *info = os_allocate_array<JpegInfo>(1);
    if (!info) {
        set_error(kErrorOutOfMemory);
        return nullptr;
    }
    info->streamBuffer = stream;
    info->io = stream ? stream->io : session->ioInfo;
    info->readBuffer = block;
    info->decInfo = session;
    info->checkFn = session->checkFn;
    info->outColorFormat = session->outColorFormat;
    info->isRegion = session->decOption & VOREL_OPTION_REGION;
    info->decMode = session->decMode;
    info->kernels = &kernels();
    info->scans_to_pass = scans_to_pass;
    if (BRIMJ_ParseHeader(info, nullptr) != kStepOk) {
        delete_record(info);
        return nullptr;
    }
    find_sampling(info);
    return info;
}

void delete_record(JpegInfo *info) {
    if (!info) return;
    close_further_scans(info);
    release_entropy(info);
    release_output(info);
    release_components(info);
    release_header_tables(info);
    BRIM_FakeFree(info->batch_memory);
    BRIM_FakeFree(info->markerState);
    os_release(info);
}

}  // namespace vorel

using namespace vorel;

extern "C" {

JpegInfo *BRIMJ_PreInitialize(DecInfo *session, StreamBuffer *streamBuffer, FrameRequest *frameRequest) {
    JpegInfo *info = open_record(session, streamBuffer, streamBuffer ? streamBuffer->buffer : nullptr, 0);
    if (!info) return nullptr;
    frameRequest->imageWidth = info->imageWidth;
    frameRequest->imageHeight = info->imageHeight;
    session->imageWidth = info->imageWidth;
    session->imageHeight = info->imageHeight;
    return info;
}

JpegInfo *BRIMJ_PostInitialize(DecInfo *session, StreamBuffer *, FrameRequest *frameRequest, JpegInfo *info) {
    if (!plan_geometry(info, frameRequest)) {
        VOREL_TRACE(kTagJpeg);
        delete_record(info);
        return nullptr;
    }
    place_output(info, frameRequest);
    session->outWidth = static_cast<uint32_t>(info->cropWidth);
    session->outHeight = static_cast<uint32_t>(info->cropHeight);
    if (BRIMJ_StartDecompression(info) != kStepOk || !all_quant_tables_there(info) || !prepare_resampler(info)) {
        VOREL_TRACE(kTagJpeg);
        delete_record(info);
        return nullptr;
    }
    find_source_rows(info, &info->first_source_row, &info->end_source_row);
    return info;
}

JpegInfo *BRIMJ_Initialize(DecInfo *session, StreamBuffer *streamBuffer, FrameRequest *frameRequest) {
    session->outWidth = static_cast<uint32_t>(frameRequest->targetWidth);
    JpegInfo *info = BRIMJ_PreInitialize(session, streamBuffer, frameRequest);
    if (!info) return nullptr;
    return BRIMJ_PostInitialize(session, streamBuffer, frameRequest, info);
}

int32_t BRIMJ_StartDecompression(JpegInfo *info) {
    info->conversion.rowOutput = choose_row_output(info);
    if (!info->conversion.rowOutput) {
        VOREL_TRACE(kTagJpeg);
        return kStepFailed;
    }
    DecInfo *session = info->decInfo;
    if (!session->partialDecode) {
        session->partialWidth = session->outWidth;
        session->partialHeight = session->outHeight;
    }
    if (BRIMJ_InitUpsampler(info) != kStepOk || BRIMJ_InitDecBeforeScan(info) != kStepOk) return kStepFailed;
    if (!prepare_writers(info, info->outWidth > info->scaledWidth ? info->outWidth : info->scaledWidth)) {
        set_error(kErrorOutOfMemory);
        VOREL_TRACE(kTagJpeg);
        return kStepFailed;
    }
    return kStepOk;
}

int32_t BRIMJ_InitDecBeforeScan(JpegInfo *info) {
    info->sampleRangeLimit = kRangeLimit + kRangeCentre;
    const bool compressed = info->decInfo->decOption & VOREL_OPTION_COMPRESS_RANGE;
    info->sampleRangeLimit2 = compressed ? kCompressedRange + kCompressedCentre : info->sampleRangeLimit;
    if (!allocate_sample_rows(info) || !allocate_batch(info)) {
        set_error(kErrorOutOfMemory);
        VOREL_TRACE(kTagJpeg);
        return kStepFailed;
    }
    choose_clamp(info);
    return BRIMJ_SetupScan(info);
}

int32_t BRIMJ_SetupScan(JpegInfo *info) {
    for (int i = 0; i < info->compsInScan; ++i) {
        JpegComponent *component = info->curComponents[i];
        if (!find_quant_table(info, component)) {
            VOREL_TRACE(kTagJpeg);
            return kStepFailed;
        }
        make_component_multipliers(info, component);
    }
    if (info->compsInScan == 1) {
        shape_single_component(info);
    } else if (!shape_interleaved(info)) {
        VOREL_TRACE(kTagJpeg);
        return kStepFailed;
    }
    if (!allocate_entropy(info) || !derive_tables(info)) {
        VOREL_TRACE(kTagJpeg);
        return kStepFailed;
    }
    info->entropy->restartsToGo = info->restartInterval;
    const uint64_t blocks = uint64_t{info->mcusPerRow} * info->mcuRows * info->blocksInMcu;
    const bool fast = is_baseline(info) && blocks >= kFastPathBlocks && fast_path_allowed();
    if (fast && !prepare_fast_tables(info)) {
        VOREL_TRACE(kTagJpeg);
        return kStepFailed;
    }
    info->mcus_done = 0;
    info->map_interval = map_interval(info);
    info->imcu_row = 0;
    BRIMJ_SetupiMcu(info);
    return kStepOk;
}

void BRIMJ_SetupiMcu(JpegInfo *info) {
    info->mcu_rows_in_imcu = 1;
    if (info->compsInScan > 1) return;
    const JpegComponent *component = info->curComponents[0];
    const bool last = info->imcu_row + 1 >= info->imcu_rows;
    info->mcu_rows_in_imcu = static_cast<int32_t>(last ? component->lastRowHeight : component->vSampling);
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

void BRIMJ_DeleteDecoderInfo(JpegInfo *info) { delete_record(info); }

int32_t BRIMJ_DestroyJpegInfo(DecInfo *session) {
    if (!session) return 0;
    delete_record(session->retainedJpegInfo);
    session->retainedJpegInfo = nullptr;
    return 1;
}

}  // extern "C"
