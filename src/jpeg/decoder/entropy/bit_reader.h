// The plain bit reader: a 32-bit reservoir filled byte by byte, which states what every stream decodes to.
#pragma once

#include "jpeg/decoder/jpeg_info.h"

namespace vorel {

enum class Fill {
    kOk,
    kFailed,   // the input ended or could not be read
    kStopped,  // the input gave nothing but is not at its end: the MCU counts as done
};

// Takes a byte from the stream buffer, refilling it.
Fill next_stream_byte(JpegInfo *info, uint8_t *out);

class BitReader {
  public:
    explicit BitReader(JpegInfo *info)
        : info_(info), buffer_(info->entropy->bitBuffer), count_(info->entropy->bitCount) {}

    // Puts the reservoir back into the record.
    void store() const {
        info_->entropy->bitBuffer = count_ < 32 ? buffer_ & ((1u << count_) - 1) : buffer_;
        info_->entropy->bitCount = count_;
    }

    // Brings the reservoir to at least 25 bits where the stream has them. At a pending marker, and with fewer than
    // `needed` bits there, zeros follow and the data counts as insufficient.
    Fill fill(int32_t needed);

    // `size` bits, 1 <= size <= 16.
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
    void set(uint32_t buffer, int32_t count) {
        buffer_ = buffer;
        count_ = count;
    }

  private:
    JpegInfo *info_;
    uint32_t buffer_;
    int32_t count_;
};

}  // namespace vorel
