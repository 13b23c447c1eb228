// Quantisers: the base values of T.81 annex K (K.1, K.2), scaled by the quality.
#include "jpeg/encoder/quantisation.h"

#include <array>

#include "jpeg/encoder/memory.h"

namespace vorel {
namespace {

// Natural order.
constexpr uint8_t kLuma[64] = {16, 11, 10, 16, 24,  40,  51,  61,  12, 12, 14, 19, 26,  58,  60,  55,
                               14, 13, 16, 24, 40,  57,  69,  56,  14, 17, 22, 29, 51,  87,  80,  62,
                               18, 22, 37, 56, 68,  109, 103, 77,  24, 35, 55, 64, 81,  104, 113, 92,
                               49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98, 112, 100, 103, 99};
constexpr uint8_t kChroma[64] = {17, 18, 24, 47, 99, 99, 99, 99, 18, 21, 26, 66, 99, 99, 99, 99, 24, 26, 56, 99, 99, 99,
                                 99, 99, 47, 66, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99,
                                 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99};

// Row 0 is the table itself; the others, which nothing in the library selects, step down to an eighth of it.
constexpr int kRows = 15;
struct Ladder {
    uint8_t rows[kRows][64];
};
constexpr Ladder ladder(const uint8_t (&base)[64]) {
    Ladder out = {};
    for (int row = 0; row < kRows; ++row) {
        for (int i = 0; i < 64; ++i) {
            const int value = (base[i] * (16 - row) + 8) / 16;
            out.rows[row][i] = static_cast<uint8_t>(value < 1 ? 1 : value);
        }
    }
    return out;
}

// The transform's results are 8 times those of T.81 A.3.3.
constexpr uint32_t kTransformGain = 8;

}  // namespace

int32_t clamp_quality(int32_t quality) { return quality < 1 ? 1 : quality > 100 ? 100 : quality; }

}  // namespace vorel

using namespace vorel;

extern "C" {

__attribute__((visibility("hidden"))) extern const Ladder vorel_luma_ladder = ladder(kLuma);
__attribute__((visibility("hidden"))) extern const Ladder vorel_chroma_ladder = ladder(kChroma);
extern const uint8_t rim_luminanceQuantTbl[15][64] __attribute__((alias("vorel_luma_ladder")));
extern const uint8_t rim_chrominanceQuantTbl[15][64] __attribute__((alias("vorel_chroma_ladder")));

int32_t __rim_jpeg_enc_set_quant_table(JEInfo *session, uint32_t tableNumber, const uint8_t *baseTable,
                                       uint32_t scale) {
    if (tableNumber >= 4 || !baseTable) return 0;
    if (!ensure_block(session, &session->quantTables[tableNumber], 64) ||
        !ensure_block(session, &session->quantSent[tableNumber], 65) ||
        !ensure_block(session, &session->divisorTables[tableNumber], 4 * 64)) {
        VOREL_ENC_LOG("[%s : memalloc Fail!!(%d)]\n");
        return 0;
    }
    for (uint32_t i = 0; i < 64; ++i) {
        const uint64_t scaled = (uint64_t{scale} * baseTable[i] + 50) / 100;
        const uint32_t value = scaled < 1 ? 1 : scaled > 255 ? 255 : static_cast<uint32_t>(scaled);
        session->quantTables[tableNumber][i] = session->quantSent[tableNumber][i] = value;
        compute_reciprocal(static_cast<uint16_t>(value * kTransformGain), session->divisorTables[tableNumber] + i);
    }
    session->quantSent[tableNumber][64] = 0;
    return 1;
}

int32_t __rim_jpeg_enc_set_quality(JEInfo *session, uint32_t quality) {
    session->quality = quality == 0 ? 1 : quality > 100 ? 100 : quality;
    const uint32_t scale = session->quality < 50 ? 5000 / session->quality : (100 - session->quality) * 2;
    if (const PresetHeader *preset = session->presetHeader) {
        for (uint32_t i = 0; i < preset->quantTableCount; ++i) {
            if (!__rim_jpeg_enc_set_quant_table(session, i, preset->quantTables[i], scale)) return 0;
        }
        return 1;
    }
    return __rim_jpeg_enc_set_quant_table(session, 0, vorel_luma_ladder.rows[0], scale) &&
           __rim_jpeg_enc_set_quant_table(session, 1, vorel_chroma_ladder.rows[0], scale);
}

}  // extern "C"
