// The loop over the codes of a block. It stops at the end of the output or of the input, also inside a match, and goes
// on from there; where bytes before the output stand is the business of a History.
#pragma once

#include <bit>
#include <cstring>

#include "png/inflate/tables.h"

namespace vorel {

enum class InflateStop : uint8_t {
    kFull,     // the output is
    kInput,    // more is needed
    kBlock,    // of codes: the block's end was read; of streams: a block begins
    kEnd,      // of the last block
    kRefused,  // damaged, or something that zlib has to look at
};

// Where a stream stands. Between calls `bits` holds count bits that were taken from the input and not used, and zeros
// above them.
struct CodeReader {
    const uint8_t *in, *in_end;
    uint64_t bits;
    uint32_t count;
    // The match that the output's end cut: what is left of it, what was given, the bits that it took.
    uint32_t match_left, match_done, match_distance, match_bits;

    // Bits before the next code, for an input that began at `start`; those of a cut match are not used yet.
    int64_t position(const uint8_t *start) const {
        return 8 * int64_t{in - start} - int64_t{count} - int64_t{match_left ? match_bits : 0};
    }
};

// Matches reach as far back at most.
constexpr size_t kWindowBytes = size_t{32} << 10;

// Outputs have that much space behind their end, that copies may run over.
constexpr size_t kInflateSlack = 32;
constexpr size_t kFastInput = 16;    // bytes of input that a step of the fast loop may read
constexpr size_t kFastLiterals = 8;  // bytes of output that its literals may take

// Copies in steps of 16 bytes, up to 15 bytes beyond the end.
inline void copy_from_far(uint8_t *out, const uint8_t *from, size_t count) {
    uint8_t *const end = out + count;
    do {
        std::memcpy(out, from, 16);
        out += 16;
        from += 16;
    } while (out < end);
}

// From `distance` bytes before, which may be less than count.
inline void copy_match(uint8_t *out, size_t distance, size_t count) {
    if (distance >= 16) return copy_from_far(out, out - distance, count);
    if (distance == 1) {
        std::memset(out, out[-1], count);
        return;
    }
    uint8_t *const end = out + count;
    // By words: once eight bytes are there, from a multiple of the distance.
    size_t apart = distance;
    const uint8_t *from = out - distance;
    while (apart < 8) {
        for (size_t i = 0; i < apart && out < end; ++i) *out++ = *from++;
        from -= apart;
        apart *= 2;
    }
    for (; out < end; out += 8, from += 8) std::memcpy(out, from, 8);
}

// Bytes before the output stand before it in memory, from `begin` on.
struct PlainHistory {
    const uint8_t *begin;
    size_t most_distance;

