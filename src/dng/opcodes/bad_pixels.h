// Defects of the sensor, replaced by what is around them.
#pragma once

#include <type_traits>
#include <vector>

#include "dng/opcodes/opcode.h"

namespace vorel {

// Which samples around a site of a mosaic have its colour. DNG, FixBadPixelsConstant: phase 0 red, 1 green in a red
// row, 2 green in a blue row, 3 blue at row 0, column 0. Any other phase: all samples are alike.
enum class SiteKind : uint8_t { kGreen, kOther, kAll };
constexpr SiteKind site_kind(uint32_t bayer_phase, int32_t row, int32_t column) {
    if (bayer_phase > 3) return SiteKind::kAll;
    const uint32_t parity =
        bayer_phase + (bayer_phase >> 1) + static_cast<uint32_t>(row) + static_cast<uint32_t>(column);
    return parity & 1 ? SiteKind::kGreen : SiteKind::kOther;
}

}  // namespace vorel

class VorelDngBadPixelList {
  public:
    void addPoint(const vorel::DngPoint &point) { points_.push_back(point); }
    void addRect(const vorel::DngRect &rect) { rects_.push_back(rect); }
    // By row, then by column. Before the operations below.
    void sort();

    const std::vector<vorel::DngPoint> &points() const { return points_; }
    const std::vector<vorel::DngRect> &rects() const { return rects_; }

    // No other point and no rectangle lies within radius rows and columns.
    bool isPointIsolated(uint32_t index, uint32_t radius) const;
    bool isRectIsolated(uint32_t index, uint32_t radius) const;
    // A point inside bounds that is neither in the list, but for the index-th of it, nor in a rectangle.
    bool isPointValid(const vorel::DngPoint &point, const vorel::DngRect &bounds, uint32_t index) const;

  private:
    bool any_point(const vorel::DngRect &rect, uint32_t but) const;
    bool any_rect(const vorel::DngRect &rect, uint32_t but) const;

    std::vector<vorel::DngPoint> points_;
    std::vector<vorel::DngRect> rects_;
};

// A bad sample becomes the mean of good ones of its colour: of the nearest that stand in pairs across it, or where
// there is no pair, of the nearest. These are sought within two rows and columns, and within four only where no good
// one is so near, as in the middle of large defects; with none there either the sample stays. So defects of one row,
// one column or a few samples come out the same in a region of the image as in the whole.

// Every sample of one value.
class VorelDngOpcodeFixBadPixelsConstant : public VorelDngFilterOpcode {
  public:
    explicit VorelDngOpcodeFixBadPixelsConstant(VorelDngStream &stream);
    void processArea(vorel::DevelopContext &decoder, const VorelDngImage &src, VorelDngImage &dst,
                     const vorel::DngRect &area) override;

  private:
    // A constant beyond the samples' range is none of theirs.
    template <typename Sample>
    bool isBad(Sample sample) const {
        if constexpr (std::is_integral_v<Sample>) return sample == constant_;
        return sample == static_cast<Sample>(constant_);
    }
    // One plane of buffer, from the samples of spoilt, of which none is fixed yet.
    template <typename Sample>
    void FixIsolatedPixel(const VorelDngPixelBuffer &buffer, const vorel::DngPoint &point, uint32_t plane,
                          const VorelDngPixelBuffer &spoilt) const;

    uint32_t constant_, bayerPhase_;
};

// Listed points and rectangles. No fix reads a listed sample, so that their order does not matter.
class VorelDngOpcodeFixBadPixelList : public VorelDngFilterOpcode {
  public:
    explicit VorelDngOpcodeFixBadPixelList(VorelDngStream &stream);
    void processArea(vorel::DevelopContext &decoder, const VorelDngImage &src, VorelDngImage &dst,
                     const vorel::DngRect &area) override;

  private:
    struct Defects;  // where they lie in the image
    // Positions are those of the image that is fixed.
    template <typename IsGood>
    void fix(const VorelDngPixelBuffer &buffer, const vorel::DngPoint &point, int32_t reach, const IsGood &good) const;
    void FixIsolatedPixel(const VorelDngPixelBuffer &buffer, const vorel::DngPoint &point) const;
    void FixClusteredPixel(const VorelDngPixelBuffer &buffer, const vorel::DngPoint &point, Defects &defects) const;
    // Mended sample by sample: the nearest good pairs lie across a row or a column.
    void FixSingleRow(const VorelDngPixelBuffer &buffer, const vorel::DngRect &badRect, Defects &defects) const;
    void FixSingleColumn(const VorelDngPixelBuffer &buffer, const vorel::DngRect &badRect, Defects &defects) const;
    void FixClusteredRect(const VorelDngPixelBuffer &buffer, const vorel::DngRect &badRect, Defects &defects) const;

    VorelDngBadPixelList list_;
    uint32_t bayerPhase_;
};
