// Set-up of a scan's reader: the shape of its MCUs, its tables, what the fast path needs.
#include <algorithm>
#include <cstring>
#include <iterator>

#include "jpeg/decoder/entropy/entropy_window.h"
#include "jpeg/decoder/jpeg_info.h"

namespace vorel {
namespace {

bool g_fast_path = true;

// Below this many blocks the look-ups of the fast path cost more than they save.
constexpr uint64_t kFastPathBlocks = 512;

uint32_t remainder_or_whole(uint32_t blocks, uint32_t factor) { return blocks % factor ? blocks % factor : factor; }

// T.81 A.2.2: the blocks of a lone component in raster order, without those that pad an interleaved MCU.
void shape_single_component(ScanReader *scan) {
    ScanComponent *at = &scan->components[0];
    scan->mcusPerRow = at->component->widthInBlocks;
    scan->mcuRows = at->component->heightInBlocks;
    at->mcuWidth = at->mcuHeight = at->mcuBlocks = 1;
    at->lastColWidth = 1;
    at->lastRowHeight = remainder_or_whole(at->component->heightInBlocks, at->component->vSampling);
    scan->blocksInMcu = 1;
    scan->mcuMembership[0] = 0;
}

// T.81 A.2.3. False when an MCU would have more blocks than B.2.3 allows.
bool shape_interleaved(ScanReader *scan, const FrameLayout *frame) {
    scan->mcusPerRow = static_cast<uint32_t>(ceil_div(frame->imageWidth, frame->mcuWidth));
    scan->mcuRows = static_cast<uint32_t>(ceil_div(frame->imageHeight, frame->mcuHeight));
    scan->blocksInMcu = 0;
    for (int i = 0; i < scan->compsInScan; ++i) {
        ScanComponent *at = &scan->components[i];
        at->mcuWidth = at->component->hSampling;
        at->mcuHeight = at->component->vSampling;
        at->mcuBlocks = at->mcuWidth * at->mcuHeight;
        at->lastColWidth = remainder_or_whole(at->component->widthInBlocks, at->mcuWidth);
        at->lastRowHeight = remainder_or_whole(at->component->heightInBlocks, at->mcuHeight);
        if (scan->blocksInMcu + at->mcuBlocks > kMaxBlocksInMcu) return false;
        for (uint32_t b = 0; b < at->mcuBlocks; ++b)
            scan->mcuMembership[scan->blocksInMcu++] = static_cast<uint32_t>(i);
    }
    return true;
}

// A table that a scan names. One that is not there is an error, but for a progressive scan, which may not use it.
bool derive_slot(const RawHuffTable *raw, bool is_dc, uint32_t number, bool progressive, DerivedTable **table) {
    return raw ? derive_table(*raw, is_dc, static_cast<int32_t>(number), table) : progressive;
}

bool derive_tables(ScanReader *scan, const FrameLayout *frame, const HeaderState *header) {
    EntropyDecoder &entropy = scan->entropy;
    for (int i = 0; i < scan->compsInScan; ++i) {
        const uint32_t dc = scan->components[i].dcTable, ac = scan->components[i].acTable;
        if (dc > 3 || ac > 3) return false;
        if (!derive_slot(header->huffDc[dc], true, dc, frame->progressive, &entropy.dcDerived[dc])) return false;
        if (!derive_slot(header->huffAc[ac], false, ac, frame->progressive, &entropy.acDerived[ac])) return false;
    }
    for (int b = 0; b < scan->blocksInMcu; ++b) {
        const ScanComponent &at = scan->components[scan->mcuMembership[b]];
        entropy.blockDc[b] = entropy.dcDerived[at.dcTable];
        entropy.blockAc[b] = entropy.acDerived[at.acTable];
        entropy.blockSkip[b] = nullptr;
    }
    return true;
}

bool prepare_fast_path(ScanReader *scan) {
    if (!scan->window) scan->window = os_allocate_array<EntropyWindow>(1);
    if (!scan->plan) scan->plan = os_allocate_array<RunPlan>(1);
    if (!scan->window || !scan->plan) return false;
    scan->window->open = false;
    EntropyDecoder &entropy = scan->entropy;
    scan->plan->block_count = scan->blocksInMcu;
    scan->plan->most_dc = scan->most_dc;
    scan->plan->walks = false;
    for (int b = 0; b < scan->blocksInMcu; ++b) {
        RunPlan::Block &at = scan->plan->blocks[b];
        at = {};
        at.last_dc = &entropy.lastDc[scan->mcuMembership[b]];
        at.keep = entropy.block_keep[b];
        at.dc_table = scan->sos.Ss == 0 && scan->sos.Ah == 0 ? entropy.blockDc[b] : nullptr;
        at.ac_table = scan->sos.Se != 0 ? entropy.blockAc[b] : nullptr;
        if (at.dc_table && !(at.dc = fast_entries(entropy.blockDc[b]))) return false;
        if (!at.ac_table) continue;
        if (!(at.ac = fast_entries(entropy.blockAc[b]))) return false;
        // Bands of progressive scans go symbol by symbol.
        if (!scan->ends_as_marker && !(at.pairs = pair_entries(entropy.blockAc[b]))) return false;
        at.ac_shift = 64 - static_cast<uint32_t>(at.ac_table->look_bits);
        find_end_of_block(at.ac_table, &at.end_code, &at.end_bits);
    }
    return true;
}

bool serves_fast_path(const ScanReader *scan) {
    const uint64_t blocks = uint64_t{scan->mcusPerRow} * scan->mcuRows * scan->blocksInMcu;
    return blocks >= kFastPathBlocks && fast_path_allowed();
}

}  // namespace

bool prepare_walks(ScanReader *scan) {
    if (scan->plan->walks) return true;
    EntropyDecoder &entropy = scan->entropy;
    for (int b = 0; b < scan->blocksInMcu; ++b) {
        if (!entropy.blockSkip[b]) entropy.blockSkip[b] = skip_entries(entropy.blockAc[b]);
        if (!entropy.blockSkip[b]) return false;
        scan->plan->blocks[b].skip = entropy.blockSkip[b];
    }
    scan->plan->walks = true;
    return true;
}

void drop_fast_path(ScanReader *scan) {
    os_release(scan->window);
    os_release(scan->plan);
    scan->window = nullptr;
    scan->plan = nullptr;
}

void allow_fast_path(bool allowed) { store_relaxed(&g_fast_path, allowed); }
bool fast_path_allowed() { return load_relaxed(&g_fast_path); }

bool start_scan(ScanReader *scan, const FrameLayout *frame, const HeaderState *header, bool walks) {
    const ScanHeader &from = header->scan;
    scan->compsInScan = from.compsInScan;
    scan->restartInterval = from.restartInterval;
    scan->sos = {from.Ss, from.Se, from.Ah, from.Al};
    for (int i = 0; i < from.compsInScan; ++i) {
        scan->components[i] = {};
        scan->components[i].component = &frame->components[from.component[i]];
        scan->components[i].dcTable = from.dc_table[i];
        scan->components[i].acTable = from.ac_table[i];
    }
    if (from.compsInScan == 1) {
        shape_single_component(scan);
    } else if (!shape_interleaved(scan, frame)) {
        return false;
    }
    discard(scan);
    scan->mcus_done = 0;
    scan->most_dc = kMaxScaledDc;
    scan->ends_as_marker = frame->progressive;
    if (!derive_tables(scan, frame, header)) {
        // The look-ups of a table that was derived again are gone.
        drop_fast_path(scan);
        return false;
    }
    if (!serves_fast_path(scan)) {
        drop_fast_path(scan);
        return true;
    }
    if (prepare_fast_path(scan) && (frame->progressive || !walks || prepare_walks(scan))) return true;
    drop_fast_path(scan);
    set_error(kErrorOutOfMemory);
    return false;
}

void set_block_keep(ScanReader *scan, const uint8_t *keep) {
    std::memcpy(scan->entropy.block_keep, keep, static_cast<size_t>(scan->blocksInMcu));
    if (!scan->plan) return;
    for (int b = 0; b < scan->blocksInMcu; ++b) scan->plan->blocks[b].keep = keep[b];
}

void copy_shape(const ScanReader &from, ScanReader *to) {
    to->compsInScan = from.compsInScan;
    to->blocksInMcu = from.blocksInMcu;
    to->mcusPerRow = from.mcusPerRow;
    to->mcuRows = from.mcuRows;
    to->restartInterval = from.restartInterval;
    to->ends_as_marker = from.ends_as_marker;
    to->sos = from.sos;
    to->map_table = from.map_table;
    std::copy(std::begin(from.mcuMembership), std::end(from.mcuMembership), to->mcuMembership);
    std::copy(std::begin(from.components), std::end(from.components), to->components);
}

bool complete_tables(ScanReader *scan) {
    EntropyDecoder &entropy = scan->entropy;
    for (int b = 0; b < scan->blocksInMcu; ++b) {
        DerivedTable *dc = entropy.blockDc[b], *ac = entropy.blockAc[b];
        if (dc && !fast_entries(dc)) return false;
        if (ac && (!fast_entries(ac) || !skip_entries(ac))) return false;
        if (ac && !scan->ends_as_marker && !pair_entries(ac)) return false;
    }
    return true;
}

bool share_scan(ScanReader *scan, const ScanReader &from, int32_t most_dc) {
    copy_shape(from, scan);
    scan->most_dc = most_dc;
    EntropyDecoder &entropy = scan->entropy;
    std::copy(std::begin(from.entropy.blockDc), std::end(from.entropy.blockDc), entropy.blockDc);
    std::copy(std::begin(from.entropy.blockAc), std::end(from.entropy.blockAc), entropy.blockAc);
    for (int b = 0; b < scan->blocksInMcu; ++b)
        entropy.blockSkip[b] = entropy.blockAc[b] ? entropy.blockAc[b]->skip : nullptr;
    discard(scan);
    scan->mcus_done = scan->mcus_to_pass = 0;
    if (!serves_fast_path(scan)) return true;
    if (prepare_fast_path(scan) && (scan->ends_as_marker || prepare_walks(scan))) return true;
    set_error(kErrorOutOfMemory);
    return false;
}

void release_scan(ScanReader *scan) {
    drop_fast_path(scan);
    for (int i = 0; i < kMaxComponents; ++i) {
        release_table(scan->entropy.dcDerived[i]);
        release_table(scan->entropy.acDerived[i]);
        scan->entropy.dcDerived[i] = scan->entropy.acDerived[i] = nullptr;
    }
}

int32_t mcu_rows_in_imcu(const ScanReader *scan, const FrameLayout *frame, uint32_t imcu_row) {
    if (scan->compsInScan > 1) return 1;
    const ScanComponent &at = scan->components[0];
    const bool last = imcu_row + 1 >= frame->imcu_rows;
    return static_cast<int32_t>(last ? at.lastRowHeight : at.component->vSampling);
}

uint64_t mcus_above(const ScanReader *scan, uint32_t imcu_row) {
    const uint64_t per_imcu = scan->compsInScan == 1 ? scan->components[0].component->vSampling : 1;
    return imcu_row * per_imcu * scan->mcusPerRow;
}

}  // namespace vorel

