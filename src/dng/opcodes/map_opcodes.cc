#include "dng/opcodes/map_opcodes.h"

#include <vorel/dng_samples.h>

#include <algorithm>

#include "dng/opcodes/sample_range.h"

using vorel::DngRect;
using vorel::SampleGrid;
using vorel::SampleRange;

namespace {

// The count in front of a list, if the body has that many values of size bytes.
uint32_t read_count(VorelDngStream &body, uint32_t size) {
    const uint32_t count = body.get_QMUINT32();
    return body.holds(body.getPosition(), uint64_t{count} * size) ? count : 0;
}

}  // namespace

VorelDngOpcodeMapTable::VorelDngOpcodeMapTable(VorelDngStream &stream) : VorelDngInplaceOpcode(7, stream) {
    VorelDngStream body = takeBody(stream);
    spec_.getStream(body);
    entries_.resize(std::min<uint32_t>(read_count(body, sizeof(uint16_t)), 0x10000));
    for (uint16_t &entry : entries_) entry = body.get_QMUINT16();
    setUsable(!body.failed());
}

void VorelDngOpcodeMapTable::doPrepare(vorel::DevelopContext &, const DngRect &, uint32_t, uint32_t) {
    if (entries_.empty()) return;
    table_ = entries_;
    table_.resize(0x10000, entries_.back());
}

void VorelDngOpcodeMapTable::processArea(vorel::DevelopContext &, VorelDngImage &image, const DngRect &area) {
    const SampleGrid grid = spec_.within(image, area, frame().offset);
    if (grid.empty() || table_.empty() || image.getPixelType() != kPixelShort) return;
    doMapArea16(grid.at<uint16_t>(image, 0, grid.plane), grid.rows(), grid.columns(), grid.planes, grid.rowStep(image),
                grid.columnStep(image), image.buffer().planeStep, table_.data());
}

VorelDngOpcodeMapPolynomial::VorelDngOpcodeMapPolynomial(VorelDngStream &stream) : VorelDngInplaceOpcode(8, stream) {
    VorelDngStream body = takeBody(stream);
    spec_.getStream(body);
    degree_ = body.get_QMUINT32();
    for (uint32_t i = 0; i <= std::min(degree_, kMostDegree); ++i) coefficients_[i] = body.get_QMDOUBLE();
    setUsable(!body.failed() && degree_ <= kMostDegree);
}

void VorelDngOpcodeMapPolynomial::processArea(vorel::DevelopContext &, VorelDngImage &image, const DngRect &area) {
    const SampleGrid grid = spec_.within(image, area, frame().offset);
    if (grid.empty()) return;
    const auto map = [&](auto *samples, auto function) {
        function(samples, grid.rows(), grid.columns(), grid.planes, grid.rowStep(image), grid.columnStep(image),
                 image.buffer().planeStep, coefficients_, degree_);
    };
    if (image.getPixelType() == kPixelShort) map(grid.at<uint16_t>(image, 0, grid.plane), doMapPoly16);
    if (image.isFloat()) map(grid.at<float>(image, 0, grid.plane), doMapPoly32);
}

namespace vorel {

NumbersOfAnArea::NumbersOfAnArea(uint32_t opcodeId, VorelDngStream &stream) : VorelDngInplaceOpcode(opcodeId, stream) {
    VorelDngStream body = takeBody(stream);
    spec_.getStream(body);
    numbers_.resize(read_count(body, sizeof(float)));
    for (float &number : numbers_) number = body.get_QMFLOAT();
    setUsable(!body.failed());
}

namespace {

// sample = change(sample, number) for what has a number.
template <bool kRows, typename Change>
void change_samples(const VorelDngAreaSpec &spec, const std::vector<float> &numbers, VorelDngImage &image,
                    const DngRect &area, const DngPoint &offset, const Change &change) {
    const SampleGrid grid = spec.within(image, area, offset);
    if (grid.empty()) return;
    // Of the area's first row and column that this part has.
    const uint32_t first = kRows ? static_cast<uint32_t>(grid.area.top - spec.area.top) / spec.rowPitch
                                 : static_cast<uint32_t>(grid.area.left - spec.area.left) / spec.colPitch;
    if (first >= numbers.size()) return;
    const uint32_t most = static_cast<uint32_t>(std::min<size_t>(numbers.size() - first, UINT32_MAX));
    const uint32_t rows = kRows ? std::min(grid.rows(), most) : grid.rows();
    const uint32_t columns = kRows ? grid.columns() : std::min(grid.columns(), most);
    const float *const values = numbers.data() + first;
    with_samples(image, [&](auto kind) {
        using Sample = decltype(kind);
        const ptrdiff_t step = grid.columnStep(image);
        for (uint32_t row = 0; row < rows; ++row) {
            for (uint32_t plane = grid.plane; plane < grid.plane + grid.planes; ++plane) {
                Sample *const samples = grid.at<Sample>(image, row, plane);
                for (uint32_t column = 0; column < columns; ++column) {
                    Sample &sample = samples[step * column];
                    sample = SampleRange<Sample>::clamped(
                        change(static_cast<float>(sample), values[kRows ? row : column], SampleRange<Sample>::kMost));
                }
            }
        }
    });
}

float plus(float sample, float delta, float range) { return sample + delta * range; }
float times(float sample, float scale, float) { return sample * scale; }

}  // namespace
}  // namespace vorel

void VorelDngOpcodeDeltaPerRow::processArea(vorel::DevelopContext &, VorelDngImage &image, const DngRect &area) {
    vorel::change_samples<true>(spec_, numbers_, image, area, frame().offset, vorel::plus);
}
void VorelDngOpcodeDeltaPerColumn::processArea(vorel::DevelopContext &, VorelDngImage &image, const DngRect &area) {
    vorel::change_samples<false>(spec_, numbers_, image, area, frame().offset, vorel::plus);
}
void VorelDngOpcodeScalePerRow::processArea(vorel::DevelopContext &, VorelDngImage &image, const DngRect &area) {
    vorel::change_samples<true>(spec_, numbers_, image, area, frame().offset, vorel::times);
}
void VorelDngOpcodeScalePerColumn::processArea(vorel::DevelopContext &, VorelDngImage &image, const DngRect &area) {
    vorel::change_samples<false>(spec_, numbers_, image, area, frame().offset, vorel::times);
}
