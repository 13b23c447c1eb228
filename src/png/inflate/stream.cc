#include "png/inflate/stream.h"

#include <algorithm>

namespace vorel {
namespace {

constexpr uint8_t kLengthsOrder[kLengthsCodes] = {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};

bool has_bits(CodeReader *reader, uint32_t wanted) {
    if (reader->count < wanted) refill_bytes(reader);
    return reader->count >= wanted;
}

uint32_t peek(const CodeReader &reader, uint32_t bits) {
    return static_cast<uint32_t>(reader.bits & ((uint64_t{1} << bits) - 1));
}

uint32_t take(CodeReader *reader, uint32_t bits) {
    const uint32_t value = peek(*reader, bits);
    reader->bits >>= bits;
    reader->count -= bits;
    return value;
}

// RFC 1950, clause 2.2, without a preset dictionary.
InflateStop read_zlib_header(InflateStream *stream) {
    if (!has_bits(&stream->reader, 16)) return InflateStop::kInput;
    const uint32_t method = take(&stream->reader, 8), flags = take(&stream->reader, 8);
    if ((method << 8 | flags) % 31 != 0 || (method & 15) != 8 || method >> 4 > 7 || (flags & 0x20)) {
        return InflateStop::kRefused;
    }
    stream->window = uint32_t{1} << ((method >> 4) + 8);
    stream->phase = InflateStream::kBlockHeader;
    return InflateStop::kFull;
}

InflateStop read_block_header(InflateStream *stream) {
    if (!has_bits(&stream->reader, 3)) return InflateStop::kInput;
    stream->last_block = take(&stream->reader, 1) != 0;
    switch (take(&stream->reader, 2)) {
        case 0:
            stream->kind = BlockKind::kStored;
            stream->phase = InflateStream::kStoredLength;
            take(&stream->reader, stream->reader.count & 7);
            return InflateStop::kFull;
        case 1:
            stream->kind = BlockKind::kFixed;
            stream->phase = InflateStream::kCodes;
            if (stream->fixed) return InflateStop::kFull;
            fixed_code_lengths(stream->lengths, stream->lengths + kLengthSymbols);
            stream->length_codes = kLengthSymbols;
            stream->distance_codes = kDistanceSymbols;
            make_block_tables(BlockKind::kFixed, stream->lengths, kLengthSymbols, kDistanceSymbols,
                              kMostLengthTableBits, stream->pairs, &stream->tables);
            stream->fixed = true;
            return InflateStop::kFull;
        case 2:
            stream->kind = BlockKind::kDynamic;
            stream->phase = InflateStream::kCounts;
            stream->fixed = false;
            return InflateStop::kFull;
        default:
            return InflateStop::kRefused;
    }
}

InflateStop read_stored_length(InflateStream *stream) {
    if (!has_bits(&stream->reader, 32)) return InflateStop::kInput;
    const uint32_t length = take(&stream->reader, 16), inverse = take(&stream->reader, 16);
    if (length != (inverse ^ 0xFFFF)) return InflateStop::kRefused;
    stream->stored_left = length;
    stream->phase = InflateStream::kStored;
    return InflateStop::kFull;
}

InflateStop read_counts(InflateStream *stream) {
    if (!has_bits(&stream->reader, 14)) return InflateStop::kInput;
    stream->length_codes = take(&stream->reader, 5) + 257;
    stream->distance_codes = take(&stream->reader, 5) + 1;
    stream->lengths_codes = take(&stream->reader, 4) + 4;
    if (stream->length_codes > kMostLengthCodes || stream->distance_codes > kMostDistanceCodes) {
        return InflateStop::kRefused;
    }
    std::memset(stream->lengths_code, 0, sizeof stream->lengths_code);
    stream->have = 0;
    stream->phase = InflateStream::kLengthsCode;
    return InflateStop::kFull;
}

InflateStop read_lengths_code(InflateStream *stream) {
    for (; stream->have < stream->lengths_codes; ++stream->have) {
        if (!has_bits(&stream->reader, 3)) return InflateStop::kInput;
        stream->lengths_code[kLengthsOrder[stream->have]] = static_cast<uint8_t>(take(&stream->reader, 3));
    }
    if (!make_lengths_table(stream->lengths_code, stream->lengths_table)) return InflateStop::kRefused;
    stream->have = 0;
    stream->phase = InflateStream::kLengths;
    return InflateStop::kFull;
}

InflateStop read_lengths(InflateStream *stream) {
    CodeReader *reader = &stream->reader;
    const uint32_t wanted = stream->length_codes + stream->distance_codes;
    while (stream->have < wanted) {
        if (reader->count < 14) refill_bytes(reader);
        const InflateEntry entry = stream->lengths_table[peek(*reader, kLengthsTableBits)];
        const uint32_t symbol = entry >> kEntryValueShift, bits = entry & kEntryBits;
        const uint32_t extra = symbol < 16 ? 0 : symbol == 16 ? 2 : symbol == 17 ? 3 : 7;
        if (bits > reader->count) return InflateStop::kInput;
        // zlib looks for the value to repeat when it has all bits.
        if (bits + extra > reader->count) return InflateStop::kInput;
        take(reader, bits);
        uint32_t times = 1;
        uint8_t value = static_cast<uint8_t>(symbol);
        if (symbol >= 16) {
            if (symbol == 16 && stream->have == 0) return InflateStop::kRefused;
            times = take(reader, extra) + (symbol == 18 ? 11 : 3);
            value = symbol == 16 ? stream->lengths[stream->have - 1] : 0;
        }
        if (times > wanted - stream->have) return InflateStop::kRefused;
        std::memset(stream->lengths + stream->have, value, times);
        stream->have += times;
    }
    if (!make_block_tables(BlockKind::kDynamic, stream->lengths, stream->length_codes, stream->distance_codes,
                           kMostLengthTableBits, stream->pairs, &stream->tables)) {
        return InflateStop::kRefused;
    }
    stream->phase = InflateStream::kCodes;
    return InflateStop::kFull;
}

}  // namespace

void start_inflate(InflateStream *stream, bool zlib_header) {
    stream->reader = {};
    stream->phase = zlib_header ? InflateStream::kZlibHeader : InflateStream::kBlockHeader;
    stream->last_block = false;
    stream->pairs = false;
    stream->fixed = false;
    stream->window = kWindowBytes;
    stream->stored_left = 0;
}

bool make_block_tables(BlockKind kind, const uint8_t *lengths, uint32_t length_codes, uint32_t distance_codes,
                       int table_bits, bool pairs, InflateTables *tables) {
    if (kind == BlockKind::kStored) return true;
    return make_length_table(lengths, static_cast<int>(length_codes), table_bits, pairs, tables) &&
           make_distance_table(lengths + length_codes, static_cast<int>(distance_codes), tables);
}

InflateStop read_headers(InflateStream *stream) {
    while (true) {
        InflateStop stop;
        switch (stream->phase) {
            case InflateStream::kZlibHeader:
                stop = read_zlib_header(stream);
                break;
            case InflateStream::kBlockHeader:
                stop = read_block_header(stream);
                break;
            case InflateStream::kStoredLength:
                stop = read_stored_length(stream);
                break;
            case InflateStream::kCounts:
                stop = read_counts(stream);
                break;
            case InflateStream::kLengthsCode:
                stop = read_lengths_code(stream);
                break;
            case InflateStream::kLengths:
                stop = read_lengths(stream);
                break;
            case InflateStream::kEnded:
                return InflateStop::kEnd;
            default:
                return InflateStop::kFull;
        }
        if (stop != InflateStop::kFull) return stop;
    }
}

InflateStop copy_stored(InflateStream *stream, uint8_t **at, uint8_t *end) {
    CodeReader *reader = &stream->reader;
    while (stream->stored_left > 0 && *at < end) {
        if (reader->count >= 8) {  // whole bytes, as the block begins at one
            *(*at)++ = static_cast<uint8_t>(take(reader, 8));
            --stream->stored_left;
            continue;
        }
        const size_t now = std::min({static_cast<size_t>(stream->stored_left), static_cast<size_t>(end - *at),
                                     static_cast<size_t>(reader->in_end - reader->in)});
        if (now == 0) return InflateStop::kInput;
        std::memcpy(*at, reader->in, now);
        *at += now;
        reader->in += now;
        stream->stored_left -= static_cast<uint32_t>(now);
    }
    // What follows is looked at when there is space for it, as behind codes.
    return stream->stored_left == 0 && *at < end ? InflateStop::kBlock : InflateStop::kFull;
}

}  // namespace vorel
