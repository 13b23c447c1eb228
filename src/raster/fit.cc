#include "raster/fit.h"

#include <utility>

#include "core/core.h"

namespace vorel {
namespace {

struct Size {
    int64_t width, height;
};

// The largest of the picture's shape within the target; its own size where that is smaller.
Size fit_inside(Size picture, Size target) {
    if (target.width >= picture.width && target.height >= picture.height) return picture;
    const Size by_width = {target.width, picture.height * target.width / picture.width};
    const Size by_height = {picture.width * target.height / picture.height, target.height};
    if (target.width < picture.width) return target.height < by_width.height ? by_height : by_width;
    return by_height;
}

}  // namespace

PictureFit fit_picture(int32_t width, int32_t height, int32_t target_width, int32_t target_height, uint32_t options) {
    PictureFit fit = {};
    fit.rotation = quarter_turns(options) * 90;
    fit.buffer_width = target_width;
    if (width <= 0 || height <= 0 || target_width <= 0 || target_height <= 0) return fit;

    // The target as the picture sees it before it is turned.
    const Size picture = {width, height};
    Size target = {target_width, target_height};
    if (fit.sideways()) std::swap(target.width, target.height);
    const Size out = (options & kFitMask) == VOREL_OPTION_FIT_STRETCH ? target : fit_inside(picture, target);
    fit.one_to_one = out.width == width && out.height == height;
    fit.width = static_cast<int32_t>(out.width);
    fit.height = static_cast<int32_t>(out.height);

    int64_t left = (target.width - out.width) >> 1, top = (target.height - out.height) >> 1;
    if ((options & kFitMask) == VOREL_OPTION_FIT_PACKED) {
        fit.buffer_width = fit.sideways() ? fit.height : fit.width;
        left = top = 0;
    }
    if (fit.sideways()) std::swap(left, top);
    const TurnedRows rows = turned_rows(options, fit.buffer_width, left, top, out.width, out.height);
    fit.origin = rows.origin;
    fit.row_step = rows.row_step;
    fit.pixel_step = rows.pixel_step;
    return fit;
}

}  // namespace vorel
