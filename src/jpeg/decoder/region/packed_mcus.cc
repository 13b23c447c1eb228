#include "jpeg/decoder/region/packed_mcus.h"

#include <cstring>

#include "core/core.h"
#include "jpeg/jpeg.h"

namespace vorel {
namespace {

// Values of a block take a byte each, or two.
constexpr uint8_t kWide = 128;
// Entries come in fours, so that the loop that reads them ends at few places; those over are a DC of zero.
constexpr int32_t kGroup = 4;
constexpr size_t kMostBlockBytes = 4 + kBlockCoefficients * 3;

constexpr uint64_t corner(int32_t side) {
    uint64_t mask = 0;
    for (int32_t i = 0; i < side * side; ++i) mask |= uint64_t{1} << (i / side * kBlockSide + i % side);
    return mask;
}

// Where decode_mcus leaves a block in order, by natural place: other kernels look no further.
uint64_t kept_places(McuMode mode, int32_t keep) {
    if (mode == McuMode::kFull || keep > kKeep2to1) return ~uint64_t{0};
    return keep > kKeep4to1 ? corner(4) : corner(2);
}

uint8_t *pack_block(const int16_t *block, uint8_t last, uint64_t kept, uint8_t *to) {
    uint8_t places[kBlockCoefficients + kGroup] = {};
    int16_t values[kBlockCoefficients + kGroup] = {};
    int32_t count = 0, wide = 0;
    // Which are zero cannot be foreseen: no branches.
    for (int32_t k = 1; k <= last; ++k) {
        const uint8_t place = vorel_natural_order[k];
        const int16_t value = block[place];
        places[count] = place;
        values[count] = value;
        const int32_t taken = static_cast<int32_t>(value != 0) & static_cast<int32_t>(kept >> place & 1);
        wide |= taken & static_cast<int32_t>(value != static_cast<int8_t>(value));
        count += taken;
    }
    for (; count % kGroup; ++count) places[count] = 0, values[count] = 0;
    std::memcpy(to, &block[0], sizeof(int16_t));
    to[2] = last;
    to[3] = static_cast<uint8_t>(count | (wide ? kWide : 0));
    to += 4;
    std::memcpy(to, places, static_cast<size_t>(count));
    to += count;
    if (wide) {
        std::memcpy(to, values, static_cast<size_t>(count) * sizeof(int16_t));
        return to + static_cast<size_t>(count) * sizeof(int16_t);
    }
    for (int32_t i = 0; i < count; ++i) *to++ = static_cast<uint8_t>(values[i]);
    return to;
}

// By stores of 16 bytes, as the entropy decoder's.
void clear(int16_t *block) {
    using Piece __attribute__((vector_size(16), aligned(2), may_alias)) = int16_t;
    for (int32_t i = 0; i < 8; ++i) reinterpret_cast<Piece *>(block)[i] = Piece{};
}

const uint8_t *unpack_block(const uint8_t *from, int16_t *block, uint8_t *last) {
    clear(block);
    const int32_t count = from[3] & ~kWide;
    const bool wide = from[3] & kWide;
    const uint8_t *places = from + 4, *values = places + count;
    *last = from[2];
    if (wide) {
        for (int32_t i = 0; i < count; ++i) std::memcpy(&block[places[i]], values + 2 * i, sizeof(int16_t));
        values += count;
    } else {
        for (int32_t i = 0; i < count; i += kGroup) {
            for (int32_t j = i; j < i + kGroup; ++j) block[places[j]] = static_cast<int8_t>(values[j]);
        }
    }
    std::memcpy(&block[0], from, sizeof(int16_t));
    return values + count;
}

uint32_t *starts_of(PackedMcus *packed) { return reinterpret_cast<uint32_t *>(packed + 1); }
const uint32_t *starts_of(const PackedMcus *packed) { return reinterpret_cast<const uint32_t *>(packed + 1); }

}  // namespace

PackedMcus *pack_mcus(const ScanReader *scan, McuMode mode, uint32_t mcus, const int16_t *const *blocks,
                      const uint8_t *last) {
    const bool dc = mode == McuMode::kDc;
    const size_t block_bytes = dc ? sizeof(int16_t) : kMostBlockBytes;
    const size_t head = sizeof(PackedMcus) + mcus * sizeof(uint32_t);
    auto *packed = static_cast<PackedMcus *>(os_allocate(head + mcus * scan->blocksInMcu * block_bytes));
    if (!packed) return nullptr;
    uint8_t *const memory = reinterpret_cast<uint8_t *>(packed), *to = memory + head;
    for (uint32_t mcu = 0; mcu < mcus; ++mcu) {
        starts_of(packed)[mcu] = static_cast<uint32_t>(to - memory);
        for (int32_t b = 0; b < scan->blocksInMcu; ++b, ++blocks, ++last) {
            if (dc) {
                std::memcpy(to, *blocks, sizeof(int16_t));
                to += sizeof(int16_t);
            } else {
                to = pack_block(*blocks, *last, kept_places(mode, scan->entropy.block_keep[b]), to);
            }
        }
    }
    packed->bytes = static_cast<uint32_t>(to - memory);
    packed->mcus = mcus;
    void *const fitted = os_reallocate(packed, packed->bytes);
    return fitted ? static_cast<PackedMcus *>(fitted) : packed;
}

void unpack_mcus(const PackedMcus *packed, McuMode mode, int32_t blocks_in_mcu, uint32_t first, uint32_t mcus,
                 int16_t *const *blocks, uint8_t *last) {
    const uint8_t *from = reinterpret_cast<const uint8_t *>(packed) + starts_of(packed)[first];
    const int32_t count = static_cast<int32_t>(mcus) * blocks_in_mcu;
    if (mode == McuMode::kDc) {
        for (int32_t b = 0; b < count; ++b) std::memcpy(blocks[b], from + 2 * b, sizeof(int16_t));
        std::memset(last, 0, static_cast<size_t>(count));
        return;
    }
    for (int32_t b = 0; b < count; ++b) from = unpack_block(from, blocks[b], &last[b]);
}

}  // namespace vorel
