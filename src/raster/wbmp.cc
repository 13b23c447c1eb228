// WBMP type 0: one bit a pixel, shown one to one in the middle of the target or shrunk into it. Nothing here logs.
#include <algorithm>
#include <cstring>

#include "core/core.h"
#include "raster/raster.h"

namespace vorel {
namespace {

constexpr int32_t kMinBytes = 4;
constexpr int32_t kMaxGroups = 20;  // bytes of one multi-byte integer that are looked at
constexpr int32_t kFixedBytes = 2;  // type and fixed header field
constexpr int32_t kHeaderBytes = kFixedBytes + 2 * kMaxGroups;

struct Header {
    int32_t width, height;
    int32_t data_offset;

    int64_t row_bytes() const { return (int64_t{width} + 7) / 8; }
};

// The rectangle of the target that the picture takes.
struct Placement {
    int32_t width, height;
    int32_t left, top;
    bool shrinks;
};

// Hands out source rows: the input's own bytes, or one row buffer that is filled from the file.
class RowReader {
  public:
    RowReader(IoInfo *io, const Header &header) : io_(io), header_(header) {}
    // Required: the row buffer stands in place of the path pointer while a file is decoded, and the field is cleared
    // afterwards.
    ~RowReader() {
        if (io_->kind != kIoFile || !opened_) return;
        os_release(io_->source);
        io_->source = nullptr;
    }
    RowReader(const RowReader &) = delete;
    RowReader &operator=(const RowReader &) = delete;

    bool open() {
        if (io_->kind != kIoFile) return true;
        io_->source = os_allocate(static_cast<size_t>(std::max<int64_t>(header_.row_bytes(), 1)));
        opened_ = true;
        if (!io_->source) return false;
        VORELBRIM_Seek_IO(io_, header_.data_offset, SEEK_SET);
        return true;
    }

    // Rows are asked for in rising order, the same one repeatedly. Bytes that a file does not have are black.
    const uint8_t *row(int32_t index) {
        const int64_t bytes = header_.row_bytes();
        if (io_->kind != kIoFile) {
            return static_cast<const uint8_t *>(io_->source) + header_.data_offset + index * bytes;
        }
        uint8_t *buffer = static_cast<uint8_t *>(io_->source);
        if (index == held_) return buffer;
        if (index != held_ + 1) {
            VORELBRIM_Seek_IO(io_, static_cast<int32_t>(header_.data_offset + index * bytes), SEEK_SET);
        }
        const int32_t came = VORELBRIM_Read_IO(io_, buffer, static_cast<int32_t>(bytes));
        std::memset(buffer + came, 0, static_cast<size_t>(bytes - came));
        held_ = index;
        return buffer;
    }

