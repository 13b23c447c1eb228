// The plain bit reader, and its exported doors.
#include "jpeg/decoder/entropy/bit_reader.h"

namespace vorel {
namespace {

constexpr int32_t kMinimumBits = 25;

}  // namespace

Fill next_stream_byte(JpegInfo *info, uint8_t *out) {
    StreamBuffer *stream = info->streamBuffer;
    if (stream->available == 0) {
        // A block of a file is refilled at its base; for memory the address moves along.
        if (!is_memory(info->io)) stream->buffer = info->readBuffer;
        const int32_t wanted = within_positions(stream, kBlockBytes);
        if (wanted == 0) return Fill::kFailed;
        const int32_t delivered = VORELBRIM_Read_IO2(info->io, &stream->buffer, wanted);
        if (delivered < 0) return Fill::kFailed;
        if (delivered == 0) return info->io->position == info->io->size ? Fill::kFailed : Fill::kStopped;
        stream->offset = 0;
        stream->available = delivered;
        stream->totalRead += delivered;
    }
    *out = *unread(stream);
    consume(stream, 1);
    return Fill::kOk;
}

Fill BitReader::fill(int32_t needed) {
    while (count_ < kMinimumBits && info_->unreadMarker == 0) {
        uint8_t byte;
        const Fill result = next_stream_byte(info_, &byte);
        if (result != Fill::kOk) return result;
        if (byte == 0xFF) {
            do {
                const Fill behind = next_stream_byte(info_, &byte);
                if (behind != Fill::kOk) return Fill::kStopped;
            } while (byte == 0xFF);
            if (byte != 0) {
                info_->unreadMarker = byte;
                break;
            }
            byte = 0xFF;
        }
        buffer_ = buffer_ << 8 | byte;
        count_ += 8;
    }
    if (count_ < needed) {
        info_->entropy->insufficientData = 1;
        buffer_ <<= kMinimumBits - count_;
        count_ = kMinimumBits;
    }
    return Fill::kOk;
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
    JpegInfo *info = bitState->jpegInfo;
    BitReader reader(info);
    reader.set(bitBuffer, bitCount);
    const Fill result = reader.fill(needed);
    bitState->bitBuffer = reader.buffer();
    bitState->bitCount = reader.count();
    bitState->next = unread(info->streamBuffer);
    bitState->bytesLeft = info->streamBuffer->available;
    return result != Fill::kFailed;
}

// Returns the symbol, or -1 when the bits cannot be had.
int32_t BRIMJ_DecodeHuffMan(BitState *bitState, uint32_t bitBuffer, int32_t bitCount, DerivedTable *table,
                            int32_t minimumBits) {
    JpegInfo *info = bitState->jpegInfo;
    BitReader reader(info);
    reader.set(bitBuffer, bitCount);
    int32_t symbol;
    const Fill result = reader.long_symbol(table, minimumBits, &symbol);
    bitState->bitBuffer = reader.buffer();
    bitState->bitCount = reader.count();
    bitState->next = unread(info->streamBuffer);
    bitState->bytesLeft = info->streamBuffer->available;
    return result == Fill::kOk ? symbol : -1;
}

}  // extern "C"
