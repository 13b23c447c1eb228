#include "jpeg/decoder/region/stored_row.h"

#include <algorithm>
#include <cstring>

#include "core/core.h"
#include "core/session.h"
#include "jpeg/decoder/region/map.h"
#include "util/atomics.h"

namespace vorel {
namespace {

constexpr uint32_t kNoTile = UINT32_MAX;
// Of tiles: kCannotBeKept when they did not lead from one position to the next.
constexpr uint8_t kSeen = 1, kCannotBeKept = 2;

// A generous mean of what a block takes.
size_t packed_block_bytes(McuMode mode) { return mode == McuMode::kDc ? 4 : 32; }

bool same_input(const IoInfo *a, const IoInfo *b) {
    if (!a || !b) return false;
    if (is_memory(a) && is_memory(b)) return a->source == b->source && a->size == b->size;
    return a->kind == kIoFile && b->kind == kIoFile && a->path && b->path && std::strcmp(a->path, b->path) == 0;
}

}  // namespace

CoefficientStore *usable_store(const JpegInfo *info, McuMode mode) {
    CoefficientStore *store = info->lender ? info->lender->store : nullptr;
    if (!store || !is_baseline(info) || info->source || mode == McuMode::kSkip) return nullptr;
    // A child may read another input than its base by the base's map.
    if (!same_input(info->scan.io, info->lender->decInfo->ioInfo)) return nullptr;
    const McuRange shown = shown_mcus(info, &info->scan);
    const int64_t rows = info->plan.rows.end - info->plan.rows.first, per_imcu = info->plan.imcu_output_rows;
    const int64_t mcu_rows = (rows / (per_imcu > 0 ? per_imcu : 1) + 2) * mcu_rows_in_imcu(&info->scan, info->frame, 0);
    const int64_t blocks = (shown.end - shown.first) * mcu_rows * info->scan.blocksInMcu;
    return static_cast<uint64_t>(blocks) * packed_block_bytes(mode) <= store->share() ? store : nullptr;
}

StoredRow::StoredRow(JpegInfo *info, ScanReader *scan, McuMode mode, int32_t mcu_row, const McuRange &shown)
    : info_(info), scan_(scan), mode_(mode), store_(usable_store(info, mode)), reader_tile_(kNoTile) {
    if (!store_ || shown.first >= shown.end) return;
    const auto in_imcu = static_cast<uint64_t>(mcu_rows_in_imcu(scan, info->frame, 0));
    const uint64_t row = info->pump.imcu_row * in_imcu + static_cast<uint32_t>(mcu_row);
    first_mcu_ = row * scan->mcusPerRow;
    row_ = store_->enter(mode, static_cast<uint32_t>(row), scan->entropy.block_keep);
    if (!row_) return;
    const uint32_t interval = info->map->interval;
    const uint32_t first = static_cast<uint32_t>(shown.first) / interval;
    const uint32_t end = (static_cast<uint32_t>(shown.end) + interval - 1) / interval;
    uint32_t there = 0;
    for (uint32_t tile = first; tile < end; ++tile) there += CoefficientStore::tile(row_, tile) != nullptr;
    const bool mostly = 2 * there >= end - first;
    for (uint32_t tile = first; tile < end && there < end - first; ++tile) {
        if (CoefficientStore::tile(row_, tile)) continue;
        const uint8_t seen = load_relaxed(&row_->seen[tile]);
        if (seen == kCannotBeKept || is_cancelled(info->decInfo->parent)) break;
        if (!mostly && !seen) {
            store_relaxed(&row_->seen[tile], kSeen);
            continue;
        }
        if (!add_tile(tile)) break;
        ++there;
    }
    ready_ = there == end - first;
}

StoredRow::~StoredRow() {
    if (row_) store_->leave(row_);
}

bool StoredRow::add_tile(uint32_t tile) {
    const uint32_t interval = info_->map->interval, column = tile * interval;
    const uint32_t mcus = std::min(interval, scan_->mcusPerRow - column);
    McuBatch *batch = info_->pump.batch;
    const auto refuse = [&] {
        store_relaxed(&row_->seen[tile], kCannotBeKept);
        return false;
    };
    if (reader_tile_ != tile && !enter_mcu(info_, *info_->map, scan_, first_mcu_ + column)) return refuse();
    reader_tile_ = kNoTile;
    if (scan_->entropy.insufficientData) return refuse();
    const int32_t from = tell(scan_).next;
    int16_t *const *blocks = mode_ == McuMode::kDc ? batch->dc_blocks : batch->blocks;
    const bool done =
        decode_mcus(scan_, mode_, static_cast<int32_t>(mcus), blocks, batch->last) == static_cast<int32_t>(mcus);
    bytes_read_ += tell(scan_).next - from;
    if (!done || !stands_at(info_, *info_->map, scan_, first_mcu_ + column + mcus)) return refuse();
    if (column + mcus < scan_->mcusPerRow) reader_tile_ = tile + 1;
    PackedMcus *packed = pack_mcus(scan_, mode_, mcus, blocks, batch->last);
    return packed && store_->add(row_, tile, packed);
}

void StoredRow::blocks_of(int32_t first, int32_t mcus, int16_t *const *blocks, uint8_t *last) const {
    const uint32_t interval = info_->map->interval;
    for (auto at = static_cast<uint32_t>(first), left = static_cast<uint32_t>(mcus); left != 0;) {
        const uint32_t count = std::min(left, interval - at % interval);
        const int32_t step = static_cast<int32_t>(count) * scan_->blocksInMcu;
        unpack_mcus(CoefficientStore::tile(row_, at / interval), mode_, scan_->blocksInMcu, at % interval, count,
                    blocks, last);
        blocks += step;
        last += step;
        at += count;
        left -= count;
    }
}

}  // namespace vorel
