// The plain bit reader: a 32-bit reservoir filled byte by byte, which states what every stream decodes to.
#pragma once

#include "jpeg/decoder/entropy/scan_reader.h"

namespace vorel {

enum class Fill {
    kOk,
    kFailed,   // the input ended or could not be read
    kStopped,  // the input gave nothing but is not at its end: the MCU counts as done
};

// Takes a byte from the stream buffer, refilling it.
Fill next_stream_byte(ScanReader *scan, uint8_t *out);

// A progressive frame's scan goes on at the end of the input as at a marker (EOI), which becomes the pending one. False
// for other frames, and where the input failed rather than ended.
bool take_end_as_marker(ScanReader *scan, Fill result);

// Reads from the reader's position. Whole bytes that an earlier one has read ahead count as unread: so what an MCU
// decodes to, also at the end of the input, depends on its position alone.
class BitReader {
  public:
    explicit BitReader(ScanReader *scan)
        : scan_(scan),
          ahead_(scan->entropy.bitBuffer),
          ahead_count_(scan->entropy.bitCount & ~7),
          buffer_(ahead_count_ < 32 ? ahead_ >> ahead_count_ : 0),
          count_(scan->entropy.bitCount & 7) {
        for (int i = 0; i < 4; ++i) bytes_[i] = scan->entropy.ahead_bytes[i];
    }

    // Puts the reservoir back into the reader.
    void store() const;
    // Gives up what was read since the reader was made, for an MCU that fails. The stream is behind it already, and so
    // are the whole bytes that were read ahead: only the rest of a byte stays, with which a position can be told.
    void abandon() const;

    // Brings the reservoir to at least 25 bits where the stream has them. At a pending marker, and with fewer than
    // `needed` bits there, zeros follow and the data counts as insufficient.
    Fill fill(int32_t needed);

    // `size` bits, 1 <= size <= 17.
    Fill bits(int32_t size, int32_t *out) {
        if (count_ < size) {
            const Fill result = fill(size);
            if (result != Fill::kOk) return result;
        }
        count_ -= size;
        *out = static_cast<int32_t>(buffer_ >> count_ & ((1u << size) - 1));
        return Fill::kOk;
    }

    // One Huffman symbol.
    Fill symbol(const DerivedTable *table, int32_t *out);
    // The same for a code known to have at least `length` bits.
    Fill long_symbol(const DerivedTable *table, int32_t length, int32_t *out);

    uint32_t buffer() const { return buffer_; }
    int32_t count() const { return count_; }
    // Takes a caller's reservoir in place of the reader's.
    void set(uint32_t buffer, int32_t count) {
        buffer_ = buffer;
        count_ = count < 0 ? 0 : count > 32 ? 32 : count;
        ahead_count_ = 0;
    }

  private:
    ScanReader *scan_;
    uint32_t ahead_;       // bytes read ahead by an earlier reader, the oldest on top
    int32_t ahead_count_;  // their bits
    uint32_t buffer_;
    int32_t count_;
    int32_t bytes_[4];  // see EntropyDecoder.ahead_bytes
};

}  // namespace vorel
