#include "dng/colour/hue_sat_map.h"

#include "dng/base/limits.h"
#include "dng/colour/gamma.h"

namespace {

struct EncodingTables {
    explicit EncodingTables(bool sub_sample) {
        const VorelDng1dFunction &gamma = VorelDngFunctionGammaEncode_sRGB::GET();
        encode.initialize(gamma, sub_sample);
        decode.initialize(VorelDng1dInverse(gamma), sub_sample);
    }
    VorelDng1dTable encode, decode;
};

}  // namespace

bool VorelDngHueSatMap::isValid(uint32_t hueDivisions, uint32_t satDivisions, uint32_t valDivisions) {
    const uint32_t most = vorel::kMaxHueSatDivisions;
    return hueDivisions >= 1 && hueDivisions <= most && satDivisions >= 2 && satDivisions <= most &&
           valDivisions >= 1 && valDivisions <= most;
}

VorelDngHueSatMap::VorelDngHueSatMap(uint32_t hueDivisions, uint32_t satDivisions, uint32_t valDivisions) {
    if (!isValid(hueDivisions, satDivisions, valDivisions)) return;
    hue_ = hueDivisions;
    sat_ = satDivisions;
    val_ = valDivisions;
    // One float more, so that an entry may be read as four.
    table_ = std::shared_ptr<float[]>(new float[size_t{entries()} * 3 + 1]());
}

VorelDngHueSatMap *VorelDngHueSatMap::interpolate(const VorelDngHueSatMap &map1, const VorelDngHueSatMap &map2,
                                                  double weight1) {
    if (map1.hue_ != map2.hue_ || map1.sat_ != map2.sat_ || map1.val_ != map2.val_) return new VorelDngHueSatMap(map1);
    auto blended = std::make_unique<VorelDngHueSatMap>(map1.hue_, map1.sat_, map1.val_);
    const float w1 = static_cast<float>(weight1), w2 = 1 - w1;
    const float *a = map1.data(), *b = map2.data();
    float *out = blended->data();
    for (size_t i = 0; i < size_t{blended->entries()} * 3; ++i) out[i] = a[i] * w1 + b[i] * w2;
    return blended.release();
}

void buildHueSatMapEncodingTable(uint32_t encoding, std::unique_ptr<VorelDng1dTable> &encodeTable,
                                 std::unique_ptr<VorelDng1dTable> &decodeTable, bool subSample) {
    encodeTable.reset();
    decodeTable.reset();
    if (encoding == 0) return;
    // Powers are slow, and a region's render is short: made once, whole.
    static const EncodingTables kWhole(false);
    const auto copy = [&](const EncodingTables &tables) {
        encodeTable = std::make_unique<VorelDng1dTable>(tables.encode);
        decodeTable = std::make_unique<VorelDng1dTable>(tables.decode);
    };
    subSample ? copy(EncodingTables(true)) : copy(kWhole);
}
