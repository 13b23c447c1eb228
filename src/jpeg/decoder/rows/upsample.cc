// Upsampling: a plain box, each sample repeated. Where the writers can take subsampled rows as they are, nothing is
// repeated in memory.
#include <algorithm>

#include "jpeg/decoder/output/output.h"
#include "jpeg/decoder/statistics/statistics.h"

namespace vorel {
namespace {

void repeat_samples(const JpegInfo *info, const uint8_t *in, int32_t times, int32_t width, uint8_t *out) {
    if (times == 2) {
        info->plan.kernels->double_samples(in, width, out);
        return;
    }
    for (int32_t x = 0; x < width; ++x) out[x] = in[x / times];
}

// One row group: maxV rows, as far across as the window looks, each sample h times across and v times down.
void upsample_group(const JpegInfo *info, int32_t h, int32_t v, uint8_t **input_rows, uint8_t **output_rows) {
    const SourceRange &columns = info->plan.columns;
    for (int32_t row = 0; row < info->frame->maxV; ++row) {
        repeat_samples(info, input_rows[row / v] + columns.first / h, h, columns.end - columns.first,
                       output_rows[row] + columns.first);
    }
}

// What the writers may make of rows as they are: chroma components expand alike, and luma does not.
struct Expansion {
    bool alike;
    int32_t h, v;  // of chroma
};

Expansion expansion_of(const JpegInfo *info) {
    const ComponentPlan *plans = info->plan.components;
    const int32_t components = info->frame->numComponents;
    const ComponentPlan &chroma = plans[components > 1 ? 1 : 0];
    if (components == 2 || chroma.h_expand > 2 || chroma.v_expand > 2) return {false, 0, 0};
    for (int i = 0; i < components; ++i) {
        const bool alike = i == 0 || i == 3
                               ? plans[i].h_expand == 1 && plans[i].v_expand == 1
                               : plans[i].h_expand == chroma.h_expand && plans[i].v_expand == chroma.v_expand;
        if (!alike) return {false, 0, 0};
    }
    return {true, chroma.h_expand, chroma.v_expand};
}

UpsampleFn choose_upsample(const JpegInfo *info, int index) {
    const ComponentPlan &plan = info->plan.components[index];
    if (plan.h_expand == 1 && plan.v_expand == 1) return BRIMJ_DoFullsizeUpsample;
    if (plan.h_expand == 2 && plan.v_expand == 1) return BRIMJ_DoH2V1Upsample;
    if (plan.h_expand == 2 && plan.v_expand == 2 && info->frame->components[index].downsampledWidth > 2) {
        return info->plan.scaleIndex < 3 ? BRIMJ_DoH2V2Upsample : __BRIMJ_DoH2V2Upsample;
    }
    return BRIMJ_DoIntegralUpsample;
}

bool all_full_width(const JpegInfo *info) {
    for (int i = 0; i < info->frame->numComponents; ++i) {
        if (info->plan.components[i].h_expand != 1) return false;
    }
    return true;
}

// Rows of the buffered iMCU row from `rows_taken` on, as pointers the writers can use: repeated rows are repeated
// pointers.
int32_t emit_direct(JpegInfo *info, uint8_t ***rows, int32_t count, uint32_t end_row) {
    uint8_t *pointers[kMaxComponents][kMaxEmitRows];
    uint8_t **views[kMaxComponents] = {pointers[0], pointers[1], pointers[2], pointers[3]};
    for (int c = 0; c < info->frame->numComponents; ++c) {
        const int32_t v = info->plan.components[c].v_expand;
        for (int32_t i = 0; i < count; ++i) pointers[c][i] = rows[c][(info->pump.rows_taken + i) / v];
    }
    return emit_planned_rows(info, views, count, end_row);
}

// A row group through the components' upsamplers; `count` rows of it are taken. A group that was left half taken goes
// on behind what was taken.
int32_t emit_group(JpegInfo *info, uint8_t ***rows, int32_t count, uint32_t end_row) {
    uint8_t **views[kMaxComponents] = {};
    const int32_t maxV = info->frame->maxV;
    const int32_t group = info->pump.rows_taken / maxV, behind = info->pump.rows_taken % maxV;
    {
        const StepScope scope(JPEG_STAT_UPSAMPLING);
        for (int c = 0; c < info->frame->numComponents; ++c) {
            JpegComponent component = info->frame->components[c];
            views[c] = info->pump.components[c].expanded;
            info->pump.components[c].upsample(&component, info,
                                              rows[c] + group * (maxV / info->plan.components[c].v_expand), &views[c]);
            views[c] += behind;
        }
    }
    return emit_planned_rows(info, views, count, end_row);
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t BRIMJ_InitUpsampler(JpegInfo *info) {
    OutputPlan &plan = info->plan;
    for (int i = 0; i < info->frame->numComponents; ++i) {
        if (plan.components[i].h_expand == 0 || plan.components[i].v_expand == 0) {
            VOREL_TRACE(kTagJpeg);
            return kStepFailed;
        }
        info->pump.components[i].upsample = choose_upsample(info, i);
    }
    const Expansion chroma = expansion_of(info);
    // Pairs that share a chroma sample start at even columns.
    const bool pairs_whole = plan.resample != Resample::kNone || plan.window.x % 2 == 0;
    plan.chroma_shared = color_space(info) == kColorYcc && chroma.alike && chroma.h == 2 && pairs_whole;
    plan.direct = plan.chroma_shared || all_full_width(info);
    for (int i = 0; i < info->frame->numComponents; ++i) {
        ComponentRows *at = &info->pump.components[i];
        BRIM_FakeFree(at->expanded);
        at->expanded = nullptr;
        if (plan.direct || at->upsample == BRIMJ_DoFullsizeUpsample) continue;
        at->expanded = BRIMJ_AllocSampleArry(info, plan.scaledWidth, info->frame->maxV, nullptr);
        if (!at->expanded) {
            set_error(kErrorOutOfMemory);
            VOREL_TRACE(kTagJpeg);
            return kStepFailed;
        }
    }
    return kStepOk;
}

void BRIMJ_SetupUpsample(JpegInfo *info, uint8_t ***rowArray, uint32_t *inOutRows, uint32_t maxRows) {
    const StepScope scope(JPEG_STAT_COLOUR);
    RowPump &pump = info->pump;
    while (pump.rows_taken < pump.rows_ready && *inOutRows < maxRows) {
        const int32_t ready = pump.rows_ready - pump.rows_taken;
        int32_t used;
        if (info->plan.direct) {
            used = emit_direct(info, rowArray, std::min(ready, kMaxEmitRows), maxRows);
        } else {
            const int32_t maxV = info->frame->maxV;
            used = emit_group(info, rowArray, std::min(ready, maxV - pump.rows_taken % maxV), maxRows);
        }
        pump.rows_taken += used;
        *inOutRows = info->out.outputRow;
        // Nothing used up: the row has more output rows to give than are wanted.
        if (used == 0) break;
    }
}

void BRIMJ_SkipRowUpsample(JpegInfo *info, uint8_t ***, uint32_t *inOutRows, uint32_t) {
    pass_rows(info, info->pump.rows_ready - info->pump.rows_taken);
    info->pump.rows_taken = info->pump.rows_ready;
    *inOutRows = info->out.outputRow;
}

void BRIMJ_DoFullsizeUpsample(JpegComponent *, JpegInfo *, uint8_t **inputRows, uint8_t ***outputRows) {
    *outputRows = inputRows;
}
void BRIMJ_DoH2V1Upsample(JpegComponent *, JpegInfo *info, uint8_t **inputRows, uint8_t ***outputRows) {
    upsample_group(info, 2, 1, inputRows, *outputRows);
}
void BRIMJ_DoH2V2Upsample(JpegComponent *, JpegInfo *info, uint8_t **inputRows, uint8_t ***outputRows) {
    upsample_group(info, 2, 2, inputRows, *outputRows);
}
void __BRIMJ_DoH2V2Upsample(JpegComponent *, JpegInfo *info, uint8_t **inputRows, uint8_t ***outputRows) {
    upsample_group(info, 2, 2, inputRows, *outputRows);
}
void BRIMJ_DoIntegralUpsample(JpegComponent *component, JpegInfo *info, uint8_t **inputRows, uint8_t ***outputRows) {
    const ComponentPlan &plan = info->plan.components[component->index];
    upsample_group(info, plan.h_expand, plan.v_expand, inputRows, *outputRows);
}

}  // extern "C"
