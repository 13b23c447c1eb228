#include "dng/opcodes/bad_pixels.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <type_traits>

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

// The mean for the sample at (row, column). good(row, column): whether there is one that may be read.
template <typename Sample, typename IsGood>
Sample mean_of_good(const VorelDngImage &image, SiteKind kind, int32_t row, int32_t column, uint32_t plane,
                    int32_t reach, const IsGood &good) {
    const Pairs &pairs = kPairs[static_cast<size_t>(kind)];
    const auto sample = [&](int32_t v, int32_t h) { return *image.at<Sample>(row + v, column + h, plane); };
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
                const bool behind = good(row + at.v, column + at.h), in_front = good(row - at.v, column - at.h);
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

// work(sample type) for images of any type.
template <typename Work>
void with_any_samples(const VorelDngImage &image, const Work &work) {
    switch (image.getPixelType()) {
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
uint32_t phase_of(const VorelDngImage &image, uint32_t bayer_phase) { return image.planes() == 1 ? bayer_phase : 4; }

void copy_samples(const VorelDngImage &src, VorelDngImage &dst) {
    const DngRect &bounds = src.getBounds();
    const size_t bytes = size_t{bounds.width()} * src.planes() * src.buffer().pixelSize;
    for (int32_t row = bounds.top; row < bounds.bottom; ++row) {
        with_any_samples(src, [&](auto kind) {
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

void VorelDngOpcodeFixBadPixelsConstant::processArea(vorel::DevelopContext &decoder, const VorelDngImage &src,
                                                     VorelDngImage &dst, const DngRect &area) {
    copy_samples(src, dst);
    const DngPoint offset = frame().offset;
    const uint32_t phase = phase_of(src, bayerPhase_);
    with_any_samples(src, [&](auto type) {
        using Sample = decltype(type);
        for (int32_t row = area.top; row < area.bottom; ++row) {
            if (decoder.cancelled()) return;
            for (int32_t column = area.left; column < area.right; ++column) {
                for (uint32_t plane = 0; plane < src.planes(); ++plane) {
                    const auto is_bad = [&](int32_t v, int32_t h) {
                        return *src.at<Sample>(v, h, plane) == static_cast<Sample>(constant_);
                    };
                    if (!is_bad(row, column)) continue;
                    const SiteKind kind = vorel::site_kind(phase, row + offset.v, column + offset.h);
                    *dst.at<Sample>(row, column, plane) = mean_of_good<Sample>(
                        src, kind, row, column, plane, kFar,
                        [&](int32_t v, int32_t h) { return src.getBounds().contains(v, h) && !is_bad(v, h); });
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
    const auto number = [&] { return static_cast<int32_t>(std::min<uint32_t>(body.get_QMUINT32(), INT32_MAX)); };
    for (uint64_t i = 0; i < points; ++i) {
        const int32_t row = number();
        list_.addPoint({row, number()});
    }
    for (uint64_t i = 0; i < rects; ++i) {
        const int32_t top = number(), left = number(), bottom = number();
        list_.addRect({top, left, bottom, number()});
    }
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
void VorelDngOpcodeFixBadPixelList::fix(VorelDngImage &image, const DngPoint &point, int32_t reach,
                                        const IsGood &good) const {
    const DngPoint offset = frame().offset;
    const SiteKind kind = vorel::site_kind(phase_of(image, bayerPhase_), point.v + offset.v, point.h + offset.h);
    with_any_samples(image, [&](auto type) {
        using Sample = decltype(type);
        for (uint32_t plane = 0; plane < image.planes(); ++plane) {
            *image.at<Sample>(point.v, point.h, plane) =
                mean_of_good<Sample>(image, kind, point.v, point.h, plane, reach, good);
        }
    });
}

void VorelDngOpcodeFixBadPixelList::FixIsolatedPixel(VorelDngImage &image, const DngPoint &point) const {
    fix(image, point, kNear, [&](int32_t row, int32_t column) { return image.getBounds().contains(row, column); });
}

void VorelDngOpcodeFixBadPixelList::FixClusteredPixel(VorelDngImage &image, const DngPoint &point,
                                                      Defects &defects) const {
    if (defects.at(point.v, point.h) == Defects::kFixed) return;
    fix(image, point, kFar, [&](int32_t row, int32_t column) { return defects.good(row, column); });
    defects.at(point.v, point.h) = Defects::kFixed;
}

void VorelDngOpcodeFixBadPixelList::FixClusteredRect(VorelDngImage &image, const DngRect &badRect,
                                                     Defects &defects) const {
    for (int32_t row = badRect.top; row < badRect.bottom && !defects.decoder.cancelled(); ++row) {
        for (int32_t column = badRect.left; column < badRect.right; ++column) {
            FixClusteredPixel(image, {row, column}, defects);
        }
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

    for (const DngRect &rect : rects) FixClusteredRect(dst, rect, defects);
    const bool few = uint64_t{list_.points().size()} * list_.rects().size() <= kMostComparisons;
    for (size_t i = 0; i < list_.points().size(); ++i) {
        const DngPoint &listed = list_.points()[i];
        if (i % 4096 == 0 && decoder.cancelled()) return;
        if (!place.contains(listed.v, listed.h)) continue;
        const DngPoint point = {listed.v - offset.v, listed.h - offset.h};
        if (few && list_.isPointIsolated(static_cast<uint32_t>(i), kNear)) {
            FixIsolatedPixel(dst, point);
        } else {
            FixClusteredPixel(dst, point, defects);
        }
    }
}
