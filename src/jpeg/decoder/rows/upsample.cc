// Upsampling: a plain box, each sample repeated. Where the writers can take subsampled rows as they are, nothing is
// repeated in memory.
#include "jpeg/decoder/output/output.h"

namespace vorel {
namespace {

void repeat_samples(const JpegInfo *info, const uint8_t *in, int32_t times, int32_t width, uint8_t *out) {
    if (times == 2) {
        info->kernels->double_samples(in, width, out);
        return;
    }
    for (int32_t x = 0; x < width; ++x) out[x] = in[x / times];
}

// One row group: maxV rows of the scaled picture's width.
void upsample_group(const JpegComponent *component, const JpegInfo *info, uint8_t **input_rows, uint8_t **output_rows) {
    for (int32_t row = 0; row < info->maxV; ++row) {
        repeat_samples(info, input_rows[row / component->v_expand], component->h_expand, info->scaledWidth,
                       output_rows[row]);
    }
}

// The code of JpegInfo.directRows for a frame whose chroma components expand alike and whose luma does not; else 0.
int32_t direct_code(const JpegInfo *info) {
    const JpegComponent *chroma = &info->components[info->numComponents > 1 ? 1 : 0];
    for (int i = 0; i < info->numComponents; ++i) {
        const JpegComponent *component = &info->components[i];
        const bool alike = i == 0 || i == 3
                               ? component->h_expand == 1 && component->v_expand == 1
                               : component->h_expand == chroma->h_expand && component->v_expand == chroma->v_expand;
        if (!alike) return 0;
    }
    if (chroma->h_expand == 1 && chroma->v_expand == 1) return 4;
    if (chroma->h_expand == 1 && chroma->v_expand == 2) return 5;
    if (chroma->h_expand == 2 && chroma->v_expand == 1) return 2;
    if (chroma->h_expand == 2 && chroma->v_expand == 2) return 1;
    return 0;
}

UpsampleFn choose_upsample(const JpegInfo *info, const JpegComponent *component) {
    const int32_t h = component->h_expand, v = component->v_expand;
    if (h == 1 && v == 1) return BRIMJ_DoFullsizeUpsample;
    if (h == 2 && v == 1) return BRIMJ_DoH2V1Upsample;
    if (h == 2 && v == 2 && component->downsampledWidth > 2) {
        return info->scaleIndex < 3 ? BRIMJ_DoH2V2Upsample : __BRIMJ_DoH2V2Upsample;
    }
    return BRIMJ_DoIntegralUpsample;
}

bool all_full_width(const JpegInfo *info) {
    for (int i = 0; i < info->numComponents; ++i) {
        if (info->components[i].h_expand != 1) return false;
    }
    return true;
}

// Rows of the buffered iMCU row from `taken` on, as pointers the writers can use: repeated rows are repeated pointers.
void point_at_rows(const JpegInfo *info, uint8_t ***rows, int32_t taken, int32_t count, uint8_t *out[][kMaxEmitRows]) {
    for (int c = 0; c < info->numComponents; ++c) {
        const int32_t v = info->components[c].v_expand;
        for (int32_t i = 0; i < count; ++i) out[c][i] = rows[c][(taken + i) / v];
    }
}

int32_t min3(int32_t a, int32_t b, int32_t c) { return a < b ? (a < c ? a : c) : (b < c ? b : c); }

void emit_direct(JpegInfo *info, uint8_t ***rows, int32_t count) {
    uint8_t *pointers[kMaxComponents][kMaxEmitRows];
    uint8_t **views[kMaxComponents] = {pointers[0], pointers[1], pointers[2], pointers[3]};
    point_at_rows(info, rows, info->rows_taken, count, pointers);
    info->conversion.rowOutput(info, views, count);
    info->rows_taken += count;
}

// A row group through the components' upsamplers; `count` rows of it are taken.
void emit_group(JpegInfo *info, uint8_t ***rows, int32_t count) {
    uint8_t **views[kMaxComponents] = {};
    const int32_t group = info->rows_taken / info->maxV;
    for (int c = 0; c < info->numComponents; ++c) {
        JpegComponent *component = &info->components[c];
        views[c] = component->expanded;
        info->upsample[c](component, info, rows[c] + group * (info->maxV / component->v_expand), &views[c]);
    }
    // A group that was left half taken goes on behind what was taken.
    const int32_t behind = info->rows_taken % info->maxV;
    for (int c = 0; c < info->numComponents; ++c) views[c] += behind;
    info->conversion.rowOutput(info, views, count);
    info->rows_taken += count;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t BRIMJ_InitUpsampler(JpegInfo *info) {
    for (int i = 0; i < info->numComponents; ++i) {
        JpegComponent *component = &info->components[i];
        if (component->h_expand == 0 || component->v_expand == 0) {
            VOREL_TRACE(kTagJpeg);
            return kStepFailed;
        }
        info->upsample[i] = choose_upsample(info, component);
    }
    const int32_t code = info->numComponents == 2 ? 0 : direct_code(info);
    info->directRows = info->isRegion || !info->isOneToOne ? 0 : code;
    // Pairs that share a chroma sample start at even columns.
    const bool pairs_whole = info->resample != Resample::kNone || info->window.x % 2 == 0;
    const bool half_width = code == 1 || code == 2;
    info->chroma_shared = info->colorSpace == kColorYcc && half_width && pairs_whole;
    info->direct = info->chroma_shared || all_full_width(info);
    if (info->direct) return kStepOk;
    for (int i = 0; i < info->numComponents; ++i) {
        JpegComponent *component = &info->components[i];
        if (component->h_expand == 1 && component->v_expand == 1) continue;
        component->expanded = BRIMJ_AllocSampleArry(info, info->scaledWidth, info->maxV, nullptr);
        if (!component->expanded) {
            set_error(kErrorOutOfMemory);
            VOREL_TRACE(kTagJpeg);
            return kStepFailed;
        }
    }
    return kStepOk;
}

void BRIMJ_SetupUpsample(JpegInfo *info, uint8_t ***rowArray, uint32_t *inOutRows, uint32_t maxRows) {
    while (info->rows_taken < info->rows_ready && *inOutRows < maxRows) {
        const int32_t ready = info->rows_ready - info->rows_taken;
        const int32_t wanted = static_cast<int32_t>(maxRows - *inOutRows);
        if (info->direct) {
            emit_direct(info, rowArray, min3(ready, wanted, kMaxEmitRows));
        } else {
            emit_group(info, rowArray, min3(ready, wanted, info->maxV - info->rows_taken % info->maxV));
        }
        *inOutRows = info->outputRow;
    }
}

void BRIMJ_SkipRowUpsample(JpegInfo *info, uint8_t ***, uint32_t *inOutRows, uint32_t) {
    info->scaled_row += info->rows_ready - info->rows_taken;
    info->rows_taken = info->rows_ready;
    if (info->resample == Resample::kNone) info->outputRow = static_cast<uint32_t>(info->scaled_row);
    *inOutRows = info->outputRow;
}

void BRIMJ_DoFullsizeUpsample(JpegComponent *, JpegInfo *, uint8_t **inputRows, uint8_t ***outputRows) {
    *outputRows = inputRows;
}
void BRIMJ_DoH2V1Upsample(JpegComponent *component, JpegInfo *info, uint8_t **inputRows, uint8_t ***outputRows) {
    upsample_group(component, info, inputRows, *outputRows);
}
void BRIMJ_DoH2V2Upsample(JpegComponent *component, JpegInfo *info, uint8_t **inputRows, uint8_t ***outputRows) {
    upsample_group(component, info, inputRows, *outputRows);
}
void __BRIMJ_DoH2V2Upsample(JpegComponent *component, JpegInfo *info, uint8_t **inputRows, uint8_t ***outputRows) {
    upsample_group(component, info, inputRows, *outputRows);
}
void BRIMJ_DoIntegralUpsample(JpegComponent *component, JpegInfo *info, uint8_t **inputRows, uint8_t ***outputRows) {
    upsample_group(component, info, inputRows, *outputRows);
}

}  // extern "C"
