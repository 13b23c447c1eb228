// The window of the fast path: unstuffing the bytes ahead, and giving back what was not used of them.
#include "jpeg/decoder/entropy/entropy_window.h"

#include <cstring>

namespace vorel {
namespace {

const uint8_t *memory_end(const IoInfo *io) { return static_cast<const uint8_t *>(io->source) + io->size; }

}  // namespace

void unstuff(EntropyWindow *window, const uint8_t *from, const uint8_t *limit, const uint8_t *readable_end) {
    uint8_t *to = window->data;
    window->end_kind = WindowEnd::kMore;
    while (from < limit) {
        const void *found = std::memchr(from, 0xFF, static_cast<size_t>(limit - from));
        const uint8_t *ff = found ? static_cast<const uint8_t *>(found) : limit;
        std::memcpy(to, from, static_cast<size_t>(ff - from));
        to += ff - from;
        from = ff;
        if (ff == limit) break;
        if (ff + 1 == readable_end || ff[1] == 0xFF) {
            window->end_kind = WindowEnd::kOdd;
            break;
        }
        if (ff[1] != 0) {
            window->end_kind = WindowEnd::kMarker;
            window->marker = ff[1];
            break;
        }
        *to++ = 0xFF;
        from += 2;
    }
    window->end = to;
    const size_t padding = window->end_kind == WindowEnd::kMarker ? mcu_bytes_ahead(kMaxBlocksInMcu) : 8;
    std::memset(to, 0, padding);
}

namespace {

// Moves the stream buffer to `raw`. In memory that may be many blocks ahead: the counters become what steps of 16384
// bytes would have made them.
void move_stream(ScanReader *scan, const uint8_t *raw) {
    StreamBuffer *stream = scan->streamBuffer;
    ptrdiff_t bytes = raw - unread(stream);
    while (bytes > stream->available) {
        bytes -= stream->available;
        stream->offset = 0;
        stream->available = VORELBRIM_Read_IO2(scan->io, &stream->buffer, kBlockBytes);
        if (stream->available <= 0) {
            // Somebody else has moved the input on.
            stream->available = 0;
            return;
        }
        stream->totalRead += stream->available;
    }
    consume(stream, static_cast<int32_t>(bytes));
}

}  // namespace

bool open_window(ScanReader *scan) {
    const EntropyDecoder &entropy = scan->entropy;
    EntropyWindow *window = scan->window;
    StreamBuffer *stream = scan->streamBuffer;
    if (entropy.unreadMarker != 0 || entropy.bitCount < 0 || entropy.bitCount > 32) return false;
    const uint8_t *end;
    if (is_memory(scan->io)) {
        end = memory_end(scan->io);
        // Behind a seek there is no block yet.
        if (stream->available == 0 && BRIMJ_CheckBuffer(stream, 1) == 0) return false;
    } else {
        // Every raw byte may be half of a stuffed pair.
        BRIMJ_CheckBuffer(stream, 2 * mcu_bytes_ahead(scan->blocksInMcu));
        end = unread(stream) + stream->available;
    }
    const uint8_t *from = unread(stream);
    const uint8_t *limit = end - from > kWindowRawBytes ? from + kWindowRawBytes : end;
    unstuff(window, from, limit, end);
    window->raw = window->raw_mark = from;
    window->data_mark = 0;
    window->next = window->data;
    window->bits = entropy.bitCount;
    window->reservoir = entropy.bitCount ? static_cast<uint64_t>(entropy.bitBuffer) << (64 - entropy.bitCount) : 0;
    window->open = true;
    return true;
}

void fetch_while_decoding(ScanReader *scan, const FetchAhead &fetch) {
    if (scan->window) scan->window->fetch = fetch;
}

const uint8_t *raw_position(EntropyWindow *window, ptrdiff_t count) {
    if (count < window->data_mark) {
        window->raw_mark = window->raw;
        window->data_mark = 0;
    }
    const uint8_t *raw = window->raw_mark;
    ptrdiff_t left = count - window->data_mark;
    while (left > 0) {
        const void *found = std::memchr(raw, 0xFF, static_cast<size_t>(left));
        if (!found) {
            raw += left;
            break;
        }
        const ptrdiff_t clean = static_cast<const uint8_t *>(found) - raw;
        raw += clean + 2;
        left -= clean + 1;
    }
    window->raw_mark = raw;
    window->data_mark = count;
    return raw;
}

void close_window(ScanReader *scan) {
    EntropyDecoder &entropy = scan->entropy;
    EntropyWindow *window = scan->window;
    if (!window || !window->open) return;
    window->open = false;
    // The position in bits, counted from the first byte of data; negative while bits from before are left.
    const ptrdiff_t position = (window->next - window->data) * 8 - window->bits;
    const ptrdiff_t size = window->end - window->data;
    if (position < 0) {
        entropy.bitCount = static_cast<int32_t>(-position);
        entropy.bitBuffer = static_cast<uint32_t>(window->reservoir >> (64 + position));
    } else if (position > size * 8) {
        // More bits were used than there are: the marker was met.
        entropy.bitCount = 0;
        entropy.bitBuffer = 0;
        entropy.insufficientData = 1;
        entropy.unreadMarker = window->marker;
        entropy.marker_bytes = 2;
        move_stream(scan, raw_position(window, size) + 2);
    } else {
        // Whole bytes go back.
        const ptrdiff_t used = (position + 7) / 8;
        entropy.bitCount = static_cast<int32_t>(used * 8 - position);
        entropy.bitBuffer = entropy.bitCount ? window->data[used - 1] & ((1u << entropy.bitCount) - 1) : 0;
        move_stream(scan, raw_position(window, used));
    }
}

}  // namespace vorel
