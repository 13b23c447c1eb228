// The blocks of a whole picture: filled while it is read, and walked by each scan.
#include <vorel/jpeg_encoder_progressive.h>

#include <cstring>

#include "jpeg/encoder/memory.h"
#include "jpeg/encoder/progressive/progressive.h"
#include "jpeg/encoder/progressive/scan_coder.h"

namespace vorel {
namespace {

constexpr uintptr_t kBlockAlignment = 64;  // that the forward kernel wants
constexpr uint32_t kRunBlocks = 64;        // transformed at once
// Tokens that are kept between the passes of a scan, for each luma block.
constexpr uint64_t kTokensPerBlock = 12, kLeastTokens = 2 * kChunkTokens, kMostTokens = 1 << 26;

// The blocks that a row of the array has of the picture, and behind them those that fill the last MCU: they repeat the
// last DC value.
void fill_row(const JEInfo *session, const JEComponent &component, const uint8_t *const *rows, JEBlock *out) {
    uint64_t nonzero[kRunBlocks];
    const uint32_t width = component.widthInBlocks;
    for (uint32_t x = 0; x < width; x += kRunBlocks) {
        const uint32_t count = width - x < kRunBlocks ? width - x : kRunBlocks;
        session->work->kernels->forward({.rows = rows,
                                         .column = 8 * x,
                                         .count = static_cast<int32_t>(count),
                                         .divisors = session->divisorTables[component.quantTable],
                                         .out = out[x],
                                         .nonzero = nonzero});
    }
    const uint32_t padded = static_cast<uint32_t>(ceil_div(width, component.hSamp)) * component.hSamp;
    for (uint32_t x = width; x < padded; ++x) {
        std::memset(out[x], 0, sizeof(JEBlock));
        out[x][0] = out[width - 1][0];
    }
}

// A row below the picture, which repeats the DC values of the one above.
void fill_row_below(const JEComponent &component, const JEBlock *above, JEBlock *out) {
    const uint32_t padded = static_cast<uint32_t>(ceil_div(component.widthInBlocks, component.hSamp)) * component.hSamp;
    for (uint32_t x = 0; x < padded; ++x) {
        std::memset(out[x], 0, sizeof(JEBlock));
        out[x][0] = above[x][0];
    }
}

bool allocate_whole_image(JEInfo *session) {
    uint64_t blocks = 0;
    for (uint32_t i = 0; i < session->componentCount; ++i) {
        const JEComponent &component = session->components[i];
        const auto across = vjpeg_round_up(static_cast<int32_t>(component.widthInBlocks), component.hSamp);
        const auto down = vjpeg_round_up(static_cast<int32_t>(component.heightInBlocks), component.vSamp);
        session->coefState->wholeImage[i] =
            request_virt_barray(session, static_cast<uint32_t>(across), static_cast<uint32_t>(down));
        if (!session->coefState->wholeImage[i]) return false;
        if (i == 0) blocks = static_cast<uint64_t>(across) * static_cast<uint64_t>(down);
    }
    ScanCoder *coder = coder_of(session);
    const uint64_t tokens = blocks * kTokensPerBlock;
    coder->kept_capacity = static_cast<uint32_t>(tokens < kLeastTokens  ? kLeastTokens
                                                 : tokens > kMostTokens ? kMostTokens
                                                                        : tokens);
    coder->kept = allocate<Token>(session, coder->kept_capacity);
    return coder->kept != nullptr;
}

bool allocate_coder(JEInfo *session) {
    session->master = allocate<JEMaster>(session);
    auto *coder = allocate<ScanCoder>(session);
    if (!session->master || !coder) return false;
    JEPhuff *phuff = session->phuff = &coder->record;
    coder->kernels = &scan_kernels();
    phuff->session = session;
    phuff->startPass = vjpeg_start_pass_phuff;
    phuff->correctionBits = allocate<uint8_t>(session, kCorrectionBits);
    if (!phuff->correctionBits) return false;
    for (int i = 0; i < 2; ++i) {
        phuff->counts[i] = allocate<uint32_t>(session, kSymbolCounts);
        phuff->derived[i] = allocate<RimEncDerived>(session);
        if (!phuff->counts[i] || !phuff->derived[i]) return false;
    }
    return true;
}

// There is a row of the picture left.
bool has_row(const JEInfo *session) { return has_scans(session) && session->coefState->mcuRow < session->mcuRowTotal; }

// A row of the scan by the exported steps, MCU by MCU.
bool code_row_by_mcus(JEInfo *session) {
    JECoefState *state = session->coefState;
    for (uint32_t y = state->vertOffset; y < state->rowsPerMcuRow; ++y) {
        for (uint32_t column = state->mcuColumn; column < session->mcusPerRow; ++column) {
            uint32_t blocks = 0;
            for (uint32_t i = 0; i < session->componentsInScan; ++i) {
                const JEComponent &component = *session->scanComponents[i];
                JEBlock **rows = state->wholeImage[component.index] + state->mcuRow * component.vSamp + y;
                for (uint32_t row = 0; row < component.mcuHeight; ++row)
                    for (uint32_t x = 0; x < component.mcuWidth; ++x)
                        state->mcuBlocks[blocks++] = rows[row][column * component.mcuWidth + x];
            }
            if (session->phuff->encodeMcu(session, state->mcuBlocks)) continue;
            state->vertOffset = y;
            state->mcuColumn = column;
            return false;
        }
        state->mcuColumn = 0;
    }
    return true;
}

void release(JEInfo *session, void *pointer) { __rim_enc_fake_free(session, pointer); }

}  // namespace

bool set_up_progressive(JEInfo *session) {
    if (!allocate_coder(session) || !allocate_whole_image(session) || !vjpeg_simple_progression(session)) {
        rim_SetError(kEncoderNoMemory);
        VOREL_ENC_LOG("[%s : memalloc Fail!!(%d)]\n");
        return false;
    }
    vjpeg_select_scan_parameters(session);
    if (!vjpeg_per_scan_setup(session)) return false;
    session->gathering = 1;
    return vjpeg_start_pass_phuff(session, 1) != 0;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t __rim_jpeg_enc_compress_first_pass(JEInfo *session, uint8_t ***rows) {
    if (!has_row(session)) return 0;
    const JECoefState *state = session->coefState;
    const bool last = state->mcuRow + 1 >= session->mcuRowTotal;
    for (uint32_t i = 0; i < session->componentCount; ++i) {
        const JEComponent &component = session->components[i];
        const uint32_t rest = component.heightInBlocks % component.vSamp;
        const uint32_t down = last && rest ? rest : component.vSamp;
        JEBlock **out = state->wholeImage[i] + state->mcuRow * component.vSamp;
        for (uint32_t y = 0; y < down; ++y) fill_row(session, component, rows[i] + 8 * y, out[y]);
        for (uint32_t y = down; y < component.vSamp; ++y) fill_row_below(component, out[y - 1], out[y]);
    }
    return __rim_jpeg_enc_compress_output(session);
}

int32_t __rim_jpeg_enc_compress_output(JEInfo *session) {
    if (!has_row(session)) return 0;
    // Restart markers, which are for callers who set an interval, are known to the exported steps alone.
    if (session->restartInterval ? !code_row_by_mcus(session) : !code_row(session)) {
        session->work->failed = true;
        VOREL_ENC_LOG("[%s : __rim_jpeg_enc_encode_1mcu_blk Fail!!(%d)]\n");
        return 0;
    }
    ++session->coefState->mcuRow;
    __rim_jpeg_enc_setup_imcu(session);
    return 1;
}

JEBlock **request_virt_barray(JEInfo *session, uint32_t blocksPerRow, uint32_t blockRows) {
    // One block of memory, which starts with the row pointers and is freed by them.
    const uint64_t table = uint64_t{blockRows} * sizeof(JEBlock *);
    const uint64_t blocks = uint64_t{blocksPerRow} * blockRows * sizeof(JEBlock);
    if (blocksPerRow > INT32_MAX / sizeof(JEBlock)) return nullptr;
    auto *memory = allocate<uint8_t>(session, table + kBlockAlignment + blocks);
    if (!memory) return nullptr;
    auto **rows = reinterpret_cast<JEBlock **>(memory);
    const uintptr_t first =
        (reinterpret_cast<uintptr_t>(rows + blockRows) + kBlockAlignment - 1) & ~(kBlockAlignment - 1);
    for (uint32_t y = 0; y < blockRows; ++y)
        rows[y] = reinterpret_cast<JEBlock *>(first) + static_cast<size_t>(y) * blocksPerRow;
    return rows;
}

int32_t brim_jround_up(int32_t a, int32_t b) { return vjpeg_round_up(a, b); }

int32_t vjpeg_round_up(int32_t a, int32_t b) { return b > 0 ? static_cast<int32_t>((int64_t{a} + b - 1) / b * b) : a; }

uint32_t vjpeg_round_up_pow2(uint32_t value, uint32_t power) { return (value + power - 1) & ~(power - 1); }

void vjpeg_enc_release_prog_info(JEInfo *session) {
    if (JEPhuff *phuff = session->phuff) {
        release(session, phuff->correctionBits);
        for (int i = 0; i < 4; ++i) {
            release(session, phuff->counts[i]);
            release(session, phuff->derived[i]);
        }
        release(session, coder_of(session)->kept);
        release(session, phuff);
    }
    release(session, session->scanStore);
    release(session, session->master);
    session->phuff = nullptr;
    session->scanStore = session->scanList = nullptr;
    session->scanStoreSize = 0;
    session->scanCount = 0;
    session->master = nullptr;
    if (!session->coefState) return;
    for (JEBlock **&rows : session->coefState->wholeImage) {
        release(session, rows);
        rows = nullptr;
    }
}

}  // extern "C"
