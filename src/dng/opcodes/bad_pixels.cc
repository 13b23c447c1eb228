#include "dng/opcodes/bad_pixels.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <type_traits>

#include "dng/opcodes/area_spec.h"

using vorel::DngPoint;
using vorel::DngRect;
using vorel::SiteKind;

namespace {

constexpr int32_t kNear = 2, kFar = 4;

// The other samples of a site's colour, one of each pair across it, by their distance: those within kNear rows and
// columns, then the others within kFar.
struct Pairs {
    int32_t count = 0, near = 0;
    struct {
        int32_t v, h;
        int32_t distance() const { return v * v + h * h; }
    } at[40] = {};
};

constexpr bool has_colour(SiteKind kind, int32_t v, int32_t h) {
    return kind == SiteKind::kAll || (kind == SiteKind::kGreen ? (v + h) % 2 == 0 : v % 2 == 0 && h % 2 == 0);
}

constexpr Pairs make_pairs(SiteKind kind) {
    Pairs pairs;
    for (const bool far : {false, true}) {
        for (int32_t distance = 1; distance <= 2 * kFar * kFar; ++distance) {
            for (int32_t v = 0; v <= kFar; ++v) {
                for (int32_t h = v == 0 ? 1 : -kFar; h <= kFar; ++h) {
                    const bool is_far = v > kNear || h > kNear || h < -kNear;
                    if (is_far != far || v * v + h * h != distance || !has_colour(kind, v, h)) continue;
                    pairs.at[pairs.count++] = {v, h};
                }
            }
        }
        if (!far) pairs.near = pairs.count;
    }
    return pairs;
}
constexpr Pairs kPairs[] = {make_pairs(SiteKind::kGreen), make_pairs(SiteKind::kOther), make_pairs(SiteKind::kAll)};

template <typename Sample>
struct Sum {
    std::conditional_t<std::is_integral_v<Sample>, uint64_t, double> total = 0;
    uint32_t count = 0;

    void add(Sample sample) {
        total += sample;
        ++count;
    }
    Sample mean() const {
        if constexpr (std::is_integral_v<Sample>) {
            return static_cast<Sample>((total + count / 2) / count);
        } else {
            return static_cast<Sample>(total / count);
        }
    }
};

// The mean for the sample at a point. good(row, column): whether there is one that may be read.
template <typename Sample, typename IsGood>
Sample mean_of_good(const VorelDngPixelBuffer &buffer, SiteKind kind, const DngPoint &point, uint32_t plane,
                    int32_t reach, const IsGood &good) {
    const Pairs &pairs = kPairs[static_cast<size_t>(kind)];
    const auto sample = [&](int32_t v, int32_t h) { return *buffer.at<Sample>(point.v + v, point.h + h, plane); };
    for (const bool far : {false, true}) {
        if (far && reach < kFar) break;
        const int32_t end = far ? pairs.count : pairs.near;
        Sum<Sample> nearest;  // of those that are nearest, in pairs or not
        int32_t nearest_distance = 0;
        for (int32_t i = far ? pairs.near : 0; i < end;) {
            Sum<Sample> whole;
            const int32_t distance = pairs.at[i].distance();
            for (; i < end && pairs.at[i].distance() == distance; ++i) {
                const auto &at = pairs.at[i];
                const bool behind = good(point.v + at.v, point.h + at.h),
                           in_front = good(point.v - at.v, point.h - at.h);
                if (!behind && !in_front) continue;
                if (behind && in_front) {
                    whole.add(sample(at.v, at.h));
                    whole.add(sample(-at.v, -at.h));
                }
                if (nearest.count > 0 && nearest_distance != distance) continue;
                nearest_distance = distance;
                if (behind) nearest.add(sample(at.v, at.h));
                if (in_front) nearest.add(sample(-at.v, -at.h));
            }
            if (whole.count > 0) return whole.mean();
        }
        if (nearest.count > 0) return nearest.mean();
    }
    return sample(0, 0);
}

// work(sample type) for samples of any type.
template <typename Work>
void with_any_samples(const VorelDngPixelBuffer &buffer, const Work &work) {
    switch (buffer.pixelType) {
        case kPixelByte:
            return work(uint8_t{});
        case kPixelShort:
            return work(uint16_t{});
        case kPixelLong:
            return work(uint32_t{});
        case kPixelFloat:
            return work(float{});
        default:
            return;
    }
}

// Planes are colours: there is no mosaic in an image of several.
SiteKind kind_at(const VorelDngPixelBuffer &buffer, uint32_t bayer_phase, const DngPoint &point,
                 const DngPoint &offset) {
    return buffer.planes == 1 ? vorel::site_kind(bayer_phase, point.v + offset.v, point.h + offset.h) : SiteKind::kAll;
}

void copy_samples(const VorelDngImage &src, VorelDngImage &dst) {
    const DngRect &bounds = src.getBounds();
    const size_t bytes = size_t{bounds.width()} * src.planes() * src.buffer().pixelSize;
    for (int32_t row = bounds.top; row < bounds.bottom; ++row) {
        with_any_samples(src.buffer(), [&](auto kind) {
            using Sample = decltype(kind);
            std::memcpy(dst.at<Sample>(row, bounds.left), src.at<Sample>(row, bounds.left), bytes);
        });
    }
}

}  // namespace

