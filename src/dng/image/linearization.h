// Stored codes to linear samples (DNG, chapter 5: Mapping Raw Values to Linear Reference Values).
#pragma once

#include <cstdint>
#include <vector>

#include "dng/base/develop_context.h"
#include "dng/image/image.h"
#include "dng/parse/ifd.h"

class VorelDngLinearizationInfo {
  public:
    // ifd has been post-parsed. activeArea: what of its image is developed. stated: the active area that the file
    // states, which black levels count from. Throws std::bad_alloc.
    void parse(vorel::DevelopContext &decoder, VorelDngStream &stream, const VorelDngIFD &ifd,
               const vorel::DngRect &activeArea, const vorel::DngRect &stated);
    // The scale of each plane.
    void postParse(vorel::DevelopContext &decoder);
    // Brings levels into what sums can hold.
    void doRoundBlacks(const VorelDngIFD &ifd);

    const vorel::DngRect &activeArea() const { return activeArea_; }
    // Stored integers are below this. Opcodes on stage 1 may make any word of them.
    uint32_t codes() const { return codes_; }
    void acceptAllCodes();

    // dstImage: bounds of the size of the active area from 0, 0; 16 bits or float. False when a cancel was seen.
    bool doLinearize(vorel::DevelopContext &decoder, const VorelDngImage &srcImage, VorelDngImage &dstImage);
    // True when a cancel was seen.
    bool linearizePlane(vorel::DevelopContext &decoder, const VorelDngImage &src, VorelDngImage &dst, uint32_t plane);
    void prepareLinearizePlane(vorel::DevelopContext &decoder, const VorelDngImage &src, const VorelDngImage &dst,
                               uint32_t plane);
    void performLinearizePlane(const VorelDngImage &src, VorelDngImage &dst, uint32_t plane,
                               const vorel::DngRect &area);

    // The deltas of a row and a column of the stated active area; 0 without.
    double getRowBlack(int32_t row) const;
    double getColumnBlack(int32_t column) const;
    // The largest black level of the pattern with the largest deltas.
    double getMaxBlackLevel(uint32_t plane) const;

  private:
    double black_at(int32_t row, int32_t column, uint32_t plane) const;
    void linearize_integers(const VorelDngImage &src, VorelDngImage &dst, uint32_t plane, const vorel::DngRect &area);
    void linearize_floats(const VorelDngImage &src, VorelDngImage &dst, uint32_t plane, const vorel::DngRect &area);

    vorel::DngRect activeArea_, statedArea_;
    uint32_t maskedAreaCount_ = 0;
    vorel::DngRect maskedArea_[4];
    std::vector<uint16_t> table_;
    uint32_t blackRepeatRows_ = 1, blackRepeatColumns_ = 1;
    double blackLevel_[8][8][4] = {};
    std::vector<double> rowDelta_, columnDelta_;  // of the stated area, or empty
    double whiteLevel_[4] = {};
    double scale_[4] = {};
    uint32_t codes_ = 65536;  // that a stored integer may have

    // Of the plane that was prepared: codes in units of 1 / 16776960 of the range above the largest black level, and
    // the results for each black level of the pattern where there are no deltas.
    std::vector<int32_t> integerTable_;
    std::vector<std::vector<uint16_t>> results_;
    uint8_t resultOf_[8][8] = {};
};
