#include "dng/image/linearization.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include <vorel/dng_samples.h>

#include "dng/base/quadrants.h"
#include "dng/image/area_copy.h"

using vorel::DevelopContext;
using vorel::DngRect;

namespace {

constexpr double kFullScale = 65535.0 * 256.0;
constexpr uint32_t kWords = 65536;
// Distinct black levels of a pattern that are worth a table each; real files have up to four.
constexpr size_t kMostResults = 8;

// To the nearest; what is not a number becomes 0.
int32_t fixed_point(double value) {
    constexpr double kMost = std::numeric_limits<int32_t>::max();
    value = value < kMost ? value : value > 0 ? kMost : 0;
    value = value > -kMost ? value : -kMost;
    return static_cast<int32_t>(value + (value < 0 ? -0.5 : 0.5));
}

uint16_t linear_word(int32_t code, int32_t black) {
    const int64_t value = (int64_t{code} - black) >> 8;
    return static_cast<uint16_t>(std::clamp<int64_t>(value, 0, kWords - 1));
}

// count values of a TIFF type; fewer when the stream ends.
std::vector<double> read_numbers(VorelDngStream &stream, uint64_t offset, uint32_t type, uint32_t count) {
    std::vector<double> numbers;
    const uint32_t size = TagTypeSize(type);
    if (size == 0 || !stream.holds(offset, uint64_t{count} * size)) return numbers;
    numbers.reserve(count);
    stream.setPosition(offset);
    for (uint32_t i = 0; i < count; ++i) numbers.push_back(stream.getTagValue_QMDOUBLE(type));
    return numbers;
}

double largest(const std::vector<double> &numbers) {
    return numbers.empty() ? 0 : *std::max_element(numbers.begin(), numbers.end());
}

}  // namespace

void VorelDngLinearizationInfo::parse(DevelopContext &, VorelDngStream &stream, const VorelDngIFD &ifd,
                                      const DngRect &activeArea, const DngRect &stated) {
    activeArea_ = activeArea, statedArea_ = stated;
    maskedAreaCount_ = std::min(ifd.maskedAreaCount, 4u);
    std::copy(ifd.maskedArea, ifd.maskedArea + maskedAreaCount_, maskedArea_);
    table_.clear();
    for (const double entry : read_numbers(stream, ifd.linearizationOffset, ifd.linearizationType,
                                           std::min(ifd.linearizationCount, kWords))) {
        table_.push_back(static_cast<uint16_t>(entry));  // of a short
    }
    blackRepeatRows_ = std::clamp(ifd.blackRepeatRows, 1u, 8u);
    blackRepeatColumns_ = std::clamp(ifd.blackRepeatColumns, 1u, 8u);
    std::copy(&ifd.blackLevel[0][0][0], &ifd.blackLevel[0][0][0] + 8 * 8 * 4, &blackLevel_[0][0][0]);
    std::copy(ifd.whiteLevel, ifd.whiteLevel + 4, whiteLevel_);
    // Deltas are of every row and every column, or they are not used.
    if (ifd.blackDeltaVCount == stated.height()) {
        rowDelta_ = read_numbers(stream, ifd.blackDeltaVOffset, ifd.blackDeltaVType, ifd.blackDeltaVCount);
    }
    if (ifd.blackDeltaHCount == stated.width()) {
        columnDelta_ = read_numbers(stream, ifd.blackDeltaHOffset, ifd.blackDeltaHType, ifd.blackDeltaHCount);
    }
    doRoundBlacks(ifd);
    // Packed codes are below 2^bits; what a JPEG holds need not be, and what opcodes make of codes neither.
    const bool packed = ifd.compression == 1 && ifd.bitsPerSample[0] < 16 && ifd.opcodeListLength[0] == 0;
    codes_ = packed ? 1u << ifd.bitsPerSample[0] : kWords;
}

void VorelDngLinearizationInfo::postParse(DevelopContext &) {
    for (uint32_t plane = 0; plane < 4; ++plane) {
        const double range = whiteLevel_[plane] - getMaxBlackLevel(plane);
        // Required: without a range every sample is 0, and nothing is divided.
        scale_[plane] = range > 0 ? 1 / range : 0;
    }
}

// Levels that are no numbers are 0; none is so large that sums with deltas would not be numbers.
void VorelDngLinearizationInfo::doRoundBlacks(const VorelDngIFD &) {
    const auto round = [](double &level) {
        constexpr double kMost = 1099511627776.0;
        level = level > -kMost && level < kMost ? level : 0;
    };
    std::for_each(&blackLevel_[0][0][0], &blackLevel_[0][0][0] + 8 * 8 * 4, round);
    std::for_each(rowDelta_.begin(), rowDelta_.end(), round);
    std::for_each(columnDelta_.begin(), columnDelta_.end(), round);
    std::for_each(whiteLevel_, whiteLevel_ + 4, round);
}

void VorelDngLinearizationInfo::acceptAllCodes() { codes_ = kWords; }