  private:
    IoInfo *io_;
    const Header &header_;
    int32_t held_ = -1;
    bool opened_ = false;
};

// ---- header -------------------------------------------------------------------------------------------------------

int32_t read_integer(const uint8_t *bytes, int32_t length, int32_t *cursor) {
    uint8_t packed[kMaxGroups];
    int32_t groups = 0;
    const int32_t end = std::min(length, *cursor + kMaxGroups);
    const int32_t used = BRIMI_WBMPdecodeMultibyte(bytes, end, cursor, &groups, packed);
    return BRIMI_WBMPgetMultibyte2Int(packed, used, groups);
}

// False when the input is no WBMP, or shorter than its header and rows.
bool read_header(IoInfo *io, Header *header) {
    uint8_t bytes[kHeaderBytes];
    if (VORELBRIM_Seek_IO(io, 0, SEEK_SET) != 0) return false;
    const int32_t length = VORELBRIM_Read_IO(io, bytes, std::min(kHeaderBytes, io->size));
    // Memory is read where it stands: its position does not move.
    if (io->kind == kIoMemory) VORELBRIM_Seek_IO(io, 0, SEEK_SET);
    if (length < kFixedBytes || bytes[0] != 0 || (bytes[1] & 0x80)) return false;
    int32_t cursor = kFixedBytes;
    header->width = read_integer(bytes, length, &cursor);
    header->height = read_integer(bytes, length, &cursor);
    header->data_offset = cursor;
    // Neither product overflows: a row has at most 2^28 bytes.
    return cursor + header->height * header->row_bytes() <= io->size;
}

// ---- output rectangle ---------------------------------------------------------------------------------------------

// Required: only the bare stretch option stretches, not one with other bits beside it.
bool stretches(const DecInfo *session) { return session->decOption == VOREL_OPTION_FIT_STRETCH; }

Placement place(const Header &image, int32_t target_width, int32_t target_height, bool stretch) {
    Placement out = {target_width, target_height, 0, 0, true};
    if (target_width <= 0 || target_height <= 0 || image.width == 0 || image.height == 0) {
        out.width = out.height = 0;
        return out;
    }
    if (!stretch) {
        const double across = static_cast<double>(image.width) / target_width;
        const double down = static_cast<double>(image.height) / target_height;
        if (image.width <= target_width && image.height <= target_height) {
            out = {image.width, image.height, 0, 0, false};
        } else if (across >= down) {
            const int64_t height = int64_t{target_width} * image.height / image.width;
            out.height = static_cast<int32_t>(std::min<int64_t>(height, target_height));
        } else {
            const int64_t width = int64_t{target_height} * image.width / image.height;
            out.width = static_cast<int32_t>(std::min<int64_t>(width, target_width));
        }
    }
    // Required: odd margins round towards the right and the bottom.
    out.left = static_cast<int32_t>((int64_t{target_width} - out.width + 1) / 2);
    out.top = static_cast<int32_t>((int64_t{target_height} - out.height + 1) / 2);
    return out;
}

// ---- pixels -------------------------------------------------------------------------------------------------------

// A pixel of four grays 0 to 4 as each format stores it. A sample adds 63 to a channel, so white is 252 of 255.
template <int kBytes>
struct Pixel {
    uint8_t bytes[kBytes];
};

constexpr int kGrays = 5;
constexpr int kGrayStep = 0x3F;

template <int kBytes>
constexpr Pixel<kBytes> gray_pixel(int gray) {
    const int level = gray * kGrayStep;
    Pixel<kBytes> pixel = {};
    if constexpr (kBytes == 2) {
        const int word = (level >> 3) << 11 | (level >> 2) << 5 | level >> 3;
        pixel.bytes[0] = static_cast<uint8_t>(word & 0xFF);
        pixel.bytes[1] = static_cast<uint8_t>(word >> 8);
    } else {
        for (int i = 0; i < 3; ++i) pixel.bytes[i] = static_cast<uint8_t>(level);
        if constexpr (kBytes == 4) pixel.bytes[3] = 255;
    }
    return pixel;
}

// One to one, white is full. Required: in 16 bits it is 0xFFDF, with the lowest green bit clear.
template <int kBytes>
constexpr Pixel<kBytes> bit_pixel(bool white) {
    Pixel<kBytes> pixel = {};
    for (int i = 0; i < kBytes; ++i) pixel.bytes[i] = white ? 255 : 0;
    if (kBytes == 2 && white) pixel.bytes[0] = 0xDF;
    if (kBytes == 4) pixel.bytes[3] = 255;
    return pixel;
}

// Four pixels for each half of a source byte.
template <int kBytes>
struct NibbleTable {
    uint8_t pixels[16][4 * kBytes];
};

template <int kBytes>
constexpr NibbleTable<kBytes> make_nibbles() {
    NibbleTable<kBytes> table = {};
    for (int nibble = 0; nibble < 16; ++nibble) {
        for (int x = 0; x < 4; ++x) {
            const Pixel<kBytes> pixel = bit_pixel<kBytes>((nibble >> (3 - x)) & 1);
            for (int i = 0; i < kBytes; ++i) table.pixels[nibble][x * kBytes + i] = pixel.bytes[i];
        }
    }
    return table;
}

template <int kBytes>
constexpr NibbleTable<kBytes> kNibbles = make_nibbles<kBytes>();

template <int kBytes>
void expand_row(const uint8_t *bits, int32_t width, uint8_t *out) {
    constexpr size_t kQuad = 4 * kBytes;
    for (; width >= 8; width -= 8, ++bits, out += 2 * kQuad) {
        std::memcpy(out, kNibbles<kBytes>.pixels[*bits >> 4], kQuad);
        std::memcpy(out + kQuad, kNibbles<kBytes>.pixels[*bits & 15], kQuad);
    }
    if (width == 0) return;
    uint8_t last[2 * kQuad];
    std::memcpy(last, kNibbles<kBytes>.pixels[*bits >> 4], kQuad);
    std::memcpy(last + kQuad, kNibbles<kBytes>.pixels[*bits & 15], kQuad);
    std::memcpy(out, last, static_cast<size_t>(width) * kBytes);
}

// ---- drivers ------------------------------------------------------------------------------------------------------

struct Job {
    const Header &image;
    const Placement &at;
    uint8_t *output;
    int64_t stride_pixels;

