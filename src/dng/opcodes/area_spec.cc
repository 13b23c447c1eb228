#include "dng/opcodes/area_spec.h"

#include <algorithm>

namespace vorel {
namespace {

int32_t read_number(VorelDngStream &stream) {
    return static_cast<int32_t>(std::min<uint32_t>(stream.get_QMUINT32(), INT32_MAX));
}

// The first number of first, first + pitch, ... that is not below start.
int64_t on_grid(int32_t first, int32_t start, uint32_t pitch) {
    const int64_t before = std::max<int64_t>(int64_t{start} - first, 0);
    return first + (before + pitch - 1) / pitch * pitch;
}

// Two samples of the image's side are never farther apart than that.
int32_t step_of(uint32_t pitch, uint32_t side) { return static_cast<int32_t>(std::clamp<uint32_t>(side, 1, pitch)); }

}  // namespace

// The order in which initialisers in braces are evaluated is that in which they stand.
DngPoint read_point(VorelDngStream &stream) { return {read_number(stream), read_number(stream)}; }
DngRect read_rect(VorelDngStream &stream) {
    return {read_number(stream), read_number(stream), read_number(stream), read_number(stream)};
}

}  // namespace vorel

void VorelDngAreaSpec::getStream(VorelDngStream &stream) {
    area = vorel::read_rect(stream);
    plane = stream.get_QMUINT32();
    planes = stream.get_QMUINT32();
    rowPitch = std::max(std::min(stream.get_QMUINT32(), area.height()), 1U);
    colPitch = std::max(std::min(stream.get_QMUINT32(), area.width()), 1U);
}

vorel::SampleGrid VorelDngAreaSpec::within(const VorelDngImage &image, const vorel::DngRect &rect,
                                           const vorel::DngPoint &offset) const {
    vorel::SampleGrid grid;
    const vorel::DngRect inside = vorel::intersection(
        area, {rect.top + offset.v, rect.left + offset.h, rect.bottom + offset.v, rect.right + offset.h});
    const int64_t top = vorel::on_grid(area.top, inside.top, rowPitch);
    const int64_t left = vorel::on_grid(area.left, inside.left, colPitch);
    if (inside.empty() || top >= inside.bottom || left >= inside.right || plane >= image.planes()) return grid;
    grid.area = {static_cast<int32_t>(top), static_cast<int32_t>(left), inside.bottom, inside.right};
    grid.rowPitch = vorel::step_of(rowPitch, inside.height());
    grid.columnPitch = vorel::step_of(colPitch, inside.width());
    grid.plane = plane;
    grid.planes = std::min(planes, image.planes() - plane);
    grid.offset = offset;
    return grid;
}
