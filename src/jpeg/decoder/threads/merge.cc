// The decoder's way through chunks that others have read: find the MCU where one is in step, take its values, go on
// from where it ends.
#include <algorithm>
#include <cstring>

#include "jpeg/decoder/statistics/statistics.h"
#include "jpeg/decoder/threads/speculation.h"

namespace vorel {

// What the records have as the value in front of a place, of the component of that block where it is its last one.
int32_t Speculation::value_before(int32_t place, int32_t block) const {
    if (place == 0) return 0;
    const ChunkRecords *records = chunks_[merge_].records;
    const BlockValues &at = at_[block];
    const ptrdiff_t mcu = static_cast<ptrdiff_t>(place) * kPlaceMcus - 1;
    return records->values[static_cast<ptrdiff_t>(at.first_block) * records->most_mcus + mcu * at.step + at.first];
}

void Speculation::start_taking(const ScanReader *scan) {
    for (int32_t b = 0; b < scan->blocksInMcu; ++b) {
        const uint32_t component = scan->mcuMembership[b];
        offsets_[component] =
            static_cast<uint32_t>(scan->entropy.lastDc[component]) - static_cast<uint32_t>(value_before(place_, b));
    }
    cursor_ = place_ * kPlaceMcus;
    taking_ = true;
}

// Moves on to the first place at or behind the decoder's; true where they are the same. Equal places are followed by
// equal MCUs: there are no restarts, and nothing else of a reader's state has a say.
bool Speculation::find_place(const McuPlace &at) {
    const StepScope scope(JPEG_STAT_MERGE);
    const ChunkRecords *records = chunks_[merge_].records;
    const McuPlace *const begin = records->places, *const end = begin + records->place_count;
    const McuPlace *found = std::lower_bound(begin + place_, end, at,
                                             [](const McuPlace &a, const McuPlace &b) { return a.key() < b.key(); });
    place_ = static_cast<int32_t>(found - begin);
    return found != end && found->key() == at.key();
}

// Values out of the records. Fewer than count where they end, and before an MCU whose DC the decoder has to refuse.
int32_t Speculation::take(ScanReader *scan, McuMode mode, int32_t count, int16_t *const *blocks, uint8_t *last) {
    const StepScope scope(JPEG_STAT_MERGE);
    const ChunkRecords *records = chunks_[merge_].records;
    count = std::min(count, records->mcus - cursor_);
    int32_t taken = mode == McuMode::kDc ? 0 : count;
    const int32_t blocks_in_mcu = scan->blocksInMcu;
    for (; taken < count; ++taken, blocks += blocks_in_mcu) {
        bool in_range = true;
        for (int32_t b = 0; b < blocks_in_mcu; ++b) {
            const BlockValues &at = at_[b];
            const ptrdiff_t index = static_cast<ptrdiff_t>(at.first_block) * records->most_mcus +
                                    static_cast<ptrdiff_t>(cursor_ + taken) * at.step + at.first;
            const auto dc =
                static_cast<int32_t>(static_cast<uint32_t>(records->values[index]) + offsets_[scan->mcuMembership[b]]);
            in_range &= dc >= -scan->most_dc && dc <= scan->most_dc;
            *blocks[b] = static_cast<int16_t>(dc);
        }
        if (!in_range) break;
    }
    if (mode == McuMode::kDc) std::memset(last, 0, static_cast<size_t>(taken * blocks_in_mcu));
    cursor_ += taken;
    count_mcus(scan, taken);
    return taken;
}

// Puts the reader where the decoder stands in the records: at the last place before, and then MCU by MCU.
void Speculation::leave_records(ScanReader *scan) {
    const ChunkRecords *records = chunks_[merge_].records;
    const int32_t index = cursor_ / kPlaceMcus, behind = cursor_ % kPlaceMcus;
    const McuPlace &place = records->places[index];
    EntropyPosition position = {};
    position.next = place.next;
    position.bits = place.bits;
    position.bit_count = place.bit_count;
    position.mcus_done = scan->mcus_done - static_cast<uint64_t>(behind);
    for (int32_t b = 0; b < scan->blocksInMcu; ++b) {
        const uint32_t component = scan->mcuMembership[b];
        position.last_dc[component] =
            static_cast<int32_t>(static_cast<uint32_t>(value_before(index, b)) + offsets_[component]);
    }
    if (restore(scan, position)) decode_mcus(scan, McuMode::kSkip, behind, nullptr, nullptr);
    taking_ = false;
    finish_chunk();
}

int32_t Speculation::decode(ScanReader *scan, McuMode mode, int32_t count, int16_t *const *blocks, uint8_t *last) {
    const auto offset = [&](int32_t mcus) { return mode == McuMode::kSkip ? 0 : mcus * scan->blocksInMcu; };
    if (mode != McuMode::kDc && mode != McuMode::kSkip) {
        if (taking_) leave_records(scan);
        return decode_mcus(scan, mode, count, blocks, last);
    }
    int32_t done = 0;
    while (done < count) {
        if (taking_) {
            done += take(scan, mode, count - done, blocks + offset(done), last + offset(done));
            if (done < count) leave_records(scan);
            continue;
        }
        int32_t most = count - done;
        if (merge_ < chunk_count_) {
            const EntropyPosition position = tell(scan);
            most = std::min(most, kPlaceMcus);
            if (position.next >= chunks_[merge_].start) {
                const McuPlace at = {position.next, 0, position.bit_count};
                if (position.out_of_data || !wait_for_chunk()) {
                    finish_chunk();
                    continue;
                }
                if (find_place(at)) {
                    start_taking(scan);
                    continue;
                }
                if (place_ == chunks_[merge_].records->place_count) {
                    finish_chunk();
                    continue;
                }
                most = 1;
            }
        }
        const int32_t went = decode_mcus(scan, mode, most, blocks + offset(done), last + offset(done));
        done += went;
        if (went < most) break;
    }
    return done;
}

}  // namespace vorel
