// Which defects of a list lie near one another.
#include <algorithm>

#include "dng/opcodes/bad_pixels.h"

using vorel::DngPoint;
using vorel::DngRect;

namespace {

int32_t clamped(int64_t value) { return static_cast<int32_t>(std::clamp<int64_t>(value, INT32_MIN, INT32_MAX)); }

DngRect grown(const DngRect &rect, uint32_t radius) {
    return {clamped(int64_t{rect.top} - radius), clamped(int64_t{rect.left} - radius),
            clamped(int64_t{rect.bottom} + radius), clamped(int64_t{rect.right} + radius)};
}

DngRect around(const DngPoint &point, uint32_t radius) {
    return grown({point.v, point.h, clamped(int64_t{point.v} + 1), clamped(int64_t{point.h} + 1)}, radius);
}

bool before(const DngPoint &a, const DngPoint &b) { return a.v != b.v ? a.v < b.v : a.h < b.h; }

}  // namespace

void VorelDngBadPixelList::sort() {
    std::sort(points_.begin(), points_.end(), before);
    std::sort(rects_.begin(), rects_.end(), [](const DngRect &a, const DngRect &b) {
        return before({a.top, a.left}, {b.top, b.left});
    });
}

bool VorelDngBadPixelList::any_point(const DngRect &rect, uint32_t but) const {
    for (int32_t row = rect.top; row < rect.bottom; ++row) {
        auto point = std::lower_bound(points_.begin(), points_.end(), DngPoint{row, rect.left}, before);
        for (; point != points_.end() && point->v == row && point->h < rect.right; ++point) {
            if (point - points_.begin() != but) return true;
        }
    }
    return false;
}

bool VorelDngBadPixelList::any_rect(const DngRect &rect, uint32_t but) const {
    for (size_t i = 0; i < rects_.size() && rects_[i].top < rect.bottom; ++i) {
        if (i != but && !vorel::intersection(rects_[i], rect).empty()) return true;
    }
    return false;
}

bool VorelDngBadPixelList::isPointIsolated(uint32_t index, uint32_t radius) const {
    const DngRect near = around(points_[index], radius);
    return !any_point(near, index) && !any_rect(near, UINT32_MAX);
}

bool VorelDngBadPixelList::isRectIsolated(uint32_t index, uint32_t radius) const {
    const DngRect near = grown(rects_[index], radius);
    // Rectangles may have more rows than there are points.
    const auto inside = [&](const DngPoint &point) { return near.contains(point.v, point.h); };
    return std::none_of(points_.begin(), points_.end(), inside) && !any_rect(near, index);
}

bool VorelDngBadPixelList::isPointValid(const DngPoint &point, const DngRect &bounds, uint32_t index) const {
    const DngRect at = around(point, 0);
    return bounds.contains(point.v, point.h) && !any_point(at, index) && !any_rect(at, UINT32_MAX);
}