    bool copy(uint8_t *out, size_t distance, size_t count) {
        if (distance > most_distance || distance > static_cast<size_t>(out - begin)) return false;
        copy_match(out, distance, count);
        return true;
    }
};

inline uint64_t word_of(const uint8_t *in) {
    uint64_t word;
    std::memcpy(&word, in, sizeof word);
    return std::endian::native == std::endian::little ? word : __builtin_bswap64(word);
}

// At most 63 bits.
inline void refill_bytes(CodeReader *reader) {
    while (reader->count < 56 && reader->in < reader->in_end) {
        reader->bits |= uint64_t{*reader->in++} << reader->count;
        reader->count += 8;
    }
}

inline InflateEntry second_level(const InflateEntry *table, InflateEntry entry, uint64_t bits, uint32_t first_bits) {
    const uint64_t index = bits >> first_bits & ((uint64_t{1} << (entry >> kEntryCodeShift & 15)) - 1);
    return table[(entry >> kEntryValueShift) + index];
}

inline uint32_t number_of(InflateEntry entry, uint64_t bits) {
    const uint64_t used = bits & ((uint64_t{1} << (entry & kEntryBits)) - 1);
    return (entry >> kEntryValueShift) + static_cast<uint32_t>(used >> (entry >> kEntryCodeShift & 15));
}

// One code by careful steps; nothing is used where the input does not have all of it.
struct CodeStep {
    InflateEntry entry;  // kEntryLiteral, kEntryOther, or a length
    uint32_t length, distance, bits;
};
inline InflateStop careful_step(CodeReader *reader, const InflateTables &tables, CodeStep *step) {
    refill_bytes(reader);
    uint64_t bits = reader->bits;
    InflateEntry entry = tables.length[bits & ((uint64_t{1} << tables.length_bits) - 1)];
    if ((entry & kEntryOther) && (entry & kEntryMore)) {
        entry = second_level(tables.length, entry, bits, tables.length_bits);
    }
    if ((entry & kEntryLiteral) && (entry >> kEntryFirstShift & 15)) {
        entry = (entry & ~kEntryBits) | (entry >> kEntryFirstShift & 15);  // the first of two
    }
    uint32_t used = entry & kEntryBits;
    if (used > reader->count) return InflateStop::kInput;
    step->entry = entry;
    if (!(entry & (kEntryLiteral | kEntryOther))) {
        step->length = number_of(entry, bits);
        bits >>= used;
        InflateEntry far = tables.distance[bits & ((1 << kDistanceTableBits) - 1)];
        if ((far & kEntryOther) && (far & kEntryMore)) {
            far = second_level(tables.distance, far, bits, kDistanceTableBits);
        }
        used += far & kEntryBits;
        if (used > reader->count) return InflateStop::kInput;
        if (far & kEntryOther) return InflateStop::kRefused;
        step->distance = number_of(far, bits);
    } else if ((entry & kEntryOther) && (entry & kEntryInvalid)) {
        return InflateStop::kRefused;
    }
    step->bits = used;
    reader->bits >>= used;
    reader->count -= used;
    return InflateStop::kFull;
}

// Up to `end`; *at moves. kBlock behind the end of the block.
template <class History>
InflateStop read_codes(CodeReader *reader, const InflateTables &tables, History *history, uint8_t **at, uint8_t *end) {
    uint8_t *out = *at;
    const auto copy_cut = [&](uint32_t length) {
        const uint32_t space = static_cast<uint32_t>(end - out);
        const uint32_t now = length < space ? length : space;
        if (!history->copy(out, reader->match_distance, now)) return false;
        out += now;
        reader->match_done += now;
        reader->match_left = length - now;
        return true;
    };
    if (reader->match_left) {
        if (!copy_cut(reader->match_left)) return InflateStop::kRefused;
        *at = out;
        if (reader->match_left) return InflateStop::kFull;
    }
    InflateStop stop = InflateStop::kFull;
    while (out < end) {
        if (static_cast<size_t>(end - out) >= kFastLiterals &&
            static_cast<size_t>(reader->in_end - reader->in) >= 2 * kFastInput) {
            // The fast loop: words of input, and entries looked up before they are needed.
            const uint8_t *in = reader->in;
            const uint8_t *const last_in = reader->in_end - kFastInput;
            uint8_t *const last_out = end - kFastLiterals;
            uint64_t bits = reader->bits;
            uint32_t count = reader->count;
            const uint64_t mask = (uint64_t{1} << tables.length_bits) - 1;
            bool broken = false;
            const auto refill = [&] {
                bits |= word_of(in) << count;
                in += (63 - count) >> 3;
                count |= 56;
            };
            const auto drop = [&](uint32_t used) {
                bits >>= used;
                count -= used;
            };
            const auto put_literals = [&](InflateEntry entry) {
                out[0] = static_cast<uint8_t>(entry >> kEntryValueShift);
                out[1] = static_cast<uint8_t>(entry >> (kEntryValueShift + 8));
                out += entry >> kEntryCountShift & 3;
                drop(entry & kEntryBits);
            };
            while (in <= last_in && out <= last_out) {
                refill();
                InflateEntry entry = tables.length[bits & mask];
                if (entry & kEntryLiteral) {
                    put_literals(entry);
                    entry = tables.length[bits & mask];
                    if (entry & kEntryLiteral) {
                        put_literals(entry);
                        entry = tables.length[bits & mask];
                        if (entry & kEntryLiteral) {
                            put_literals(entry);
                            continue;
                        }
                    }
                    refill();
                }
                if (entry & kEntryOther) {
                    if (!(entry & kEntryMore)) break;  // the end, or none: left to the careful step
                    entry = second_level(tables.length, entry, bits, tables.length_bits);
                    if (entry & kEntryOther) break;
                    if (entry & kEntryLiteral) {
                        put_literals(entry);
                        continue;
                    }
                }
                const uint32_t length = number_of(entry, bits), length_bits = entry & kEntryBits;
                uint64_t behind = bits >> length_bits;
                InflateEntry far = tables.distance[behind & ((1 << kDistanceTableBits) - 1)];
                if (far & kEntryOther) {
                    if (!(far & kEntryMore)) break;
                    far = second_level(tables.distance, far, behind, kDistanceTableBits);
                    if (far & kEntryOther) break;
                }
                const uint32_t distance = number_of(far, behind);
                if (length > static_cast<size_t>(end - out)) break;  // to be cut
                if (!history->copy(out, distance, length)) {
                    broken = true;
                    break;
                }
                drop(length_bits + (far & kEntryBits));
                out += length;
            }
            reader->in = in;
            reader->bits = bits & ((uint64_t{1} << count) - 1);
            reader->count = count;
            if (broken) {
                stop = InflateStop::kRefused;
                break;
            }
            if (out >= end) break;
        }
        CodeStep step = {};
        stop = careful_step(reader, tables, &step);
        if (stop != InflateStop::kFull) break;
        if (step.entry & kEntryLiteral) {
            *out++ = static_cast<uint8_t>(step.entry >> kEntryValueShift);
        } else if (step.entry & kEntryOther) {
            stop = InflateStop::kBlock;
            break;
        } else {
            reader->match_done = 0;
            reader->match_distance = step.distance;
            reader->match_bits = step.bits;
            if (!copy_cut(step.length)) {
                stop = InflateStop::kRefused;
                break;
            }
        }
    }
    *at = out;
    return stop;
}

// Goes on at a bit of the input; nothing is pending there.
inline void resume_at(CodeReader *reader, const uint8_t *start, const uint8_t *end, uint64_t bit) {
    *reader = {};
    reader->in = start + bit / 8;
    reader->in_end = end;
    if (bit % 8 == 0 || reader->in >= end) return;
    reader->bits = *reader->in++ >> (bit % 8);
    reader->count = 8 - static_cast<uint32_t>(bit % 8);
}

// Takes the match at whose code the reader stands, `skip` bytes of which are there already: kFull. kInput, with nothing
// used, where the input does not have all of it; kRefused where none stands.
inline InflateStop enter_match(CodeReader *reader, const InflateTables &tables, uint32_t skip) {
    CodeStep step = {};
    const InflateStop stop = careful_step(reader, tables, &step);
    if (stop != InflateStop::kFull) return stop;
    if ((step.entry & (kEntryLiteral | kEntryOther)) || skip >= step.length) return InflateStop::kRefused;
    reader->match_left = step.length - skip;
    reader->match_done = skip;
    reader->match_distance = step.distance;
    reader->match_bits = step.bits;
    return InflateStop::kFull;
}

}  // namespace vorel
