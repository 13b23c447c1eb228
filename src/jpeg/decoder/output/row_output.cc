// The row-output functions: a colour space and a way of resampling each.
#include "jpeg/decoder/output/output.h"

namespace vorel {
namespace {

// How rows become output rows when the sizes differ.
Resample choose_resample(const JpegInfo *info) {
    const OutputPlan &plan = info->plan;
    if (plan.isOneToOne) return Resample::kNone;
    const int64_t out_w = plan.outWidth, out_h = plan.outHeight;
    if (out_w > plan.scaledWidth || out_h > plan.scaledHeight) return Resample::kCentre;
    if (color_space(info) != kColorYcc) return Resample::kMean;
    if (out_w <= 99 && out_h <= 99) return Resample::kCentre;
    const bool mild = plan.scaledWidth * int64_t{7} <= out_w * 12 && plan.scaledHeight * int64_t{7} <= out_h * 12;
    return (mild && info->decMode == 1) || info->decMode >= 2 ? Resample::kCentre : Resample::kMean;
}

int32_t emit_all(JpegInfo *info, ColorSpace color, Resample resample, uint8_t *const *const *rows, int32_t count,
                 uint32_t end_row) {
    const int32_t components = info->frame->numComponents;
    RowSet sets[kMaxEmitRows];
    int32_t used = 0;
    while (used < count) {
        const int32_t here = count - used < kMaxEmitRows ? count - used : kMaxEmitRows;
        for (int32_t i = 0; i < here; ++i) {
            // A gray row stands in for the chroma that it does not have.
            sets[i].shared = info->plan.chroma_shared;
            for (int c = 0; c < 3; ++c) sets[i].c[c] = rows[c < components ? c : 0][used + i];
            sets[i].c[3] = components == 4 ? rows[3][used + i] : nullptr;
        }
        const int32_t taken = emit_rows(info, color, resample, sets, here, end_row);
        used += taken;
        if (taken < here) break;
    }
    return used;
}

// A row-output function called by its name. Rows of a picture that is not resampled are written straight by all.
void output_rows(JpegInfo *info, ColorSpace color, Resample resample, uint8_t ***rows, int32_t count) {
    // Four samples are what the last two make their pixels of.
    if ((color == kColorCmyk || color == kColorYcck) && info->frame->numComponents != 4) return;
    if (info->plan.isOneToOne) resample = Resample::kNone;
    emit_all(info, color, resample, rows, count, UINT32_MAX);
}

}  // namespace

int32_t emit_planned_rows(JpegInfo *info, uint8_t *const *const *rows, int32_t count, uint32_t end_row) {
    return emit_all(info, color_space(info), info->plan.resample, rows, count, end_row);
}

bool plan_row_output(JpegInfo *info) {
    info->plan.resample = choose_resample(info);
    return color_space(info) != kColorUnknown;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

#define VOREL_ROW_OUTPUT(name, color, resample)                    \
    void name(JpegInfo *info, uint8_t ***rows, int32_t count) {    \
        output_rows(info, color, Resample::resample, rows, count); \
    }
VOREL_ROW_OUTPUT(BRIMJ_DoYcbcrToRgb, kColorYcc, kMean)
VOREL_ROW_OUTPUT(BRIMJ_DoYcbcrToRgb_Partial, kColorYcc, kMean)
VOREL_ROW_OUTPUT(BRIMJ_DoFastYcbcrToRgb, kColorYcc, kCentre)
VOREL_ROW_OUTPUT(BRIMJ_DoFastYcbcrToRgb_Partial, kColorYcc, kCentre)
VOREL_ROW_OUTPUT(BRIMJ_DoYcbcrToUpscaleRgb, kColorYcc, kCentre)
VOREL_ROW_OUTPUT(BRIMJ_DoFastYcbcrToUpscaleRgb, kColorYcc, kCentre)
VOREL_ROW_OUTPUT(BRIMJ_DoGrayConvert, kColorGray, kMean)
VOREL_ROW_OUTPUT(BRIMJ_DoGrayConvert_Partial, kColorGray, kMean)
VOREL_ROW_OUTPUT(BRIMJ_DoGrayUpscaleConvert, kColorGray, kCentre)
VOREL_ROW_OUTPUT(BRIMJ_DoRgbConvert, kColorRgb, kMean)
VOREL_ROW_OUTPUT(BRIMJ_DoRgbConvert_Partial, kColorRgb, kMean)
VOREL_ROW_OUTPUT(BRIMJ_DoRgbUpscaleConvert, kColorRgb, kCentre)
VOREL_ROW_OUTPUT(BRIMJ_DoCMYKToRgb, kColorCmyk, kMean)
VOREL_ROW_OUTPUT(BRIMJ_DoCMYKToRgb_Partial, kColorCmyk, kMean)
VOREL_ROW_OUTPUT(BRIMJ_DoYCCKToRgb, kColorYcck, kMean)
VOREL_ROW_OUTPUT(BRIMJ_DoYCCKToRgb_Partial, kColorYcck, kMean)
#undef VOREL_ROW_OUTPUT

}  // extern "C"