    template <int kBytes>
    uint8_t *row(int32_t y) const {
        return output + ((int64_t{at.top} + y) * stride_pixels + at.left) * kBytes;
    }
};

template <int kBytes>
bool copy_rows(RowReader &rows, const Job &job) {
    for (int32_t y = 0; y < job.at.height; ++y) expand_row<kBytes>(rows.row(y), job.at.width, job.row<kBytes>(y));
    return true;
}

uint32_t bit_at(const uint8_t *row, int32_t column) { return (row[column >> 3] >> (7 - (column & 7))) & 1u; }

// The two source positions of an output position: at a quarter and at three quarters of its footprint.
struct Samples {
    int32_t a, b;
};

Samples samples_of(int32_t position, int32_t source, int32_t target) {
    return {tap(first_quarter(source), source, target, position), tap(third_quarter(source), source, target, position)};
}

// Shrinks by four samples a pixel, those at the quarter points of its footprint in both directions.
//
// Required: a source row that holds only the upper sample line of an output row counts its left sample twice and its
// right one not at all. Which rows do depends on the lines before: once a row has served as lower line of one output
// row and upper line of the next, the upper lines run ahead, and each shares its row's walk with a lower line, until
// a row holds no such pair.
template <int kBytes>
bool shrink_rows(RowReader &rows, const Job &job) {
    const Placement &at = job.at;
    size_t table_bytes;
    if (!checked_product(static_cast<uint64_t>(at.width), sizeof(Samples) + 1, &table_bytes)) return false;
    const OsBlock block(os_allocate(table_bytes));
    if (!block) return false;
    Samples *columns = block.as<Samples>();
    uint8_t *grays = reinterpret_cast<uint8_t *>(columns + at.width);
    for (int32_t x = 0; x < at.width; ++x) columns[x] = samples_of(x, job.image.width, at.width);

    Pixel<kBytes> pixels[kGrays];
    for (int gray = 0; gray < kGrays; ++gray) pixels[gray] = gray_pixel<kBytes>(gray);

    bool upper_leads = false;
    for (int32_t y = 0; y < at.height; ++y) {
        const Samples lines = samples_of(y, job.image.height, at.height);
        const bool upper_in_full = upper_leads || lines.a == lines.b;
        const uint8_t *bits = rows.row(lines.a);
        for (int32_t x = 0; x < at.width; ++x) {
            const uint32_t left = bit_at(bits, columns[x].a);
            grays[x] = static_cast<uint8_t>(left + (upper_in_full ? bit_at(bits, columns[x].b) : left));
        }
        bits = rows.row(lines.b);
        uint8_t *out = job.row<kBytes>(y);
        for (int32_t x = 0; x < at.width; ++x, out += kBytes) {
            const uint32_t gray = grays[x] + bit_at(bits, columns[x].a) + bit_at(bits, columns[x].b);
            std::memcpy(out, pixels[gray].bytes, kBytes);
        }
        if (upper_leads || !upper_in_full) upper_leads = samples_of(y + 1, job.image.height, at.height).a == lines.b;
    }
    return true;
}

template <int kBytes>
bool write_rows(RowReader &rows, const Job &job) {
    return job.at.shrinks ? shrink_rows<kBytes>(rows, job) : copy_rows<kBytes>(rows, job);
}

bool write_picture(int32_t color_format, RowReader &rows, const Job &job) {
    switch (color_format) {
        case COLOR_RGB565:
            return write_rows<2>(rows, job);
        case COLOR_RGB888:
            return write_rows<3>(rows, job);
        case COLOR_RGBA8888:
        case COLOR_BGRA8888:
            return write_rows<4>(rows, job);
        default:
            return false;
    }
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t VORELBRIMI_DecodeWBMP(DecInfo *session, void *output, int32_t targetWidth, int32_t targetHeight) {
    if (!session || !session->ioInfo || !output) return 0;
    IoInfo *io = session->ioInfo;
    if (io->size < kMinBytes || (io->kind != kIoFile && io->kind != kIoMemory)) return 0;
    Header image;
    if (!read_header(io, &image)) return 0;
    const Placement at = place(image, targetWidth, targetHeight, stretches(session));
    const bool empty = at.width == 0 || at.height == 0;
    RowReader rows(io, image);
    if (!rows.open()) return 0;
    const Job job = {image, at, static_cast<uint8_t *>(output), targetWidth};
    if (!empty && !write_picture(session->outColorFormat, rows, job)) return 0;
    session->outWidth = empty ? 0 : static_cast<uint32_t>(at.width);
    session->outHeight = empty ? 0 : static_cast<uint32_t>(at.height);
    return 1;
}

int32_t BRIMI_WBMPdecodeMultibyte(const uint8_t *data, int32_t length, int32_t *inOutCursor, int32_t *outGroupCount,
                                  uint8_t *scratch) {
    if (!data || !inOutCursor || !outGroupCount || !scratch) return 0;
    int32_t groups = 0;
    for (bool more = true; more && *inOutCursor >= 0 && *inOutCursor < length; ++groups) {
        const uint8_t byte = data[(*inOutCursor)++];
        more = byte >= 0x80;
        // The group's first bit is bit 7 * groups of the string, so it takes the tail of one byte and the head of the
        // next, which is the new last one at most.
        const int64_t bit = int64_t{groups} * 7;
        const uint32_t pair = static_cast<uint32_t>(byte & 0x7F) << (9 - bit % 8);
        scratch[groups] = 0;
        scratch[bit / 8] |= static_cast<uint8_t>(pair >> 8);
        if (bit % 8 > 1) scratch[bit / 8 + 1] |= static_cast<uint8_t>(pair & 0xFF);
    }
    *outGroupCount = groups;
    return groups;
}

// A value that 31 bits do not hold is the largest that they do: no input is long enough for it.
int32_t BRIMI_WBMPgetMultibyte2Int(const uint8_t *scratch, int32_t byteCount, int32_t groupCount) {
    if (!scratch) return 0;
    uint64_t folded = 0;
    bool overflowed = false;
    for (int32_t i = 0; i < byteCount; ++i) {
        overflowed |= folded >> 56 != 0;
        folded = folded << 8 | scratch[i];
    }
    if (overflowed) return INT32_MAX;
    const uint64_t value = groupCount < 1 ? folded : groupCount > 63 ? 0 : folded >> groupCount;
    return value > INT32_MAX ? INT32_MAX : static_cast<int32_t>(value);
}

// Modulo 2^32, by squaring.
int32_t BRIMI_WBMPpow(int32_t base, int32_t exponent) {
    uint32_t power = 1, square = static_cast<uint32_t>(base);
    for (; exponent > 0; exponent >>= 1, square *= square) {
        if (exponent & 1) power *= square;
    }
    return static_cast<int32_t>(power);
}

}  // extern "C"
