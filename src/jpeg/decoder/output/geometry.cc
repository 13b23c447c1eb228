// Output geometry: from the wanted size to a DCT scale, a remaining resampling, a crop and a place in the target.
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
    const int64_t image_w = info->imageWidth, image_h = info->imageHeight;
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
    int32_t *index = &info->scaleIndex, *multiplier = &info->scaleMultiplier;
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
    const int64_t unit = int64_t{1} << info->scaleIndex;
    int64_t scaled = rounded_share(info->scaleMultiplier * side, unit);
    if (scaled < 1) scaled = 1;
    return out == scaled - 1 ? out : scaled;
}

// Chroma blocks get kernels of the output's own resolution, so that nothing is to be upsampled.
bool wants_joint_chroma(const JpegInfo *info) {
    if (!is_baseline(info) || info->numComponents < 2 || info->scaleMultiplier == 3) return false;
    if (info->maxH > 2 || info->maxV > 2) return false;
    if (info->decInfo->multiScan) return false;
    return info->scaleIndex == 1 || info->scaleIndex == 2 || (info->scaleIndex == 3 && info->numComponents > 3);
}

IdctShape shape_of(int32_t width, int32_t height) {
    switch (width << 8 | height) {
        case 257:
            return IdctShape::k1x1;
        case 258:
            return IdctShape::k1x2;
        case 513:
            return IdctShape::k2x1;
        case 514:
            return IdctShape::k2x2;
        case 516:
            return IdctShape::k2x4;
        case 771:
            return IdctShape::k3x3;
        case 1026:
            return IdctShape::k4x2;
        case 1028:
            return IdctShape::k4x4;
        case 1032:
            return IdctShape::k4x8;
        case 2052:
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

void crop_side(int32_t out, int64_t target, int64_t scaled, int32_t *crop, int32_t *offset, int32_t *decoded) {
    *crop = out;
    *offset = 0;
    *decoded = static_cast<int32_t>(scaled);
    if (out <= target) return;
    *crop = static_cast<int32_t>(target);
    *offset = (out - *crop) / 2;
    *decoded = static_cast<int32_t>(ceil_div(target * scaled, out));
}

}  // namespace

void plan_components(JpegInfo *info) {
    const int32_t samples = info->scaleMultiplier == 3 ? 3 : info->scaleIndex > 3 ? 1 : kBlockSide >> info->scaleIndex;
    for (int i = 0; i < info->numComponents; ++i) {
        JpegComponent *component = &info->components[i];
        const int32_t h = static_cast<int32_t>(component->hSampling), v = static_cast<int32_t>(component->vSampling);
        const int32_t width = info->jointChroma ? samples * (info->maxH / h) : samples;
        const int32_t height = info->jointChroma ? samples * (info->maxV / v) : samples;
        component->block_width = static_cast<uint8_t>(width);
        component->block_height = static_cast<uint8_t>(height);
        component->dctScaledSize = static_cast<uint32_t>(width);
        component->shape = shape_of(width, height);
        component->keep = static_cast<uint8_t>(kept_for(width, height));
        component->h_expand = box_factor(info->maxH * samples, h * width);
        component->v_expand = box_factor(info->maxV * samples, v * height);
        // Beyond an eighth samples are picked, not repeated; a ratio that is not integral stays refused.
        if (info->scaleIndex > 3 && component->h_expand != 0 && component->v_expand != 0) {
            component->h_expand = component->v_expand = 1;
        }
    }
    info->imcu_output_rows = info->scaleIndex > 3 ? 0 : info->maxV * samples;
    info->scaledRowStep = info->scaleMultiplier == 3 ? 3 : 1 << info->scaleIndex;
}

bool plan_geometry(JpegInfo *info, const FrameRequest *request) {
    DecInfo *session = info->decInfo;
    const Size image = {info->imageWidth, info->imageHeight};
    if (image.width == 0 || image.height == 0) return false;
    if (request->targetWidth < 0 || request->targetHeight < 0) return false;
    const uint32_t fit = session->decOption & 0x700;
    info->rotation = is_pixel_format(info->outColorFormat) ? session->decOption & 12 : 0;
    const bool turned = info->rotation & 4;

    const Size target = target_size(info, request);
    if (target.width > INT32_MAX || target.height > INT32_MAX) return false;
    info->targetWidth = static_cast<int32_t>(target.width);
    info->targetHeight = static_cast<int32_t>(target.height);
    const Size upright = turned ? Size{target.height, target.width} : target;

    Size out = output_size(image, upright, fit);
    if (out.width < 1) out.width = 1;
    if (out.height < 1) out.height = 1;
    info->outWidth = static_cast<int32_t>(out.width);
    info->outHeight = static_cast<int32_t>(out.height);
    // A side of one pixel would count as halved; the picture at its own size is never scaled.
    const bool full_size = out.width == image.width && out.height == image.height;
    const bool by_height = image.width * out.height > image.height * out.width;
    info->scaleIndex = full_size   ? 0
                       : by_height ? scale_index(image.height, out.height)
                                   : scale_index(image.width, out.width);
    info->scaleMultiplier = 1;
    apply_decode_mode(info);

    info->scaledWidth = static_cast<uint16_t>(scaled_side(info, image.width, out.width));
    info->scaledHeight = static_cast<uint16_t>(scaled_side(info, image.height, out.height));
    info->isOneToOne = info->scaledWidth == out.width && info->scaledHeight == out.height;
    if (is_baseline(info) && info->compsInScan < info->numComponents) session->multiScan = 1;
    info->jointChroma = wants_joint_chroma(info);
    plan_components(info);

    crop_side(info->outWidth, upright.width, info->scaledWidth, &info->cropWidth, &info->decodeOffsetX,
              &info->decodeWidth);
    crop_side(info->outHeight, upright.height, info->scaledHeight, &info->cropHeight, &info->decodeOffsetY,
              &info->decodeHeight);
    return true;
}

namespace {

constexpr ptrdiff_t bytes_of_pixel(int32_t format) {
    switch (format) {
        case COLOR_RGB565:
        case COLOR_RGB565_ALT:
            return 2;
        case COLOR_ARGB8888:
        case COLOR_RGBA8888:
        case COLOR_BGRA8888:
            return 4;
        default:
            return 1;
    }
}

// Planes of a rectangle of width x height pixels, and the pixel (x, y) in each of them. pair_x is where the pairs of
// pixels begin that share chroma bytes: x, or the even column of the picture before it.
void place_planes(OutputPlanes *planes, int32_t format, uint8_t *base, ptrdiff_t width, ptrdiff_t height, ptrdiff_t x,
                  ptrdiff_t pair_x, ptrdiff_t y) {
    const ptrdiff_t half_width = (width + 1) / 2, half_height = (height + 1) / 2;
    uint8_t *chroma = base + width * height;
    planes->rowStep = width;
    planes->pixelStep = 1;
    planes->outPlanes[0] = base + x + width * y;
    switch (format) {
        case COLOR_YUV420:
            planes->chroma_bytes = half_width;
            planes->outPlanes[1] = chroma + x / 2 + half_width * (y / 2);
            planes->outPlanes[2] = planes->outPlanes[1] + half_width * half_height;
            break;
        case COLOR_YUV422:
            planes->chroma_bytes = half_width;
            planes->outPlanes[1] = chroma + x / 2 + half_width * y;
            planes->outPlanes[2] = planes->outPlanes[1] + half_width * height;
            break;
        case COLOR_YUV440:
            planes->chroma_bytes = width;
            planes->outPlanes[1] = chroma + x + width * (y / 2);
            planes->outPlanes[2] = planes->outPlanes[1] + width * half_height;
            break;
        case COLOR_YUV444:
            planes->chroma_bytes = width;
            planes->outPlanes[1] = chroma + x + width * y;
            planes->outPlanes[2] = planes->outPlanes[1] + width * height;
            break;
        case COLOR_NV21:
        case COLOR_NV12:
            // Required: an odd x moves the pairs by one byte.
            planes->chroma_bytes = 2 * half_width;
            planes->outPlanes[1] = chroma + pair_x + 2 * half_width * (y / 2);
            break;
        case COLOR_YUYV:
            planes->rowStep = 2 * width + (2 * width & 3);
            planes->outPlanes[0] = base + 2 * pair_x + (2 * pair_x & 3) + planes->rowStep * y;
            break;
        default:
            break;
    }
}

// Pixel (0, 0) of the picture and its steps, for a picture of width x height pixels turned into a rectangle that stands
// at (x, y) of rows of `stride` pixels.
void place_pixels(OutputPlanes *planes, uint32_t rotation, ptrdiff_t size, uint8_t *base, ptrdiff_t stride, ptrdiff_t x,
                  ptrdiff_t y, ptrdiff_t width, ptrdiff_t height) {
    switch (rotation) {
        case VOREL_OPTION_ROTATE_90:
            planes->pixelStep = stride * size;
            planes->rowStep = -size;
            planes->outPlanes[0] = base + (y * stride + x + height - 1) * size;
            break;
        case VOREL_OPTION_ROTATE_180:
            planes->pixelStep = -size;
            planes->rowStep = -stride * size;
            planes->outPlanes[0] = base + ((y + height - 1) * stride + x + width - 1) * size;
            break;
        case VOREL_OPTION_ROTATE_270:
            planes->pixelStep = -stride * size;
            planes->rowStep = size;
            planes->outPlanes[0] = base + ((y + width - 1) * stride + x) * size;
            break;
        default:
            planes->pixelStep = size;
            planes->rowStep = stride * size;
            planes->outPlanes[0] = base + (y * stride + x) * size;
    }
}

int32_t clip(int64_t value, int64_t low, int64_t high) {
    return static_cast<int32_t>(value < low ? low : value > high ? high : value);
}

// The window in output coordinates: the crop, or what the session asks for of it.
void find_window(JpegInfo *info) {
    const DecInfo *session = info->decInfo;
    const int32_t left = info->decodeOffsetX, top = info->decodeOffsetY;
    const int32_t right = left + info->cropWidth, bottom = top + info->cropHeight;
    info->window = {left, top, info->cropWidth, info->cropHeight};
    if (!session->partialDecode) return;
    const int32_t x = clip(static_cast<int32_t>(session->partialX), left, right);
    const int32_t y = clip(static_cast<int32_t>(session->partialY), top, bottom);
    info->window = {
        x, y,
        clip(int64_t{static_cast<int32_t>(session->partialX)} + static_cast<int32_t>(session->partialWidth), x, right) -
            x,
        clip(int64_t{static_cast<int32_t>(session->partialY)} + static_cast<int32_t>(session->partialHeight), y,
             bottom) -
            y};
}

}  // namespace

void place_output(JpegInfo *info, const FrameRequest *request) {
    const DecInfo *session = info->decInfo;
    uint8_t *base = static_cast<uint8_t *>(request->outputBuffer);
    const bool turned = info->rotation & 4;
    find_window(info);
    // A record may be set up for its plan alone.
    if (!base) return;

    // The rectangle that rows belong to, and where the picture (or its window) stands in it.
    int32_t stride = info->targetWidth, rows = info->targetHeight;
    int32_t shown_w = info->cropWidth, shown_h = info->cropHeight;
    const bool compact_window = session->partialDecode && !session->partialToBuffer;
    const bool placed_window = session->partialDecode && session->partialToBuffer;
    if (compact_window) {
        shown_w = static_cast<int32_t>(session->partialWidth);
        shown_h = static_cast<int32_t>(session->partialHeight);
    }
    const int32_t turned_w = turned ? shown_h : shown_w, turned_h = turned ? shown_w : shown_h;
    int32_t x = (stride - turned_w) / 2, y = (rows - turned_h) / 2;
    const uint32_t fit = session->decOption & 0x700;
    if (compact_window || fit == VOREL_OPTION_FIT_PACKED) {
        stride = turned_w;
        rows = turned_h;
    }
    if (compact_window || fit == VOREL_OPTION_FIT_PACKED || fit == VOREL_OPTION_FIT_TOP_LEFT) x = y = 0;

    if (is_pixel_format(info->outColorFormat)) {
        // A window that goes to the whole target's rows is handed in at its own first pixel.
        const int32_t w = placed_window ? info->window.width : shown_w;
        const int32_t h = placed_window ? info->window.height : shown_h;
        place_pixels(&info->planes, info->rotation, bytes_of_pixel(info->outColorFormat), base, stride, x, y, w, h);
    } else {
        // Planes are found from the whole target's rectangle. A window's own pairs go to whole pairs of the picture.
        int32_t pair_x = x;
        if (placed_window) {
            const int32_t across = info->window.x - info->decodeOffsetX;
            x += across;
            pair_x += across & ~1;
            y += info->window.y - info->decodeOffsetY;
        }
        place_planes(&info->planes, info->outColorFormat, base, stride, rows, x, pair_x, y);
    }
}

}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t GCD(int32_t a, int32_t b) {
    while (b != 0) {
        const int32_t rest = b == -1 ? 0 : a % b;
        a = b;
        b = rest;
    }
    return a;
}

int32_t BRIMJ_GetGCD(int32_t a, int32_t b) {
    const int32_t divisor = GCD(a, b);
    return divisor < 0 ? static_cast<int32_t>(0u - static_cast<uint32_t>(divisor)) : divisor;
}

int32_t LCM(int32_t a, int32_t b) {
    const int32_t divisor = GCD(a, b);
    if (divisor == 0) return 0;
    return static_cast<int32_t>(static_cast<int64_t>(a / divisor) * b);
}

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
    // A region pass over single-block MCUs of a 3-component frame with half-width chroma has to reach the true width.
    const bool single_block = info->blocksInMcu == 1;
    if (!info->isRegion || info->numComponents != 3 || info->maxH != 2 || !single_block || info->mcusPerRow == 0) {
        return info->mcuWidth;
    }
    const int64_t across = (info->imageWidth + info->mcuWidth) / info->mcuWidth * int64_t{info->mcuWidth};
    return static_cast<int32_t>(across / info->mcusPerRow);
}

int32_t BRIMJ_GetMcuHeight(DecInfo *session) {
    return session && session->retainedJpegInfo ? session->retainedJpegInfo->mcuHeight : -1;
}

}  // extern "C"
