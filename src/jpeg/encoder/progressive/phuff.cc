// Progressive scans MCU by MCU (T.81 annex G), by the steps that are exported. Rows of a whole picture go the way of
// scan_tokens.cc, which gives the same bytes and counts.
#include <vorel/jpeg_encoder_progressive.h>

#include <cstdlib>
#include <cstring>

#include "jpeg/encoder/progressive/scan_coder.h"
#include "jpeg/encoder/sink.h"

namespace vorel {
namespace {

void write_signed_bits(JEPhuff *phuff, int value, uint32_t magnitude, uint32_t size) {
    __rim_jpeg_enc_phuff_write_bits(phuff, value < 0 ? ~magnitude : magnitude, static_cast<int32_t>(size));
}

int32_t ac_table(const JEInfo *session) { return session->scanComponents[0]->acTable; }

// Markers stand between MCUs of a session that somebody gave an interval; ours have none.
void restart_if_due(JEInfo *session) {
    if (!session->restartInterval) return;
    JEPhuff *phuff = session->phuff;
    if (session->restartCounter && session->restartCounter % session->restartInterval == 0) {
        __rim_prog_jpeg_write_restart_marker(phuff, static_cast<int32_t>(phuff->nextRestart));
        phuff->nextRestart = (phuff->nextRestart + 1) & 7;
    }
    ++session->restartCounter;
}

int32_t mcu_result(const JEInfo *session) { return !session->work->failed; }

// Correction bits of the block so far go behind those of the EOB run, of which there are then none.
struct BlockBits {
    uint8_t *bits;
    uint32_t count;
};

void emit_block_bits(JEPhuff *phuff, BlockBits *block) {
    vjpeg_emit_buffered_bits(phuff, block->bits, block->count);
    *block = {phuff->correctionBits, 0};
}

// Once a pass; tables that the pass writes with come from the session's, and those that it counts for start at 0.
bool start_tables(JEInfo *session, bool gather) {
    JEPhuff *phuff = session->phuff;
    const bool dc = session->ss == 0;
    if (dc && session->ah) return true;
    for (uint32_t i = 0; i < session->componentsInScan; ++i) {
        const JEComponent *component = session->scanComponents[i];
        const uint32_t table = dc ? component->dcTable : component->acTable;
        if (gather) {
            std::memset(phuff->counts[table], 0, kSymbolCounts * sizeof(uint32_t));
        } else if (!(dc ? __rim_jpeg_enc_prepare_derived_tblDC : __rim_jpeg_enc_prepare_derived_tbl)(
                       session, table, &phuff->derived[table])) {
            return false;
        }
    }
    return true;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t vjpeg_start_pass_phuff(JEInfo *session, uint32_t gather) {
    if (!has_scans(session)) return 0;
    JEPhuff *phuff = session->phuff;
    const bool dc = session->ss == 0, first = session->ah == 0;
    phuff->encodeMcu = first ? dc ? vjpeg_encode_mcu_DC_first : vjpeg_encode_mcu_AC_first
                       : dc  ? vjpeg_encode_mcu_DC_refine
                             : vjpeg_encode_mcu_AC_refine;
    phuff->finishPass = gather ? vjpeg_finish_pass_gather_phuff : vjpeg_finish_pass_phuff;
    phuff->gatherStatistics = gather != 0;
    phuff->eobRun = phuff->bufferedBits = 0;
    phuff->bitBuffer = phuff->bitCount = 0;
    phuff->nextRestart = session->restartCounter = 0;
    std::memset(phuff->lastDc, 0, sizeof(phuff->lastDc));
    if (!start_tables(session, gather != 0)) return 0;
    start_tokens(session, gather != 0);
    return 1;
}

int32_t vjpeg_encode_mcu_DC_first(JEInfo *session, int16_t **blocks) {
    if (!has_scans(session)) return 0;
    JEPhuff *phuff = session->phuff;
    restart_if_due(session);
    for (uint32_t i = 0; i < session->blocksInMcu; ++i) {
        const uint32_t c = session->mcuMembership[i];
        const int value = blocks[i][0] >> session->al, difference = value - phuff->lastDc[c];
        const uint32_t magnitude = static_cast<uint32_t>(std::abs(difference));
        phuff->lastDc[c] = value;
        const uint32_t size = bit_size(magnitude);
        if (size > kMostDcBits) return 0;
        vjpeg_emit_symbol(phuff, session->scanComponents[c]->dcTable, static_cast<int32_t>(size));
        if (size) write_signed_bits(phuff, difference, magnitude, size);
    }
    return mcu_result(session);
}

int32_t vjpeg_encode_mcu_AC_first(JEInfo *session, int16_t **blocks) {
    if (!has_scans(session)) return 0;
    JEPhuff *phuff = session->phuff;
    restart_if_due(session);
    const int16_t *block = blocks[0];
    uint32_t run = 0;
    for (uint32_t k = session->ss; k <= session->se; ++k) {
        const uint32_t magnitude = static_cast<uint32_t>(std::abs(static_cast<int>(block[k]))) >> session->al;
        if (!magnitude) {
            ++run;
            continue;
        }
        vjpeg_emit_eobrun(phuff);
        for (; run > 15; run -= 16) vjpeg_emit_symbol(phuff, ac_table(session), 0xF0);
        const uint32_t size = bit_size(magnitude);
        if (size > kMostAcBits) return 0;
        vjpeg_emit_symbol(phuff, ac_table(session), static_cast<int32_t>(run << 4 | size));
        write_signed_bits(phuff, block[k], magnitude, size);
        run = 0;
    }
    if (run && ++phuff->eobRun == kMostEobRun) vjpeg_emit_eobrun(phuff);
    return mcu_result(session);
}

int32_t vjpeg_encode_mcu_DC_refine(JEInfo *session, int16_t **blocks) {
    if (!has_scans(session)) return 0;
    restart_if_due(session);
    for (uint32_t i = 0; i < session->blocksInMcu; ++i)
        __rim_jpeg_enc_phuff_write_bits(session->phuff, static_cast<uint32_t>(blocks[i][0] >> session->al), 1);
    return mcu_result(session);
}

int32_t vjpeg_encode_mcu_AC_refine(JEInfo *session, int16_t **blocks) {
    if (!has_scans(session)) return 0;
    JEPhuff *phuff = session->phuff;
    restart_if_due(session);
    const int16_t *block = blocks[0];
    uint32_t magnitudes[kBlockCoefficients], last_new = 0;
    for (uint32_t k = session->ss; k <= session->se; ++k) {
        magnitudes[k] = static_cast<uint32_t>(std::abs(static_cast<int>(block[k]))) >> session->al;
        if (magnitudes[k] == 1) last_new = k;
    }
    BlockBits behind = {phuff->correctionBits + phuff->bufferedBits, 0};
    uint32_t run = 0;
    for (uint32_t k = session->ss; k <= session->se; ++k) {
        if (!magnitudes[k]) {
            ++run;
            continue;
        }
        for (; run > 15 && k <= last_new; run -= 16) {
            vjpeg_emit_eobrun(phuff);
            vjpeg_emit_symbol(phuff, ac_table(session), 0xF0);
            emit_block_bits(phuff, &behind);
        }
        if (magnitudes[k] > 1) {
            behind.bits[behind.count++] = magnitudes[k] & 1;
            continue;
        }
        vjpeg_emit_eobrun(phuff);
        vjpeg_emit_symbol(phuff, ac_table(session), static_cast<int32_t>(run << 4) + 1);
        __rim_jpeg_enc_phuff_write_bits(phuff, block[k] >= 0, 1);
        emit_block_bits(phuff, &behind);
        run = 0;
    }
    if (run || behind.count) {
        ++phuff->eobRun;
        phuff->bufferedBits += behind.count;
        if (phuff->eobRun == kMostEobRun || phuff->bufferedBits > kFullCorrectionBits) vjpeg_emit_eobrun(phuff);
    }
    return mcu_result(session);
}

void vjpeg_emit_symbol(JEPhuff *phuff, int32_t tableNumber, int32_t symbol) {
    if (phuff->gatherStatistics) {
        ++phuff->counts[tableNumber][symbol];
        return;
    }
    const RimEncDerived *table = phuff->derived[tableNumber];
    if (!table->size[symbol]) phuff->session->work->failed = true;
    __rim_jpeg_enc_phuff_write_bits(phuff, table->code[symbol], table->size[symbol]);
}

void vjpeg_emit_buffered_bits(JEPhuff *phuff, const uint8_t *bits, uint32_t count) {
    if (phuff->gatherStatistics) return;
    for (; count; --count) __rim_jpeg_enc_phuff_write_bits(phuff, *bits++, 1);
}

void vjpeg_emit_eobrun(JEPhuff *phuff) {
    if (!phuff->eobRun) return;
    const int32_t size = static_cast<int32_t>(bit_size(phuff->eobRun)) - 1;
    vjpeg_emit_symbol(phuff, ac_table(phuff->session), size << 4);
    if (size) __rim_jpeg_enc_phuff_write_bits(phuff, phuff->eobRun, size);
    phuff->eobRun = 0;
    vjpeg_emit_buffered_bits(phuff, phuff->correctionBits, phuff->bufferedBits);
    phuff->bufferedBits = 0;
}

void vjpeg_finish_pass_phuff(JEInfo *session) {
    if (!has_scans(session)) return;
    JEPhuff *phuff = session->phuff;
    vjpeg_emit_eobrun(phuff);
    __rim_jpeg_enc_phuff_write_bits(phuff, 0x7F, 7);
    phuff->bitBuffer = phuff->bitCount = 0;
}

// Optimal tables take the place of those that the scan's components have.
void vjpeg_finish_pass_gather_phuff(JEInfo *session) {
    if (!has_scans(session)) return;
    JEPhuff *phuff = session->phuff;
    vjpeg_emit_eobrun(phuff);
    const bool dc = session->ss == 0;
    if (dc && session->ah) return;
    bool done[4] = {};
    for (uint32_t i = 0; i < session->componentsInScan; ++i) {
        const JEComponent *component = session->scanComponents[i];
        const uint32_t table = dc ? component->dcTable : component->acTable;
        if (done[table]) continue;
        done[table] = true;
        vjpeg_gen_optimal_table(session, (dc ? session->dcSpecs : session->acSpecs)[table], phuff->counts[table]);
    }
}

void __rim_prog_jpeg_write_restart_marker(JEPhuff *phuff, int32_t restartNumber) {
    JEInfo *session = phuff->session;
    vjpeg_emit_eobrun(phuff);
    if (!phuff->gatherStatistics) {
        __rim_jpeg_enc_phuff_write_bits(phuff, 0x7F, 7);
        phuff->bitBuffer = phuff->bitCount = 0;
        if (make_room(session, 2)) put_marker(session, kRst0 + (restartNumber & 7));
    }
    if (session->ss == 0) {
        std::memset(phuff->lastDc, 0, sizeof(phuff->lastDc));
    } else {
        phuff->eobRun = phuff->bufferedBits = 0;
    }
}

// bitBuffer has at most seven bits between calls, from bit 23 down.
void __rim_jpeg_enc_phuff_write_bits(JEPhuff *phuff, uint32_t code, int32_t size) {
    if (phuff->gatherStatistics || size <= 0 || size > 16) return;
    uint32_t count = phuff->bitCount + static_cast<uint32_t>(size);
    uint32_t buffer = phuff->bitBuffer | (code & ((1u << size) - 1)) << (24 - count);
    if (!make_room(phuff->session, 4)) return;
    for (; count >= 8; count -= 8, buffer <<= 8) {
        const uint32_t byte = buffer >> 16 & 0xFF;
        put_byte(phuff->session, byte);
        if (byte == 0xFF) put_byte(phuff->session, 0);
    }
    phuff->bitBuffer = buffer & 0xFFFFFF;
    phuff->bitCount = count;
}

}  // extern "C"
