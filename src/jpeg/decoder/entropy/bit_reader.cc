// The plain bit reader, and its exported functions.
#include "jpeg/decoder/entropy/bit_reader.h"

#include "jpeg/decoder/jpeg_info.h"
#include "jpeg/jpeg.h"

namespace vorel {
namespace {

constexpr int32_t kMinimumBits = 25;

}  // namespace

Fill next_stream_byte(ScanReader *scan, uint8_t *out) {
    StreamBuffer *stream = scan->streamBuffer;
    if (stream->available == 0) {
        // A block of a file is refilled at its base; for memory the address moves along.
        if (!is_memory(scan->io)) stream->buffer = scan->readBuffer;
        const int32_t wanted = within_positions(stream, kBlockBytes);
        if (wanted == 0) return Fill::kFailed;
        const int32_t delivered = VORELBRIM_Read_IO2(scan->io, &stream->buffer, wanted);
        if (delivered < 0) return Fill::kFailed;
        if (delivered == 0) return scan->io->position == scan->io->size ? Fill::kFailed : Fill::kStopped;
        stream->offset = 0;
        stream->available = delivered;
        stream->totalRead += delivered;
    }
    *out = *unread(stream);
    consume(stream, 1);
    return Fill::kOk;
}

bool take_end_as_marker(ScanReader *scan, Fill result) {
    if (!scan->ends_as_marker) return false;
    const bool ended = result == Fill::kStopped || scan->io->position >= scan->io->size;
    if (!ended) return false;
    scan->entropy.unreadMarker = kEoi;
    scan->entropy.marker_bytes = 0;
    return true;
}

Fill BitReader::fill(int32_t needed) {
    EntropyDecoder &entropy = scan_->entropy;
    while (count_ < kMinimumBits) {
        if (ahead_count_ > 0) {
            ahead_count_ -= 8;
            buffer_ = buffer_ << 8 | (ahead_ >> ahead_count_ & 255);
            count_ += 8;
            continue;
        }
        if (entropy.unreadMarker != 0) break;
        uint8_t byte;
        const Fill result = next_stream_byte(scan_, &byte);
        if (result != Fill::kOk && take_end_as_marker(scan_, result)) break;
        if (result != Fill::kOk) return result;
        int32_t stream_bytes = 1;
        if (byte == 0xFF) {
            do {
                const Fill behind = next_stream_byte(scan_, &byte);
                if (behind != Fill::kOk) {
                    if (!take_end_as_marker(scan_, behind)) return Fill::kStopped;
                    byte = kEoi;
                    break;
                }
                ++stream_bytes;
            } while (byte == 0xFF);
            if (byte != 0) {
                entropy.unreadMarker = byte;
                entropy.marker_bytes = stream_bytes;
                break;
            }
            byte = 0xFF;
        }
        buffer_ = buffer_ << 8 | byte;
        count_ += 8;
        for (int i = 3; i > 0; --i) bytes_[i] = bytes_[i - 1];
        bytes_[0] = stream_bytes;
    }
    if (count_ < needed) {
        entropy.insufficientData = 1;
        if (count_ < kMinimumBits) {
            buffer_ <<= kMinimumBits - count_;
            count_ = kMinimumBits;
        }
    }
    return Fill::kOk;
}

void BitReader::store() const {
    EntropyDecoder &entropy = scan_->entropy;
    const int32_t count = count_ + ahead_count_;
    const uint64_t ahead = ahead_ & ((uint64_t{1} << ahead_count_) - 1);
    const uint64_t bits = uint64_t{buffer_} << ahead_count_ | ahead;
    entropy.bitBuffer = static_cast<uint32_t>(bits & ((uint64_t{1} << count) - 1));
    entropy.bitCount = count;
    for (int i = 0; i < 4; ++i) entropy.ahead_bytes[i] = bytes_[i];
}

void BitReader::abandon() const {
    EntropyDecoder &entropy = scan_->entropy;
    const int32_t ahead = entropy.bitCount & ~7;
    entropy.bitBuffer = ahead < 32 ? entropy.bitBuffer >> ahead : 0;
    entropy.bitCount -= ahead;
}

Fill BitReader::symbol(const DerivedTable *table, int32_t *out) {
    if (count_ < 8) {
        const Fill result = fill(0);
        if (result != Fill::kOk) return result;
        if (count_ < 8) return long_symbol(table, 1, out);
    }
    const uint32_t look = table->lookup[buffer_ >> (count_ - 8) & 255];
    const int32_t length = static_cast<int32_t>(look >> 8);
    if (length > 8) return long_symbol(table, 9, out);
    count_ -= length;
    *out = static_cast<int32_t>(look & 255);
    return Fill::kOk;
}

Fill BitReader::long_symbol(const DerivedTable *table, int32_t length, int32_t *out) {
    int32_t code;
    Fill result = bits(length, &code);
    while (result == Fill::kOk && code > table->maxCode[length - 1]) {
        int32_t bit;
        result = bits(1, &bit);
        code = code << 1 | bit;
        ++length;
    }
    if (result != Fill::kOk) return result;
    // A code that no table has counts as symbol 0; 17 bits are gone.
    *out = length > 16 ? 0 : table->rawTable->symbols[(code + table->valOffset[length - 1]) & 255];
    return Fill::kOk;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

// Returns 1, or 0 for an input error or the end of the input. The result is in the bit state and in the record's
// stream buffer.
int32_t BRIMJ_ReadBits(BitState *bitState, uint32_t bitBuffer, int32_t bitCount, int32_t needed) {
    ScanReader *scan = &bitState->jpegInfo->scan;
    close_window(scan);
    BitReader reader(scan);
    reader.set(bitBuffer, bitCount);
    const Fill result = reader.fill(needed);
    bitState->bitBuffer = reader.buffer();
    bitState->bitCount = reader.count();
    bitState->next = unread(scan->streamBuffer);
    bitState->bytesLeft = scan->streamBuffer->available;
    return result != Fill::kFailed;
}

// Returns the symbol, or -1 when the bits cannot be had.
int32_t BRIMJ_DecodeHuffMan(BitState *bitState, uint32_t bitBuffer, int32_t bitCount, DerivedTable *table,
                            int32_t minimumBits) {
    ScanReader *scan = &bitState->jpegInfo->scan;
    close_window(scan);
    BitReader reader(scan);
    reader.set(bitBuffer, bitCount);
    // No code is longer than 16 bits, nor shorter than one.
    const int32_t shortest = minimumBits < 1 ? 1 : minimumBits > 16 ? 16 : minimumBits;
    int32_t symbol;
    const Fill result = reader.long_symbol(table, shortest, &symbol);
    bitState->bitBuffer = reader.buffer();
    bitState->bitCount = reader.count();
    bitState->next = unread(scan->streamBuffer);
    bitState->bytesLeft = scan->streamBuffer->available;
    return result == Fill::kOk ? symbol : -1;
}

}  // extern "C"