VorelDngOpcodeFixBadPixelsConstant::VorelDngOpcodeFixBadPixelsConstant(VorelDngStream &stream)
    : VorelDngFilterOpcode(4, stream) {
    VorelDngStream body = takeBody(stream);
    constant_ = body.get_QMUINT32();
    bayerPhase_ = body.get_QMUINT32();
    setUsable(!body.failed());
}

template <typename Sample>
void VorelDngOpcodeFixBadPixelsConstant::FixIsolatedPixel(const VorelDngPixelBuffer &buffer, const DngPoint &point,
                                                          uint32_t plane, const VorelDngPixelBuffer &spoilt) const {
    const SiteKind kind = kind_at(buffer, bayerPhase_, point, frame().offset);
    *buffer.at<Sample>(point.v, point.h, plane) =
        mean_of_good<Sample>(spoilt, kind, point, plane, kFar, [&](int32_t row, int32_t column) {
            return spoilt.area.contains(row, column) && !isBad(*spoilt.at<Sample>(row, column, plane));
        });
}

void VorelDngOpcodeFixBadPixelsConstant::processArea(vorel::DevelopContext &decoder, const VorelDngImage &src,
                                                     VorelDngImage &dst, const DngRect &area) {
    copy_samples(src, dst);
    with_any_samples(src.buffer(), [&](auto type) {
        using Sample = decltype(type);
        for (int32_t row = area.top; row < area.bottom && !decoder.cancelled(); ++row) {
            for (int32_t column = area.left; column < area.right; ++column) {
                for (uint32_t plane = 0; plane < src.planes(); ++plane) {
                    if (!isBad(*src.at<Sample>(row, column, plane))) continue;
                    FixIsolatedPixel<Sample>(dst.buffer(), {row, column}, plane, src.buffer());
                }
            }
        }
    });
}

VorelDngOpcodeFixBadPixelList::VorelDngOpcodeFixBadPixelList(VorelDngStream &stream) : VorelDngFilterOpcode(5, stream) {
    VorelDngStream body = takeBody(stream);
    bayerPhase_ = body.get_QMUINT32();
    const uint64_t points = body.get_QMUINT32(), rects = body.get_QMUINT32();
    setUsable(!body.failed() && body.holds(body.getPosition(), points * 8 + rects * 16));
    if (!body.holds(body.getPosition(), points * 8 + rects * 16)) return;
    for (uint64_t i = 0; i < points; ++i) list_.addPoint(vorel::read_point(body));
    for (uint64_t i = 0; i < rects; ++i) list_.addRect(vorel::read_rect(body));
    list_.sort();
}

// A byte a sample: looking up the list for each neighbour would take long lists their time.
struct VorelDngOpcodeFixBadPixelList::Defects {
    enum State : uint8_t { kGood, kBad, kFixed };

    Defects(const vorel::DevelopContext &context, const DngRect &image)
        : decoder(context),
          bounds(image),
          states(size_t{image.height()} * image.width(), kGood),
          rect_samples(uint64_t{4} * states.size()) {}

    uint8_t &at(int32_t row, int32_t column) {
        return states[static_cast<size_t>(row - bounds.top) * bounds.width() +
                      static_cast<size_t>(column - bounds.left)];
    }
    bool good(int32_t row, int32_t column) { return bounds.contains(row, column) && at(row, column) == kGood; }
    void mark(const DngRect &rect) {
        for (int32_t row = rect.top; row < rect.bottom; ++row) std::memset(&at(row, rect.left), kBad, rect.width());
    }
    // Rectangles that lie over one another may be many times the image: what is left of the list then is not there.
    bool affords(const DngRect &rect) {
        const uint64_t samples = uint64_t{rect.height()} * rect.width();
        if (samples > rect_samples) return false;
        rect_samples -= samples;
        return true;
    }

    const vorel::DevelopContext &decoder;
    DngRect bounds;
    std::vector<uint8_t> states;
    uint64_t rect_samples;
};

