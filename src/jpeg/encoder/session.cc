// A session from the caller's record: its components, tables, sample rows and where its stream goes.
#include "jpeg/encoder/session.h"

#include <vorel/jpeg_encoder_progressive.h>

#include <cstring>

#include "jpeg/encoder/entropy/block_coder.h"
#include "jpeg/encoder/memory.h"
#include "jpeg/encoder/parallel/columns.h"
#include "jpeg/encoder/progressive/progressive.h"
#include "jpeg/encoder/rows.h"
#include "jpeg/encoder/sink.h"

namespace vorel {
namespace {

constexpr uint32_t kSampleRows = 16;  // the most that an MCU row has
constexpr uint8_t kMiddle = 128;

bool is_yuv_or_gray(uint32_t format) {
    switch (format) {
        case COLOR_YUV420:
        case COLOR_YUV422:
        case COLOR_GRAY:
        case COLOR_YUV440:
        case COLOR_YUV444:
        case COLOR_YUYV:
        case COLOR_NV21:
        case COLOR_NV12:
            return true;
        default:
            return false;
    }
}

void choose_sampling(JEInfo *session) {
    uint8_t h = 2, v = 2;
    switch (session->colourMode) {
        case COLOR_YUV422:
        case COLOR_YUYV:
            v = 1;
            break;
        case COLOR_YUV440:
            h = 1;
            break;
        case COLOR_YUV444:
            h = v = 1;
            break;
        default:
            break;
    }
    const uint8_t factors[6] = {h, v, 1, 1, 1, 1};
    std::memcpy(session->defaultSampling, factors, sizeof factors);
}

// 1 for a caller's header that the library can follow.
bool is_sound(const PresetHeader &preset) {
    if (preset.componentCount < 1 || preset.componentCount > 3 || preset.quantTableCount > 4) return false;
    for (int i = 0; i < preset.componentCount; ++i) {
        const auto &component = preset.component[i];
        if (component.quantTable >= preset.quantTableCount) return false;
    }
    return true;
}

// Factors from 1 to 2; of one component they do not matter.
bool has_known_sampling(const JEInfo *session) {
    for (uint32_t i = 0; session->componentCount > 1 && i < session->componentCount; ++i) {
        const JEComponent &component = session->components[i];
        if (component.hSamp < 1 || component.hSamp > 2 || component.vSamp < 1 || component.vSamp > 2) return false;
    }
    return true;
}

bool allocate_records(JEInfo *session) {
    session->zigzag = allocate<uint8_t>(session, kBlockCoefficients);
    session->coefState = allocate<JECoefState>(session);
    session->sampling = allocate<JESampling>(session);
    session->dctWorkspace = allocate<int16_t>(session, kBlockCoefficients);
    session->scratchWords = allocate<void *>(session, 3);
    if (!session->zigzag || !session->coefState || !session->sampling || !session->dctWorkspace ||
        !session->scratchWords) {
        return false;
    }
    std::memcpy(session->zigzag, vorel_natural_order, kBlockCoefficients);
    for (int i = 0; i < 3; ++i) {
        session->scratchWords[i] = allocate<uint32_t>(session);
        if (!session->scratchWords[i]) return false;
    }
    if (session->progressiveMode) return true;
    auto *area = allocate<JEBlock>(session, kMaxBlocksInMcu);
    for (int i = 0; area && i < kMaxBlocksInMcu; ++i) session->coefState->mcuBlocks[i] = area[i];
    return area != nullptr;
}

bool fill_components(JEInfo *session) {
    session->components = allocate<JEComponent>(session, session->componentCount);
    if (!session->components) return false;
    for (uint32_t i = 0; i < session->componentCount; ++i) {
        const uint8_t chroma = i > 0;
        uint8_t h = session->defaultSampling[2 * i], v = session->defaultSampling[2 * i + 1], quant = chroma;
        if (session->hasPresetHeader) {
            const auto &component = session->presetHeader->component[i];
            h = component.h, v = component.v, quant = component.quantTable;
        }
        if (session->componentCount == 1) h = v = 1;
        __rim_jpeg_enc_set_component_info(session, i, static_cast<uint8_t>(i + 1), h, v, quant, chroma, chroma);
    }
    return true;
}

bool allocate_rows(JEInfo *session, uint8_t ***rows, uint32_t width, uint32_t *alignment) {
    *rows = __rim_jpeg_enc_alloc_sample_arry(session, width, kSampleRows, alignment);
    if (*rows) {
        for (uint32_t row = 0; row < kSampleRows; ++row) {
            std::memset((*rows)[row], kMiddle, static_cast<size_t>((width + 15) & ~15u));
        }
    }
    return *rows != nullptr;
}

bool lay_out(JEInfo *session) {
    const uint32_t width = session->width, height = static_cast<uint32_t>(session->height);
    const uint32_t max_h = session->maxHSamp, max_v = session->maxVSamp;
    const auto up = [](uint64_t a, uint64_t b) { return static_cast<uint32_t>((a + b - 1) / b); };
    for (uint32_t i = 0; i < session->componentCount; ++i) {
        JEComponent &component = session->components[i];
        const uint64_t w = uint64_t{width} * component.hSamp, h = uint64_t{height} * component.vSamp;
        component.widthInBlocks = up(w, 8 * max_h);
        component.heightInBlocks = up(h, 8 * max_v);
        component.sampledWidth = up(w, max_h);
        component.sampledHeight = up(h, max_v);
        component.paddedWidth = 8 * component.widthInBlocks;
        component.paddedHeight = 8 * component.heightInBlocks;
        component.rowsPerMcu = component.rowsThisMcu = 8 * component.vSamp;
        const uint32_t row = component.paddedWidth * max_h / component.hSamp;
        if (!allocate_rows(session, &session->sampling->rows[i], row, &session->sampling->alignment[i])) return false;
    }
    session->mcuRowTotal = up(height, 8 * max_v);
    return true;
}

// The record says what memory there is; files and callbacks are served from a buffer of the session's own, longer than
// what it is full at.
bool attach_sink(JEInfo *session, const RimEncSink *output) {
    RimEncSink *sink = session->sink;
    *sink = *output;
    sink->position = sink->total = 0;
    session->work->allocated = sink->buffer ? sink->capacity : 0;
    if (sink->mode != kSinkFile && sink->mode != kSinkCallback) {
        session->work->fixed = sink->mode != kSinkMemory;
        return true;
    }
    session->staging = allocate<uint8_t>(session, kStagingBytes + kMostMcuBytes);
    sink->buffer = session->staging;
    sink->capacity = kStagingBytes;
    session->work->allocated = kStagingBytes + kMostMcuBytes;
    return session->staging != nullptr;
}

void set_up_restarts(JEInfo *session) {
    session->restartNumber = 0;
    session->restartCounter = 0xFFFFFFFF;
    if (session->hasPresetHeader) {
        session->restartInterval = session->presetHeader->restart ? session->mcusPerRow : 0;
    } else {
        session->restartInterval = session->mcusPerRow % 4 ? session->mcusPerRow : 4;
    }
}

void fill_session(JEInfo *session, const RawInfo *raw, HuffmanSpec *spec, PresetHeader *preset) {
    if (spec && spec->valid) {
        session->useSuppliedHuffman = 1;
        session->suppliedHuffman = spec;
    }
    if (preset) {
        session->presetHeader = preset;
        session->hasPresetHeader = 1;
    }
    session->width = raw->width;
    session->height = raw->height;
    // Numbers beyond a byte have no reader, as 255 has none.
    session->inputFormat = static_cast<uint8_t>(raw->format < 255 ? raw->format : 255);
    session->quality = spec ? spec->quality : 0;
    if (spec && spec->userPair) std::memcpy(session->userPair, spec->userPair, sizeof session->userPair);
    session->colourMode = is_yuv_or_gray(session->inputFormat) ? session->inputFormat : 0;
    session->componentCount = preset ? preset->componentCount : session->inputFormat == COLOR_GRAY ? 1 : 3;
    session->progressiveMode = raw->progressive != 0;
    session->compressRow = raw->progressive ? __rim_jpeg_enc_compress_first_pass : __rim_jpeg_enc_compress_data;
    choose_sampling(session);
}

}  // namespace

void destroy_session(JEInfo *session) {
    if (!session) return;
    __rim_jpeg_enc_release_mem(session);
    os_release(session);
}

}  // namespace vorel

