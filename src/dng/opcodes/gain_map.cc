#include "dng/opcodes/gain_map.h"

#include <vorel/dng_samples.h>

#include <algorithm>

#include "core/core.h"
#include "dng/opcodes/sample_range.h"

using vorel::DngPoint;
using vorel::DngRect;

namespace {

void log_error(const char *message) { vorel::log_print()(vorel::kLogError, "Dng gain map", message); }

}  // namespace

VorelDngGainMap *VorelDngGainMap::getStream(VorelDngStream &stream, uint32_t byteCount) {
    constexpr uint32_t kHead = 3 * sizeof(uint32_t) + 4 * sizeof(double);
    auto map = std::make_unique<VorelDngGainMap>();
    const uint32_t rows = stream.get_QMUINT32(), columns = stream.get_QMUINT32();
    map->spacingV = stream.get_QMDOUBLE();
    map->spacingH = stream.get_QMDOUBLE();
    map->originV = stream.get_QMDOUBLE();
    map->originH = stream.get_QMDOUBLE();
    map->planes_ = stream.get_QMUINT32();
    // So many gains there can be at most; no product of two numbers below it overflows.
    const uint64_t most = byteCount < kHead ? 0 : (byteCount - kHead) / sizeof(float);
    const uint64_t points = rows <= most && columns <= most ? uint64_t{rows} * columns : most + 1;
    const uint64_t gains = points <= most && map->planes_ <= most ? points * map->planes_ : most + 1;
    if (stream.failed() || gains > most || map->planes_ == 0 ||
        !stream.holds(stream.getPosition(), gains * sizeof(float))) {
        log_error("getStream error");
        return nullptr;
    }
    map->points_ = {static_cast<int32_t>(rows), static_cast<int32_t>(columns)};
    map->gains_.resize(gains);
    for (float &gain : map->gains_) gain = stream.get_QMFLOAT();
    return map.release();
}

VorelDngGainMapInterpolator::VorelDngGainMapInterpolator(const VorelDngGainMap &map, const DngPoint &imageSize,
                                                         int32_t first, uint32_t count, int32_t pitch)
    : map_(map), size_(imageSize) {
    const DngPoint &points = map.getPoints();
    for (uint32_t i = 0; i < count; ++i) {
        const double column = first + static_cast<double>(i) * pitch;
        columns_.push_back(place((column / size_.h - map.originH) / map.spacingH, points.h));
    }
    row_.resize(static_cast<size_t>(points.h));
    slopes_.resize(static_cast<size_t>(points.h));
}

VorelDngGainMapInterpolator::Place VorelDngGainMapInterpolator::place(double position, int32_t points) {
    // Spacings of 0 and what is no number end here as well.
    if (!(position > 0)) return {};
    const int32_t last = points - 1;
    if (!(position < last)) return {static_cast<uint32_t>(last), 0};
    const uint32_t index = static_cast<uint32_t>(position);
    return {index, static_cast<float>(position - index)};
}

void VorelDngGainMapInterpolator::setRow(int32_t row, uint32_t plane) {
    const DngPoint &points = map_.getPoints();
    const Place at = place((static_cast<double>(row) / size_.v - map_.originV) / map_.spacingV, points.v);
    const int32_t upper = static_cast<int32_t>(at.index), lower = std::min(upper + 1, points.v - 1);
    for (int32_t i = 0; i < points.h; ++i) {
        const float gain = map_.gain(upper, i, plane);
        row_[static_cast<size_t>(i)] = gain + (map_.gain(lower, i, plane) - gain) * at.fraction;
    }
    for (size_t i = 0; i + 1 < row_.size(); ++i) slopes_[i] = row_[i + 1] - row_[i];
    ResetColumn();
}

VorelDngOpcodeGainMap::VorelDngOpcodeGainMap(VorelDngStream &stream) : VorelDngInplaceOpcode(9, stream) {
    uint32_t count = 0;
    VorelDngStream body = takeBody(stream, &count);
    spec_.getStream(body);
    const uint64_t start = std::min<uint64_t>(body.getPosition(), body.length());
    map_.reset(VorelDngGainMap::getStream(body, static_cast<uint32_t>(body.length() - start)));
    if (map_ && body.getPosition() != count) log_error("VorelDngOpcodeGainMap error");
    setUsable(map_ != nullptr);
}

void VorelDngOpcodeGainMap::doPrepare(vorel::DevelopContext &, const DngRect &, uint32_t, uint32_t) {
    if (!map_) return;
    const DngPoint &points = map_->getPoints();
    if (points.v < 1) log_error("(fMap.getPoints().v < 1) error");
    if (points.h < 1) log_error("(fMap.getPoints().h < 1) error");
    hasPoints_ = points.v > 0 && points.h > 0;
}

void VorelDngOpcodeGainMap::processArea(vorel::DevelopContext &, VorelDngImage &image, const DngRect &area) {
    const vorel::SampleGrid grid = spec_.within(image, area, frame().offset);
    if (grid.empty() || !hasPoints_) return;
    const DngRect &whole = wholeBounds();
    const uint32_t columns = grid.columns();
    VorelDngGainMapInterpolator gains(*map_, whole.size(), grid.area.left - whole.left, columns, grid.columnPitch);
    std::vector<float> row(columns);
    const auto gained = [&](float sample) {
        const float gain = gains.interpolate();
        gains.increment();
        return vorel::SampleRange<float>::clamped(sample * gain);
    };
    for (uint32_t i = 0; i < grid.rows(); ++i) {
        for (uint32_t plane = 0; plane < grid.planes; ++plane) {
            gains.setRow(grid.row(i) - whole.top, std::min(plane, map_->planes() - 1));
            const int32_t step = grid.columnStep(image);
            if (image.getPixelType() == kPixelShort) {
                uint16_t *const samples = grid.at<uint16_t>(image, i, grid.plane + plane);
                DoCopyArea16_R32(samples, row.data(), 1, columns, 1, 0, step, 1, 0, 1, 1, 0xFFFF);
                for (float &sample : row) sample = gained(sample);
                DoCopyAreaR32_16(row.data(), samples, 1, columns, 1, 0, 1, 1, 0, step, 1, 0xFFFF);
            } else if (image.isFloat()) {
                float *const samples = grid.at<float>(image, i, grid.plane + plane);
                for (ptrdiff_t x = 0; x < columns; ++x) samples[x * step] = gained(samples[x * step]);
            }
        }
    }
}
