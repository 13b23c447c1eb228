// Output geometry: from the wanted size to a DCT scale, a remaining resampling and a crop.
#include <algorithm>
#include <climits>

#include "jpeg/decoder/output/output.h"
#include "jpeg/decoder/setup.h"

namespace vorel {
namespace {

struct Size {
    int64_t width, height;
};

// side / sample + 0.5, truncated.
int64_t rounded_share(int64_t side, int64_t sample) { return (2 * side + sample) / (2 * sample); }

// The caller's rectangle, with sides of 0 filled in.
Size target_size(const JpegInfo *info, const FrameRequest *request) {
    const DecInfo *session = info->decInfo;
    const int64_t image_w = info->frame->imageWidth, image_h = info->frame->imageHeight;
    Size target = {request->targetWidth, request->targetHeight};
    const int64_t sample = session->sampleSize;
    if (sample > 0) {
        if (info->decMode == 6 && image_w <= target.width && image_h <= target.height) target = {image_w, image_h};
        if (target.width <= 0) target.width = rounded_share(image_w, sample);
        if (target.height <= 0) target.height = rounded_share(image_h, sample);
    } else {
        if (target.width <= 0) target.width = image_w;
        if (target.height <= 0) target.height = image_h;
    }
    return target;
}

Size cover(Size image, Size target) {
    Size out = {target.width, ceil_div(target.width * image.height, image.width)};
    if (out.height < target.height) out = {ceil_div(target.height * image.width, image.height), target.height};
    return out.width > image.width || out.height > image.height ? image : out;
}

Size fit_inside(Size image, Size target) {
    Size out = image;
    if (image.width > target.width) out = {target.width, ceil_div(target.width * image.height, image.width)};
    if (out.height > target.height) out = {ceil_div(target.height * image.width, image.height), target.height};
    return out;
}

Size output_size(Size image, Size target, uint32_t fit) {
    const bool stretched = fit == VOREL_OPTION_FIT_STRETCH;
    if (image.width <= target.width && image.height <= target.height) return stretched ? target : image;
    const bool same_shape = target.width * image.height / image.width == target.height ||
                            image.width * target.height / image.height == target.width;
    if (stretched || same_shape) return target;
    return fit == VOREL_OPTION_FIT_COVER ? cover(image, target) : fit_inside(image, target);
}

// The largest DCT scale that does not fall below `out`: 3 for an eighth, 2, 1, or 0 for the full size.
int32_t scale_index(int64_t side, int64_t out) {
    if (8 * out <= side + 4) return 3;
    if (4 * out <= side + 2) return 2;
    if (2 * out <= side + 1) return 1;
    return 0;
}

// Decode modes trade quality for speed by a smaller DCT scale.
void apply_decode_mode(JpegInfo *info) {
    int32_t *index = &info->plan.scaleIndex, *multiplier = &info->plan.scaleMultiplier;
    switch (info->decMode) {
        case 2:
        case 3:
            if (*index == 1 || (info->decMode == 3 && *index == 0)) {
                *index = 3;
                *multiplier = 3;
            } else if (*index == 3 && *multiplier == 3) {
                *index = 2;
                *multiplier = 1;
            } else {
                ++*index;
            }
            break;
        case 4:
            *index = 3;
            *multiplier = 1;
            break;
        default:
            break;
    }
    if (is_baseline(info)) {
        if (*index > 6) *index = 6;
    } else if (*multiplier == 3) {
        *index = 1;
        *multiplier = 1;
    } else if (*index > 3) {
        *index = 3;
    }
}

// The scaled side, rounded; one sample more than the output wants is dropped.
int64_t scaled_side(const JpegInfo *info, int64_t side, int64_t out) {
    const int64_t unit = int64_t{1} << info->plan.scaleIndex;
    int64_t scaled = rounded_share(info->plan.scaleMultiplier * side, unit);
    if (scaled < 1) scaled = 1;
    return out == scaled - 1 ? out : scaled;
}

// Chroma blocks get kernels of the output's own resolution, so that nothing is to be upsampled.
bool wants_joint_chroma(const JpegInfo *info) {
    if (!is_baseline(info) || info->frame->numComponents < 2 || info->plan.scaleMultiplier == 3) return false;
    if (info->frame->maxH > 2 || info->frame->maxV > 2) return false;
    // Components that come in scans of their own have no MCU together.
    if (has_separate_scans(info)) return false;
    return info->plan.scaleIndex == 1 || info->plan.scaleIndex == 2 ||
           (info->plan.scaleIndex == 3 && info->frame->numComponents > 3);
}

IdctShape shape_of(int32_t width, int32_t height) {
    const auto key = [](int32_t w, int32_t h) { return w << 8 | h; };
    switch (key(width, height)) {
        case key(1, 1):
            return IdctShape::k1x1;
        case key(1, 2):
            return IdctShape::k1x2;
        case key(2, 1):
            return IdctShape::k2x1;
        case key(2, 2):
            return IdctShape::k2x2;
        case key(2, 4):
            return IdctShape::k2x4;
        case key(3, 3):
            return IdctShape::k3x3;
        case key(4, 2):
            return IdctShape::k4x2;
        case key(4, 4):
            return IdctShape::k4x4;
        case key(4, 8):
            return IdctShape::k4x8;
        case key(8, 4):
            return IdctShape::k8x4;
        default:
            return IdctShape::k8x8;
    }
}

int32_t kept_for(int32_t width, int32_t height) {
    const int32_t side = width > height ? width : height;
    return side == 8 ? kKeepAll : side >= 3 ? kKeep2to1 : side == 2 ? kKeep4to1 : kKeepDc;
}

uint8_t box_factor(int64_t whole, int64_t part) { return static_cast<uint8_t>(whole % part == 0 ? whole / part : 0); }

void crop_side(int32_t out, int64_t target, int32_t *crop, int32_t *offset) {
    *crop = out <= target ? out : static_cast<int32_t>(target);
    *offset = (out - *crop) / 2;
}

}  // namespace

void plan_components(JpegInfo *info) {
    OutputPlan &plan = info->plan;
    const FrameLayout &frame = *info->frame;
    const bool sparse = plan.scaleIndex > 3;
    const int32_t samples = plan.scaleMultiplier == 3 ? 3 : sparse ? 1 : kBlockSide >> plan.scaleIndex;
    for (int i = 0; i < frame.numComponents; ++i) {
        const JpegComponent &component = frame.components[i];
        ComponentPlan *at = &plan.components[i];
        const int32_t h = static_cast<int32_t>(component.hSampling), v = static_cast<int32_t>(component.vSampling);
        const int32_t width = plan.jointChroma ? samples * (frame.maxH / h) : samples;
        const int32_t height = plan.jointChroma ? samples * (frame.maxV / v) : samples;
        at->block_width = static_cast<uint8_t>(width);
        at->block_height = static_cast<uint8_t>(height);
        at->shape = shape_of(width, height);
        at->keep = static_cast<uint8_t>(kept_for(width, height));
        at->h_expand = box_factor(frame.maxH * samples, h * width);
        at->v_expand = box_factor(frame.maxV * samples, v * height);
        // Beyond an eighth samples are picked, not repeated; a ratio that is not integral stays refused.
        if (sparse && at->h_expand != 0 && at->v_expand != 0) at->h_expand = at->v_expand = 1;
    }
    plan.imcu_output_rows = sparse ? 0 : frame.maxV * samples;
    plan.mcu_output_columns = sparse ? 0 : frame.maxH * samples;
}

namespace {

// DCT scale, scaled size and crop for an output of that size.
void plan_sizes(JpegInfo *info, Size image, Size out, Size upright) {
    if (out.width < 1) out.width = 1;
    if (out.height < 1) out.height = 1;
    info->plan.outWidth = static_cast<int32_t>(out.width);
    info->plan.outHeight = static_cast<int32_t>(out.height);
    // A side of one pixel would count as halved; the picture at its own size is never scaled.
    const bool full_size = out.width == image.width && out.height == image.height;
    const bool by_height = image.width * out.height > image.height * out.width;
    info->plan.scaleIndex = full_size   ? 0
                            : by_height ? scale_index(image.height, out.height)
                                        : scale_index(image.width, out.width);
    info->plan.scaleMultiplier = 1;
    apply_decode_mode(info);

    info->plan.scaledWidth = static_cast<uint16_t>(scaled_side(info, image.width, out.width));
    info->plan.scaledHeight = static_cast<uint16_t>(scaled_side(info, image.height, out.height));
    info->plan.isOneToOne = info->plan.scaledWidth == out.width && info->plan.scaledHeight == out.height;
    info->decInfo->multiScan = has_separate_scans(info);
    info->plan.jointChroma = wants_joint_chroma(info);
    plan_components(info);

    crop_side(info->plan.outWidth, upright.width, &info->plan.cropWidth, &info->plan.decodeOffsetX);
    crop_side(info->plan.outHeight, upright.height, &info->plan.cropHeight, &info->plan.decodeOffsetY);
}

}  // namespace

bool plan_geometry(JpegInfo *info, const FrameRequest *request) {
    const DecInfo *session = info->decInfo;
    const Size image = {info->frame->imageWidth, info->frame->imageHeight};
    if (image.width == 0 || image.height == 0) return false;
    if (request->targetWidth < 0 || request->targetHeight < 0) return false;
    const uint32_t fit = session->decOption & kFitMask;
    info->plan.rotation = is_pixel_format(info->plan.outColorFormat) ? session->decOption & kRotationMask : 0;
    const bool turned = info->plan.rotation & 4;

    const Size target = target_size(info, request);
    if (target.width > INT32_MAX || target.height > INT32_MAX) return false;
    info->plan.targetWidth = static_cast<int32_t>(target.width);
    info->plan.targetHeight = static_cast<int32_t>(target.height);
    const Size upright = turned ? Size{target.height, target.width} : target;

    plan_sizes(info, image, output_size(image, upright, fit), upright);
    return true;
}

bool plan_reduced_geometry(JpegInfo *info, int32_t sample) {
    const Size image = {info->frame->imageWidth, info->frame->imageHeight};
    if (image.width == 0 || image.height == 0 || sample < 0) return false;
    const int64_t by = sample ? sample : 1;
    const Size out = {std::max<int64_t>(rounded_share(image.width, by), 1),
                      std::max<int64_t>(rounded_share(image.height, by), 1)};
    const bool pixels = is_pixel_format(info->plan.outColorFormat);
    info->plan.rotation = pixels ? info->decInfo->decOption & kRotationMask : 0;
    const bool turned = info->plan.rotation & 4;
    info->plan.targetWidth = static_cast<int32_t>(turned ? out.height : out.width);
    info->plan.targetHeight = static_cast<int32_t>(turned ? out.width : out.height);
    plan_sizes(info, image, out, out);
    return true;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t getSampleSize(int32_t w, int32_t h, int32_t targetW, int32_t targetH) {
    if (w <= 0 || h <= 0 || targetW <= 0 || targetH <= 0) return 0;
    const bool by_height = static_cast<int64_t>(targetH) * w > static_cast<int64_t>(targetW) * h;
    return 1 << (by_height ? scale_index(h, targetH) : scale_index(w, targetW));
}

int32_t checkOneToOne(int32_t w, int32_t h, int32_t targetW, int32_t targetH) {
    if (w <= 0 || h <= 0 || targetW <= 0 || targetH <= 0) return 0;
    const int64_t ratio = rounded_share(w, targetW);
    if (ratio != rounded_share(h, targetH)) return 0;
    // The largest power of two not above the ratio, at most 32.
    int64_t divisor = 1;
    while (divisor < 32 && 2 * divisor <= ratio) divisor *= 2;
    const auto fits = [divisor](int64_t side, int64_t target) {
        return target == side / divisor || target == rounded_share(side, divisor);
    };
    return fits(w, targetW) && fits(h, targetH);
}

int32_t BRIMJ_GetMcuSampleWidth(JpegInfo *info) {
    // In a region's session an MCU of one block is as wide as that block's samples reach.
    const ScanReader &scan = info->scan;
    if (!info->isRegion || scan.blocksInMcu != 1) return info->frame->mcuWidth;
    return static_cast<int32_t>(kBlockSide * info->frame->maxH / scan.components[0].component->hSampling);
}

int32_t BRIMJ_GetMcuHeight(DecInfo *session) {
    return session && session->retainedJpegInfo ? session->retainedJpegInfo->frame->mcuHeight : -1;
}

}  // extern "C"