using namespace vorel;

extern "C" {

JEInfo *__rim_jpeg_enc_initiaize(RawInfo *raw, RimEncSink *output, HuffmanSpec *spec, PresetHeader *preset) {
    if (!raw || !output) return nullptr;
    auto *session = static_cast<JEInfo *>(os_allocate_zeroed(sizeof(JEInfo)));
    if (!session) {
        rim_SetError(kEncoderNoMemory);
        VOREL_ENC_LOG("[%s : pJEInfo malloc fail!!(%d)]\n");
        return nullptr;
    }
    fill_session(session, raw, spec, preset);
    session->work = allocate<JEWork>(session);
    if (!session->work || !__rim_jpeg_enc_initail_setup(session)) {
        VOREL_ENC_LOG("[%s : __rim_jpeg_enc_initail_setup fail!!(%d)]\n");
        destroy_session(session);
        return nullptr;
    }
    if (!place_input(session, raw)) {
        rim_SetError(kEncoderBadSize);
        VOREL_ENC_LOG("[%s : invalid Image size!!(%d)]\n");
        destroy_session(session);
        return nullptr;
    }
    if (!attach_sink(session, output)) {
        rim_SetError(kEncoderNoMemory);
        VOREL_ENC_LOG("[%s : memalloc Fail!!(%d)]\n");
        destroy_session(session);
        return nullptr;
    }
    if (!session->progressiveMode) set_up_restarts(session);
    return session;
}

int32_t __rim_jpeg_enc_initail_setup(JEInfo *session) {
    if (session->width < 1 || session->width > kMostSide || session->height < 1 || session->height > kMostSide) {
        rim_SetError(kEncoderBadSize);
        VOREL_ENC_LOG("[%s : invalid Image size!!(%d)]\n");
        return 0;
    }
    if (session->componentCount > 3 || (session->hasPresetHeader && !is_sound(*session->presetHeader))) {
        rim_SetError(kEncoderBadSampling);
        VOREL_ENC_LOG("[%s : too many component!!(%d)]\n");
        return 0;
    }
    session->work->kernels = &encoder_kernels();
    session->work->runMcu = mcu_run();
    if (!__rim_jpeg_enc_set_quality(session, session->quality)) return 0;
    if (!allocate_records(session) || !fill_components(session)) {
        rim_SetError(kEncoderNoMemory);
        VOREL_ENC_LOG("[%s : memalloc Fail!!(%d)]\n");
        return 0;
    }
    if (!has_known_sampling(session)) {
        rim_SetError(kEncoderBadSampling);
        VOREL_ENC_LOG("[%s : big sampling factor!!(%d)]\n");
        return 0;
    }
    if (!lay_out(session) || !ensure_block(session, &session->sink, 1)) {
        rim_SetError(kEncoderNoMemory);
        VOREL_ENC_LOG("[%s : memalloc Fail!!(%d)]\n");
        return 0;
    }
    if (!__rim_jpeg_enc_prepare_huffman_code(session)) return 0;
    if (session->progressiveMode && !set_up_progressive(session)) return 0;
    if (!session->progressiveMode) {
        session->componentsInScan = session->componentCount;
        for (uint32_t i = 0; i < session->componentCount; ++i) session->scanComponents[i] = &session->components[i];
        if (!__rim_jpeg_enc_setup_scan(session)) return 0;
    }
    __rim_jpeg_enc_setup_imcu(session);
    return allocate_stretch(session);
}

int32_t __rim_jpeg_enc_set_component_info(JEInfo *session, uint32_t index, uint8_t id, uint8_t hSamp, uint8_t vSamp,
                                          uint8_t quantTable, uint8_t dcTable, uint8_t acTable) {
    if (index >= session->componentCount || quantTable >= 4 || dcTable >= 2 || acTable >= 2) return 0;
    JEComponent &component = session->components[index];
    component.id = id;
    component.index = static_cast<uint8_t>(index);
    component.hSamp = hSamp;
    component.vSamp = vSamp;
    component.quantTable = quantTable;
    component.dcTable = dcTable;
    component.acTable = acTable;
    if (hSamp > session->maxHSamp) session->maxHSamp = hSamp;
    if (vSamp > session->maxVSamp) session->maxVSamp = vSamp;
    return 1;
}

// T.81 A.2: what an MCU of the scan is.
int32_t __rim_jpeg_enc_setup_scan(JEInfo *session) {
    if (session->componentsInScan == 1) {
        JEComponent *component = session->scanComponents[0];
        session->mcusPerRow = component->widthInBlocks;
        session->mcuRowsInScan = component->heightInBlocks;
        component->mcuWidth = component->mcuHeight = component->mcuBlocks = 1;
        component->mcuSampleWidth = 8;
        component->lastColWidth = 1;
        const uint32_t rest = component->heightInBlocks % component->vSamp;
        component->lastRowHeight = rest ? rest : component->vSamp;
        session->blocksInMcu = 1;
        session->mcuMembership[0] = 0;
        return 1;
    }
    session->mcusPerRow = static_cast<uint32_t>(ceil_div(session->width, 8 * session->maxHSamp));
    session->mcuRowsInScan = static_cast<uint32_t>(ceil_div(session->height, 8 * session->maxVSamp));
    session->blocksInMcu = 0;
    for (uint32_t i = 0; i < session->componentsInScan; ++i) {
        JEComponent *component = session->scanComponents[i];
        component->mcuWidth = component->hSamp;
        component->mcuHeight = component->vSamp;
        component->mcuBlocks = component->mcuWidth * component->mcuHeight;
        component->mcuSampleWidth = 8u * component->hSamp;
        const uint32_t column = component->widthInBlocks % component->mcuWidth;
        const uint32_t row = component->heightInBlocks % component->mcuHeight;
        component->lastColWidth = column ? column : component->mcuWidth;
        component->lastRowHeight = row ? row : component->mcuHeight;
        if (session->blocksInMcu + component->mcuBlocks > kMaxBlocksInMcu) {
            rim_SetError(kEncoderBadSampling);
            VOREL_ENC_LOG("[%s : excess MAX_BLOCKS_IN_MCU!!(%d)]\n");
            return 0;
        }
        for (uint32_t b = 0; b < component->mcuBlocks; ++b) session->mcuMembership[session->blocksInMcu++] = i;
    }
    return 1;
}

void __rim_jpeg_enc_setup_imcu(JEInfo *session) {
    JECoefState *state = session->coefState;
    const bool last = state->mcuRow + 1 >= session->mcuRowTotal;
    if (session->componentsInScan == 1) {
        const JEComponent *component = session->scanComponents[0];
        state->rowsPerMcuRow = last ? component->lastRowHeight : component->vSamp;
    } else {
        state->rowsPerMcuRow = 1;
    }
    if (last) {
        for (uint32_t i = 0; i < session->componentCount; ++i) {
            JEComponent &component = session->components[i];
            const uint32_t rest = component.sampledHeight % component.rowsPerMcu;
            component.rowsThisMcu = rest ? rest : component.rowsPerMcu;
        }
    }
    state->mcuColumn = state->vertOffset = 0;
}

void __rim_jpeg_enc_release_mem(JEInfo *session) {
    if (session->work) release_columns(session);
    for (uint32_t i = 0; i < session->blockCount; ++i) os_release(session->rawBlocks[i]);
    session->blockCount = 0;
    session->work = nullptr;
}

}  // extern "C"