double VorelDngLinearizationInfo::getRowBlack(int32_t row) const {
    return row >= 0 && static_cast<size_t>(row) < rowDelta_.size() ? rowDelta_[static_cast<size_t>(row)] : 0;
}

double VorelDngLinearizationInfo::getColumnBlack(int32_t column) const {
    return column >= 0 && static_cast<size_t>(column) < columnDelta_.size() ? columnDelta_[static_cast<size_t>(column)]
                                                                            : 0;
}

double VorelDngLinearizationInfo::getMaxBlackLevel(uint32_t plane) const {
    double most = blackLevel_[0][0][plane];
    for (uint32_t row = 0; row < blackRepeatRows_; ++row) {
        for (uint32_t column = 0; column < blackRepeatColumns_; ++column) {
            most = std::max(most, blackLevel_[row][column][plane]);
        }
    }
    return most + largest(rowDelta_) + largest(columnDelta_);
}

// Of a position in the destination.
double VorelDngLinearizationInfo::black_at(int32_t row, int32_t column, uint32_t plane) const {
    const int32_t stated_row = row + activeArea_.top - statedArea_.top;
    const int32_t stated_column = column + activeArea_.left - statedArea_.left;
    return blackLevel_[static_cast<uint32_t>(stated_row) % blackRepeatRows_]
                      [static_cast<uint32_t>(stated_column) % blackRepeatColumns_][plane] +
           getRowBlack(stated_row) + getColumnBlack(stated_column);
}

bool VorelDngLinearizationInfo::doLinearize(DevelopContext &decoder, const VorelDngImage &srcImage,
                                            VorelDngImage &dstImage) {
    for (uint32_t plane = 0; plane < srcImage.planes(); ++plane) {
        if (linearizePlane(decoder, srcImage, dstImage, plane)) return false;
    }
    return true;
}

namespace {

struct LinearizeWork {
    VorelDngLinearizationInfo &info;
    DevelopContext &decoder;
    const VorelDngImage &src;
    VorelDngImage &dst;
    uint32_t plane;
};

void linearlizeTask(LinearizeWork &work, const DngRect &area) {
    if (!work.decoder.cancelled()) work.info.performLinearizePlane(work.src, work.dst, work.plane, area);
}

}  // namespace

bool VorelDngLinearizationInfo::linearizePlane(DevelopContext &decoder, const VorelDngImage &src, VorelDngImage &dst,
                                               uint32_t plane) {
    prepareLinearizePlane(decoder, src, dst, plane);
    LinearizeWork work = {*this, decoder, src, dst, plane};
    vorel::run_quadrants(dst.getBounds(), linearlizeTask, work);
    return decoder.cancelled();
}

namespace {

bool takes_floats(const VorelDngImage &src, const VorelDngImage &dst) {
    return dst.isFloat() || src.isFloat() || src.getPixelType() == kPixelLong;
}

}  // namespace

void VorelDngLinearizationInfo::prepareLinearizePlane(DevelopContext &, const VorelDngImage &src,
                                                      const VorelDngImage &dst, uint32_t plane) {
    results_.clear();
    if (takes_floats(src, dst)) return;
    const uint32_t codes = src.getPixelType() == kPixelByte ? 256 : codes_;
    const double unit = scale_[plane] * kFullScale, black = getMaxBlackLevel(plane);
    // From the white level on every code is the whole range, whatever is taken off it.
    const double white = whiteLevel_[plane];
    const bool rises = table_.empty() && unit > 0 && white < codes;
    const uint32_t different = rises ? static_cast<uint32_t>(std::ceil(std::max(white, 0.0))) + 1 : codes;
    const uint32_t last = std::min(different, codes);
    integerTable_.resize(codes);
    for (uint32_t code = 0; code < last; ++code) {
        const uint32_t linear = table_.empty() ? code : table_[std::min<size_t>(code, table_.size() - 1)];
        integerTable_[code] = fixed_point((linear - black) * unit);
    }
    std::fill(integerTable_.begin() + last, integerTable_.end(), integerTable_[last - 1]);
    if (!rowDelta_.empty() || !columnDelta_.empty()) return;
    std::vector<double> levels;
    for (uint32_t row = 0; row < blackRepeatRows_; ++row) {
        for (uint32_t column = 0; column < blackRepeatColumns_; ++column) {
            const double level = blackLevel_[row][column][plane];
            const auto found = std::find(levels.begin(), levels.end(), level);
            resultOf_[row][column] = static_cast<uint8_t>(found - levels.begin());
            if (found == levels.end()) levels.push_back(level);
        }
    }
    if (levels.size() > kMostResults) return;
    for (const double level : levels) {
        const int32_t fixed = fixed_point((level - black) * unit);
        std::vector<uint16_t> &result = results_.emplace_back(codes);
        for (uint32_t code = 0; code < last; ++code) result[code] = linear_word(integerTable_[code], fixed);
        std::fill(result.begin() + last, result.end(), result[last - 1]);
    }
}