using namespace vorel;

namespace {

// Exported derivations go by the record's raw tables. The walk of the record's own AC tables is made with them, where
// the decode walks.
int32_t prepare(JpegInfo *info, bool is_dc, int32_t number, DerivedTable **out, EntropyDecoder *entropy, bool walks) {
    if (number < 0 || number > 3) return 0;
    if (!entropy) entropy = &info->scan.entropy;
    const RawHuffTable *raw = is_dc ? info->header.huffDc[number] : info->header.huffAc[number];
    // Required: a progressive scan may name a table that is not there as long as it does not use it.
    if (!raw) return info->frame->progressive;
    if (!derive_table(*raw, is_dc, number, out)) return 0;
    if (!is_dc && walks && out == &entropy->acDerived[number]) {
        entropy->acSkip[number] = skip_entries(*out);
        if (!entropy->acSkip[number]) {
            set_error(kErrorOutOfMemory);
            return 0;
        }
    }
    return 1;
}

}  // namespace

extern "C" {

int32_t BRIMJ_PrepareDerivedTbl(JpegInfo *info, int32_t isDc, int32_t tableNumber, DerivedTable **outDerived,
                                EntropyDecoder *entropyState) {
    return prepare(info, isDc, tableNumber, outDerived, entropyState, !info->frame->progressive);
}

int32_t BRIMJ_P_PrepareDerivedTbl(JpegInfo *info, int32_t isDc, int32_t tableNumber, DerivedTable **outDerived,
                                  EntropyDecoder *entropyState) {
    return prepare(info, isDc, tableNumber, outDerived, entropyState, false);
}

}  // extern "C"