template <typename IsGood>
void VorelDngOpcodeFixBadPixelList::fix(const VorelDngPixelBuffer &buffer, const DngPoint &point, int32_t reach,
                                        const IsGood &good) const {
    const SiteKind kind = kind_at(buffer, bayerPhase_, point, frame().offset);
    with_any_samples(buffer, [&](auto type) {
        using Sample = decltype(type);
        for (uint32_t plane = 0; plane < buffer.planes; ++plane) {
            *buffer.at<Sample>(point.v, point.h, plane) = mean_of_good<Sample>(buffer, kind, point, plane, reach, good);
        }
    });
}

void VorelDngOpcodeFixBadPixelList::FixIsolatedPixel(const VorelDngPixelBuffer &buffer, const DngPoint &point) const {
    fix(buffer, point, kNear, [&](int32_t row, int32_t column) { return buffer.area.contains(row, column); });
}

void VorelDngOpcodeFixBadPixelList::FixClusteredPixel(const VorelDngPixelBuffer &buffer, const DngPoint &point,
                                                      Defects &defects) const {
    if (defects.at(point.v, point.h) == Defects::kFixed) return;
    fix(buffer, point, kFar, [&](int32_t row, int32_t column) { return defects.good(row, column); });
    defects.at(point.v, point.h) = Defects::kFixed;
}

void VorelDngOpcodeFixBadPixelList::FixSingleRow(const VorelDngPixelBuffer &buffer, const DngRect &badRect,
                                                 Defects &defects) const {
    if (defects.decoder.cancelled()) return;
    for (int32_t column = badRect.left; column < badRect.right; ++column) {
        FixClusteredPixel(buffer, {badRect.top, column}, defects);
    }
}

void VorelDngOpcodeFixBadPixelList::FixSingleColumn(const VorelDngPixelBuffer &buffer, const DngRect &badRect,
                                                    Defects &defects) const {
    for (int32_t row = badRect.top; row < badRect.bottom; ++row) {
        FixClusteredPixel(buffer, {row, badRect.left}, defects);
    }
}

void VorelDngOpcodeFixBadPixelList::FixClusteredRect(const VorelDngPixelBuffer &buffer, const DngRect &badRect,
                                                     Defects &defects) const {
    for (int32_t row = badRect.top; row < badRect.bottom; ++row) {
        FixSingleRow(buffer, {row, badRect.left, row + 1, badRect.right}, defects);
    }
}

void VorelDngOpcodeFixBadPixelList::processArea(vorel::DevelopContext &decoder, const VorelDngImage &src,
                                                VorelDngImage &dst, const DngRect &area) {
    constexpr uint64_t kMostComparisons = uint64_t{1} << 26;
    copy_samples(src, dst);
    const DngRect bounds = vorel::intersection(area, dst.getBounds());
    const DngRect place = toFrame(bounds);
    const DngPoint offset = frame().offset;
    Defects defects(decoder, bounds);
    std::vector<DngRect> rects;
    for (const DngRect &rect : list_.rects()) {
        const DngRect listed = vorel::intersection(rect, place);
        const DngRect inside = {listed.top - offset.v, listed.left - offset.h, listed.bottom - offset.v,
                                listed.right - offset.h};
        if (inside.empty() || !defects.affords(inside)) continue;
        defects.mark(inside);
        rects.push_back(inside);
    }
    for (const DngPoint &point : list_.points()) {
        if (place.contains(point.v, point.h)) defects.at(point.v - offset.v, point.h - offset.h) = Defects::kBad;
    }

    const VorelDngPixelBuffer &buffer = dst.buffer();
    for (const DngRect &rect : rects) {
        if (rect.height() == 1) {
            FixSingleRow(buffer, rect, defects);
        } else if (rect.width() == 1) {
            FixSingleColumn(buffer, rect, defects);
        } else {
            FixClusteredRect(buffer, rect, defects);
        }
    }
    const bool few = uint64_t{list_.points().size()} * list_.rects().size() <= kMostComparisons;
    for (size_t i = 0; i < list_.points().size(); ++i) {
        const DngPoint &listed = list_.points()[i];
        if (i % 4096 == 0 && decoder.cancelled()) return;
        if (!place.contains(listed.v, listed.h)) continue;
        const DngPoint point = {listed.v - offset.v, listed.h - offset.h};
        if (few && list_.isPointIsolated(static_cast<uint32_t>(i), kNear)) {
            FixIsolatedPixel(buffer, point);
        } else {
            FixClusteredPixel(buffer, point, defects);
        }
    }
}
