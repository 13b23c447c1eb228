// One MCU row: transformed and quantised a stretch at a time, then coded MCU by MCU.
#include "jpeg/encoder/rows.h"

#include <cstring>

#include "jpeg/encoder/entropy/block_coder.h"
#include "jpeg/encoder/memory.h"
#include "jpeg/encoder/progressive/progressive.h"

namespace vorel {
namespace {

constexpr uint64_t kStretchAlignment = 64;

// The blocks of one component in a stretch.
struct Stretch {
    const JEComponent *component;
    const int16_t *blocks;  // mcuHeight rows of kStretchMcus * mcuWidth
    const uint64_t *nonzero;
    uint32_t across, down;  // that the picture has
};

uint32_t row_blocks(const JEComponent &component) { return kStretchMcus * component.mcuWidth; }

// Transforms what the picture has of `count` MCUs from column `first` on.
void transform(JEInfo *session, uint8_t ***rows, uint32_t first, uint32_t count, Stretch *stretches) {
    const JEWork *work = session->work;
    const JECoefState *state = session->coefState;
    const bool last_row = state->mcuRow + 1 >= session->mcuRowsInScan;
    int16_t *blocks = work->stretch;
    uint64_t *nonzero = work->nonzero;
    for (uint32_t i = 0; i < session->componentsInScan; ++i) {
        const JEComponent &component = *session->scanComponents[i];
        const bool ends = first + count >= session->mcusPerRow;
        const uint32_t across =
            ends ? (count - 1) * component.mcuWidth + component.lastColWidth : count * component.mcuWidth;
        const uint32_t down = last_row && session->componentsInScan > 1 ? component.lastRowHeight : component.mcuHeight;
        stretches[i] = {&component, blocks, nonzero, across, down};
        for (uint32_t y = 0; y < component.mcuHeight; ++y) {
            if (y < down) {
                work->kernels->forward({.rows = rows[component.index] + 8 * y,
                                        .column = first * component.mcuSampleWidth,
                                        .count = static_cast<int32_t>(across),
                                        .divisors = session->divisorTables[component.quantTable],
                                        .out = blocks,
                                        .nonzero = nonzero});
            }
            blocks += size_t{row_blocks(component)} * kBlockCoefficients;
            nonzero += row_blocks(component);
        }
    }
}

// The blocks of MCU m of the stretch in their order. Blocks beyond the picture have the DC value of the one before.
void gather_mcu(const Stretch *stretches, uint32_t components, uint32_t m, CodingBlock *out) {
    static constexpr int16_t kNothing[kBlockCoefficients] = {};
    for (uint32_t i = 0; i < components; ++i) {
        const Stretch &stretch = stretches[i];
        const JEComponent &component = *stretch.component;
        for (uint32_t y = 0; y < component.mcuHeight; ++y) {
            for (uint32_t x = 0; x < component.mcuWidth; ++x, ++out) {
                const uint32_t column = m * component.mcuWidth + x;
                if (y >= stretch.down || column >= stretch.across) {
                    *out = {kNothing, 0, out[-1].dc};
                    continue;
                }
                const size_t block = size_t{y} * row_blocks(component) + column;
                const int16_t *zigzag = stretch.blocks + block * kBlockCoefficients;
                *out = {zigzag, stretch.nonzero[block], zigzag[0]};
            }
        }
    }
}

}  // namespace

bool allocate_stretch(JEInfo *session) {
    if (session->progressiveMode) return true;
    uint32_t blocks = 0;
    for (uint32_t i = 0; i < session->componentsInScan; ++i) {
        const JEComponent &component = *session->scanComponents[i];
        blocks += row_blocks(component) * component.mcuHeight;
    }
    auto *memory = allocate<uint8_t>(session, blocks * (sizeof(JEBlock) + sizeof(uint64_t)) + kStretchAlignment);
    if (!memory) return false;
    const uintptr_t aligned = (reinterpret_cast<uintptr_t>(memory) + kStretchAlignment - 1) & ~(kStretchAlignment - 1);
    session->work->stretch = reinterpret_cast<int16_t *>(aligned);
    session->work->nonzero = reinterpret_cast<uint64_t *>(aligned + blocks * sizeof(JEBlock));
    return true;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

void __rim_jpeg_enc_do_forward_dct(JEInfo *session, JEComponent *component, uint8_t **rows, int16_t *blocks,
                                   uint32_t startRow, uint32_t startColumn, uint32_t blockcount) {
    alignas(64) int16_t zigzag[kBlockCoefficients];
    for (uint32_t i = 0; i < blockcount; ++i) {
        uint64_t nonzero;
        session->work->kernels->forward({.rows = rows + startRow,
                                         .column = startColumn + 8 * i,
                                         .count = 1,
                                         .divisors = session->divisorTables[component->quantTable],
                                         .out = zigzag,
                                         .nonzero = &nonzero});
        int16_t *block = blocks + size_t{i} * kBlockCoefficients;
        for (int k = 0; k < kBlockCoefficients; ++k) block[vorel_natural_order[k]] = zigzag[k];
    }
}

int32_t __rim_jpeg_enc_compress_data(JEInfo *session, uint8_t ***rows) {
    if (session->progressiveMode) return 0;
    JECoefState *state = session->coefState;
    Stretch stretches[3];
    CodingBlock blocks[kMaxBlocksInMcu];
    for (uint32_t first = state->mcuColumn; first < session->mcusPerRow; first += kStretchMcus) {
        const uint32_t left = session->mcusPerRow - first, count = left < kStretchMcus ? left : kStretchMcus;
        transform(session, rows, first, count, stretches);
        for (uint32_t m = 0; m < count; ++m) {
            gather_mcu(stretches, session->componentsInScan, m, blocks);
            if (session->gathering ? count_mcu(session, blocks) : encode_mcu(session, blocks)) continue;
            state->mcuColumn = first + m;
            session->work->failed = true;
            VOREL_ENC_LOG("[%s : __rim_jpeg_enc_encode_1mcu_blk Fail!!(%d)]\n");
            return 0;
        }
    }
    ++state->mcuRow;
    __rim_jpeg_enc_setup_imcu(session);
    return 1;
}

}  // extern "C"