void VorelDngLinearizationInfo::performLinearizePlane(const VorelDngImage &src, VorelDngImage &dst, uint32_t plane,
                                                      const DngRect &area) {
    const DngRect &from = src.getBounds(), &active = activeArea_;
    const DngRect there = vorel::intersection(
        area, {from.top - active.top, from.left - active.left, from.bottom - active.top, from.right - active.left});
    if (takes_floats(src, dst)) return linearize_floats(src, dst, plane, there);
    linearize_integers(src, dst, plane, there);
}

namespace {

// One row through the tables of a repeat of columns, of which the first column has number `phase`.
template <typename Code>
void map_row(const Code *in, uint16_t *out, uint32_t count, int32_t step, int32_t out_step,
             const uint16_t *const *tables, uint32_t repeat, uint32_t phase) {
    const uint16_t *const even = tables[phase], *const odd = tables[(phase + 1) % repeat];
    if (repeat > 2) {
        for (uint32_t i = 0; i < count; ++i, in += step, out += out_step) {
            *out = tables[phase][*in];
            phase = phase + 1 == repeat ? 0 : phase + 1;
        }
        return;
    }
    uint32_t i = 0;
    for (; i + 4 <= count; i += 4, in += 4 * ptrdiff_t{step}, out += 4 * ptrdiff_t{out_step}) {
        out[0] = even[in[0]];
        out[out_step] = odd[in[step]];
        out[2 * ptrdiff_t{out_step}] = even[in[2 * ptrdiff_t{step}]];
        out[3 * ptrdiff_t{out_step}] = odd[in[3 * ptrdiff_t{step}]];
    }
    for (; i < count; ++i, in += step, out += out_step) *out = i % 2 ? odd[*in] : even[*in];
}

}  // namespace

void VorelDngLinearizationInfo::linearize_integers(const VorelDngImage &src, VorelDngImage &dst, uint32_t plane,
                                                   const DngRect &area) {
    const bool bytes = src.getPixelType() == kPixelByte;
    const int32_t step = src.buffer().colStep, out_step = dst.buffer().colStep;
    const double unit = scale_[plane] * kFullScale, most = getMaxBlackLevel(plane);
    for (int32_t row = area.top; row < area.bottom; ++row) {
        const int32_t from_row = row + activeArea_.top, from_column = area.left + activeArea_.left;
        uint16_t *out = dst.at<uint16_t>(row, area.left, plane);
        const uint32_t stated_row = static_cast<uint32_t>(from_row - statedArea_.top);
        const uint32_t stated_column = static_cast<uint32_t>(from_column - statedArea_.left);
        if (!results_.empty()) {
            const uint16_t *tables[8] = {};
            for (uint32_t i = 0; i < blackRepeatColumns_; ++i) {
                tables[i] = results_[resultOf_[stated_row % blackRepeatRows_][i]].data();
            }
            const uint32_t phase = stated_column % blackRepeatColumns_;
            if (bytes) {
                map_row(src.at<uint8_t>(from_row, from_column, plane), out, area.width(), step, out_step, tables,
                        blackRepeatColumns_, phase);
            } else {
                map_row(src.at<uint16_t>(from_row, from_column, plane), out, area.width(), step, out_step, tables,
                        blackRepeatColumns_, phase);
            }
            continue;
        }
        for (int32_t column = area.left; column < area.right; ++column, out += out_step) {
            const int32_t at = column + activeArea_.left;
            const uint32_t code =
                bytes ? *src.at<uint8_t>(from_row, at, plane) : *src.at<uint16_t>(from_row, at, plane);
            *out = linear_word(integerTable_[code], fixed_point((black_at(row, column, plane) - most) * unit));
        }
    }
}

void VorelDngLinearizationInfo::linearize_floats(const VorelDngImage &src, VorelDngImage &dst, uint32_t plane,
                                                 const DngRect &area) {
    for (int32_t row = area.top; row < area.bottom; ++row) {
        for (int32_t column = area.left; column < area.right; ++column) {
            const int32_t from_row = row + activeArea_.top, from_column = column + activeArea_.left;
            double code = 0;
            switch (src.getPixelType()) {
                case kPixelByte:
                    code = *src.at<uint8_t>(from_row, from_column, plane);
                    break;
                case kPixelShort:
                    code = *src.at<uint16_t>(from_row, from_column, plane);
                    break;
                case kPixelLong:
                    code = *src.at<uint32_t>(from_row, from_column, plane);
                    break;
                default:
                    code = *src.at<float>(from_row, from_column, plane);
                    break;
            }
            if (!table_.empty() && !src.isFloat())
                code = table_[static_cast<size_t>(std::min(code, table_.size() - 1.0))];
            const float value =
                vorel::limited_sample(static_cast<float>((code - black_at(row, column, plane)) * scale_[plane]));
            if (dst.isFloat()) {
                *dst.at<float>(row, column, plane) = value;
            } else {
                *dst.at<uint16_t>(row, column, plane) = static_cast<uint16_t>(std::floor(0.5 + value * 65535.0));
            }
        }
    }
}
