// Tables of a camera profile that shift hues and scale saturation and value (DNG, ProfileHueSatMapData).
#pragma once

#include <cstdint>
#include <memory>

#include "dng/colour/function_table.h"

// Copies share the table.
class VorelDngHueSatMap {
  public:
    VorelDngHueSatMap() = default;
    // A table of zeros. Divisions as isValid() asks for them; the map stays empty else. Throws std::bad_alloc.
    VorelDngHueSatMap(uint32_t hueDivisions, uint32_t satDivisions, uint32_t valDivisions);

    // At least 1, 2 and 1, and no side above kMaxHueSatDivisions: what a pixel can be looked up in.
    static bool isValid(uint32_t hueDivisions, uint32_t satDivisions, uint32_t valDivisions);

    // Entry by entry, weight1 of map1 and the rest of map2; map1 where their sizes differ. The caller deletes the
    // result.
    static VorelDngHueSatMap *interpolate(const VorelDngHueSatMap &map1, const VorelDngHueSatMap &map2, double weight1);

    bool empty() const { return !table_; }
    uint32_t hueDivisions() const { return hue_; }
    uint32_t satDivisions() const { return sat_; }
    uint32_t valDivisions() const { return val_; }
    // Steps in entries from one hue and one value to the next; saturations are neighbours.
    uint32_t hueStep() const { return sat_; }
    uint32_t valStep() const { return sat_ * hue_; }
    uint32_t entries() const { return sat_ * hue_ * val_; }
    // Three floats an entry: hue shift in degrees, saturation scale, value scale.
    const float *data() const { return table_.get(); }
    float *data() { return table_.get(); }

  private:
    uint32_t hue_ = 0, sat_ = 0, val_ = 0;
    std::shared_ptr<float[]> table_;
};

// Tables that bring the value of a colour into the encoding of a map and back (DNG, ProfileHueSatMapEncoding): of sRGB;
// none for encoding 0, linear.
void buildHueSatMapEncodingTable(uint32_t encoding, std::unique_ptr<VorelDng1dTable> &encodeTable,
                                 std::unique_ptr<VorelDng1dTable> &decodeTable, bool subSample);
