// The exported functions of progressive frames: single MCUs, rows, and scans that a loop of one's own switches between.
#include <algorithm>
#include <iterator>

#include "jpeg/decoder/entropy/progressive.h"
#include "jpeg/decoder/rows/imcu.h"
#include "jpeg/decoder/setup.h"

// A scan as it stands between two of its MCUs: its shape and parameters, tables of its own, its position.
struct ScanInfo {
    vorel::ScanReader scan;  // neither its input nor its look-ups mean anything here
    vorel::EntropyPosition position;
    ScanInfo *next;  // of the record that frees them
};

namespace vorel {
namespace {

// Tables are made again from what they were made of, so that nothing that happens to the scan's reaches them.
bool copy_table(DerivedTable *from, bool is_dc, int32_t number, DerivedTable **to) {
    return !from || derive_table(from->raw, is_dc, number, to);
}

// Those that the blocks of an MCU use now, whatever was derived for another scan since. A scan whose set-up failed may
// name tables that no stream has.
bool copy_tables(const EntropyDecoder &from, ScanReader *to) {
    EntropyDecoder &entropy = to->entropy;
    for (int b = 0; b < to->blocksInMcu; ++b) {
        const ScanComponent &at = to->components[to->mcuMembership[b]];
        const uint32_t dc = at.dcTable, ac = at.acTable;
        if (dc >= kMaxComponents || ac >= kMaxComponents) return false;
        if (!copy_table(from.blockDc[b], true, static_cast<int32_t>(dc), &entropy.dcDerived[dc])) return false;
        if (!copy_table(from.blockAc[b], false, static_cast<int32_t>(ac), &entropy.acDerived[ac])) return false;
        entropy.blockDc[b] = from.blockDc[b] ? entropy.dcDerived[dc] : nullptr;
        entropy.blockAc[b] = from.blockAc[b] ? entropy.acDerived[ac] : nullptr;
    }
    return true;
}

int32_t decode_one(JpegInfo *info, Pass pass, int16_t **blocks) {
    ScanReader *scan = &info->scan;
    if (pass_of(scan) != pass) return 0;
    PassTarget to = {};
    for (int b = 0; b < scan->blocksInMcu; ++b) to.block[b] = blocks[b];
    uint64_t nonzero = 0;
    for (int k = 1; scan->sos.Ss != 0 && k < kBlockCoefficients; ++k) {
        if (blocks[0][vorel_natural_order[k]] != 0) nonzero |= uint64_t{1} << k;
    }
    to.nonzero = &nonzero;
    const int32_t done = decode_pass(scan, &to, 1);
    close_window(scan);
    return done;
}

Pass either(const JpegInfo *info, Pass dc, Pass ac) { return info->scan.sos.Ss == 0 ? dc : ac; }

uint32_t snapshots(JpegInfo *info, uint32_t scans) {
    const uint32_t there = info->progressive.memory ? static_cast<uint32_t>(info->further_scan_count) + 1 : 0;
    uint32_t sum = 0;
    for (uint32_t i = 0; i < std::min(scans, there); ++i) {
        const ScanReader *scan = progressive_scan(info, static_cast<int32_t>(i));
        sum += scan->compsInScan > 1 ? 1 : scan->components[0].component->vSampling;
    }
    return sum;
}

}  // namespace

void release_scan_infos(JpegInfo *info) {
    while (ScanInfo *first = info->scan_infos) {
        info->scan_infos = first->next;
        release_scan(&first->scan);
        os_release(first);
    }
}

}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t BRIMJ_SetupScanInfo(JpegInfo *info, ScanInfo **slot) {
    if (!info || !slot || is_baseline(info)) return 0;
    ScanInfo *made = static_cast<ScanInfo *>(os_allocate_zeroed(sizeof(ScanInfo)));
    if (!made) {
        set_error(kErrorOutOfMemory);
        return 0;
    }
    copy_shape(info->scan, &made->scan);
    if (!copy_tables(info->scan.entropy, &made->scan)) {
        release_scan(&made->scan);
        os_release(made);
        return 0;
    }
    made->position = tell(&info->scan);
    made->next = info->scan_infos;
    info->scan_infos = made;
    *slot = made;
    return 1;
}

void BRIMJ_SaveScanInfo(JpegInfo *info, ScanInfo *scanInfo) {
    if (info && scanInfo) scanInfo->position = tell(&info->scan);
}

void BRIMJ_LoadScanInfo(JpegInfo *info, ScanInfo *scanInfo) {
    if (!info || !scanInfo) return;
    ScanReader *scan = &info->scan;
    close_window(scan);
    drop_fast_path(scan);
    copy_shape(scanInfo->scan, scan);
    const EntropyDecoder &from = scanInfo->scan.entropy;
    std::copy(std::begin(from.blockDc), std::end(from.blockDc), scan->entropy.blockDc);
    std::copy(std::begin(from.blockAc), std::end(from.blockAc), scan->entropy.blockAc);
    if (restore(scan, scanInfo->position)) {
        BRIMJ_SetupiMcu(info);
    } else {
        // What another scan has read must not pass for this one's.
        scan->streamBuffer->available = 0;
    }
}

int32_t BRIMJ_ProgDecodeSingleiMcu(JpegInfo *info, uint8_t ***outputRows) {
    return decode_progressive_imcu(info, outputRows);
}
// The window is the whole picture where nobody set one.
int32_t BRIMJ_ProgIDct(JpegInfo *info, uint8_t ***outputRows) { return transform_progressive_imcu(info, outputRows); }
int32_t BRIMJ_ProgIDctPartial(JpegInfo *info, uint8_t ***outputRows) {
    return transform_progressive_imcu(info, outputRows);
}

int32_t BRIMJ_ProgDecodeMcu_DC(JpegInfo *info, int16_t **blocks) { return decode_one(info, Pass::kDcFirst, blocks); }
int32_t BRIMJ_ProgDecodeMcu_AC(JpegInfo *info, int16_t **blocks) { return decode_one(info, Pass::kAcFirst, blocks); }
int32_t BRIMJ_ProgDecodeMcuRefine_DC(JpegInfo *info, int16_t **blocks) {
    return decode_one(info, Pass::kDcRefine, blocks);
}
int32_t BRIMJ_ProgDecodeMcuRefine_AC(JpegInfo *info, int16_t **blocks) {
    return decode_one(info, Pass::kAcRefine, blocks);
}
int32_t BRIMJ_ProgDecodeMcu(JpegInfo *info, int16_t **blocks) {
    return decode_one(info, either(info, Pass::kDcFirst, Pass::kAcFirst), blocks);
}
int32_t BRIMJ_ProgDecodeMcuRefine(JpegInfo *info, int16_t **blocks) {
    return decode_one(info, either(info, Pass::kDcRefine, Pass::kAcRefine), blocks);
}

uint32_t BRIMJ_GetSnapshotNumber(JpegInfo *info, uint32_t n) { return snapshots(info, n); }
uint32_t BRIMJ_GetCurrentSnapshotNumber(JpegInfo *info) { return snapshots(info, kMaxScans); }

int32_t BRIMJ_LOGN(uint32_t n) { return n ? 31 - __builtin_clz(n) : -1; }

}  // extern "C"
