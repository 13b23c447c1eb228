// The Exif data of one picture for a file with other pixels: changed in place, so that everything else stays as the
// camera wrote it (Exif 2.3, 4.6; TIFF 6.0 section 2).
#include "exif_copy.h"

#include <vorel/exif.h>

namespace vorel_tool {
namespace {

constexpr size_t kEntryBytes = 12;
constexpr uint32_t kShort = 3, kLong = 4;
constexpr uint32_t kImageWidth = 256, kImageLength = 257, kOrientation = 274;
constexpr uint32_t kExifDirectory = 34665, kPixelXDimension = 40962, kPixelYDimension = 40963;
constexpr uint32_t kThumbnailOffset = 513, kThumbnailLength = 514;

// Numbers of a TIFF structure, in its byte order. What lies outside reads as 0 and is not written.
class Tiff {
  public:
    explicit Tiff(std::vector<uint8_t> *bytes) : bytes_(*bytes), little_(bytes_.size() > 8 && bytes_[0] == 'I') {}

    uint32_t number(size_t at, int count) const {
        uint32_t value = 0;
        if (!holds(at, count)) return 0;
        for (int i = 0; i < count; ++i) value |= uint32_t{bytes_[at + i]} << shift(i, count);
        return value;
    }
    void set(size_t at, int count, uint32_t value) {
        if (!holds(at, count)) return;
        for (int i = 0; i < count; ++i) bytes_[at + i] = static_cast<uint8_t>(value >> shift(i, count));
    }
    // Where the first entry of a tag with one SHORT or LONG begins, from one of the entries on; 0 without one.
    size_t find(size_t directory, uint32_t tag, uint32_t from = 0) const {
        const uint32_t count = directory ? number(directory, 2) : 0;
        for (uint32_t i = from; i < count; ++i) {
            const size_t at = directory + 2 + i * kEntryBytes;
            const uint32_t type = number(at + 2, 2);
            if (number(at, 2) == tag && (type == kShort || type == kLong) && number(at + 4, 4) == 1) return at;
        }
        return 0;
    }
    uint32_t value(size_t entry) const { return entry ? number(entry + 8, bytes_of(entry)) : 0; }
    // In all entries of the tag: readers differ in which of two they believe.
    void set_values(size_t directory, uint32_t tag, int32_t value) {
        for (size_t at = find(directory, tag); at;) {
            set(at + 8, bytes_of(at), static_cast<uint32_t>(value));
            at = find(directory, tag, static_cast<uint32_t>((at - directory - 2) / kEntryBytes + 1));
        }
    }
    // Where a directory's link to the next one stands.
    size_t link_of(size_t directory) const { return directory + 2 + number(directory, 2) * kEntryBytes; }

  private:
    bool holds(size_t at, int count) const { return at <= bytes_.size() && bytes_.size() - at >= size_t(count); }
    int shift(int i, int count) const { return 8 * (little_ ? i : count - 1 - i); }
    int bytes_of(size_t entry) const { return number(entry + 2, 2) == kShort ? 2 : 4; }

    std::vector<uint8_t> &bytes_;
    bool little_;
};

// Takes the 1st directory out; of the thumbnail's bytes also those that end the structure.
void drop_thumbnail(std::vector<uint8_t> *exif, Tiff *tiff, size_t zeroth) {
    const size_t first = tiff->number(tiff->link_of(zeroth), 4);
    if (!first) return;
    const size_t offset = tiff->value(tiff->find(first, kThumbnailOffset));
    const size_t length = tiff->value(tiff->find(first, kThumbnailLength));
    tiff->set(tiff->link_of(zeroth), 4, 0);
    if (offset > first && offset < exif->size() && length >= exif->size() - offset) exif->resize(offset);
}

}  // namespace

std::vector<uint8_t> exif_block_of(Session &session) {
    uint32_t length = 0;
    uint8_t *block = vorel_exif_block(session.get(), &length);
    if (!block) return {};
    const std::vector<uint8_t> bytes(block, block + length);
    VORELBRIM_OsFree(block);
    return bytes;
}

bool is_mirrored(int32_t orientation) {
    return orientation == 2 || orientation == 4 || orientation == 5 || orientation == 7;
}

int32_t orientation_behind(int32_t orientation, int degrees) {
    // A quarter turn of a picture that is still to be mirrored counts twice: 2 and 4, 5 and 7 change places.
    if (!is_mirrored(orientation) || degrees % 180 == 0) return orientation;
    return orientation == 2 || orientation == 4 ? 6 - orientation : 12 - orientation;
}

void make_true(std::vector<uint8_t> *exif, const TrueFor &pixels) {
    Tiff tiff(exif);
    const size_t zeroth = tiff.number(4, 4);
    const size_t camera = tiff.value(tiff.find(zeroth, kExifDirectory));
    if (pixels.orientation) tiff.set_values(zeroth, kOrientation, pixels.orientation);
    for (const auto &[directory, across, down] :
         {std::tuple(zeroth, kImageWidth, kImageLength), {camera, kPixelXDimension, kPixelYDimension}}) {
        tiff.set_values(directory, across, pixels.width);
        tiff.set_values(directory, down, pixels.height);
    }
    if (!pixels.keep_thumbnail && zeroth) drop_thumbnail(exif, &tiff, zeroth);
}

}  // namespace vorel_tool
