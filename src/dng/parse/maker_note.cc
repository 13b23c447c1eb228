// Maker notes: directories in the manner of TIFF, behind headers of many kinds. None of their tags is of use to the
// develop; they are walked as far as the files keep their own rules.
#include <string_view>

#include "dng/parse/byte_order.h"
#include "dng/parse/ifd_walk.h"

namespace vorel {

namespace {

using std::string_view_literals::operator""sv;

// The parents of the directories inside notes that open further ones.
constexpr uint32_t kMakerNesting = 0x30007, kMakerTree = 0x3000B, kMakerCameraInfo = 0x30015;
constexpr uint32_t kMakerPlain = 0x30001;

// What the offsets of the note's values count from, and its byte order, where they are not those of the file.
enum class Layout : uint8_t {
    kOfFile,
    kOfNote,
    kBigEndian,
    kLittleEndianLink,  // offsets from the note; four bytes at the header's end say where the directory is
    kOrderAt4,          // "II" or "MM" may stand in bytes 4 and 5
    kOrderAt8,          // offsets from the note, "II" or "MM" in bytes 8 and 9
    kTiffHeader         // a TIFF header at the header's end
};

// The first that fits is taken. chars: how many of the make's are compared; 0: all of it.
constexpr struct Form {
    std::string_view make;
    uint32_t chars;
    std::string_view prefix;  // of the note
    uint32_t header;          // bytes before the directory
    Layout layout;
    uint32_t parentCode;
} kForms[] = {{"EPSON", 0, "EPSON\0"sv, 8, Layout::kOfFile, 0x30002},
              {"FUJIFILM", 0, "FUJIFILM", 8, Layout::kLittleEndianLink, 0x30003},
              {"LEICA", 0, "LEICA\0\0\0"sv, 8, Layout::kOfFile, 0x30008},
              {"LEICA", 0, "LEICA", 8, Layout::kOfNote, 0x30008},
              {"LEICA", 0, "", 0, Layout::kOfFile, 0x30008},
              {"Nikon", 0, "Nikon\0\2"sv, 10, Layout::kTiffHeader, 0x3000A},
              {"Nikon", 0, "Nikon\0"sv, 8, Layout::kOfFile, 0x3000A},
              {"Nikon", 0, "", 0, Layout::kOfFile, 0x3000A},
              {"OLYMPUS", 0, "OLYMPUS\0"sv, 12, Layout::kOrderAt8, kMakerTree},
              {"OLYMPUS", 0, "OLYMP\0"sv, 8, Layout::kOfFile, kMakerTree},
              {"OLYMP", 0, "OLYMP\0"sv, 8, Layout::kOfFile, kMakerTree},
              {"Panasonic", 0, "Panasonic\0\0\0"sv, 12, Layout::kOfFile, 0x30012},
              {"PENTAX", 0, "AOC\0"sv, 6, Layout::kOrderAt4, 0x30013},
              {"RICOH", 0, "R", 8, Layout::kBigEndian, kMakerCameraInfo},
              {"Ricoh", 0, "R", 8, Layout::kBigEndian, kMakerCameraInfo},
              {"NIKON", 5, "Nikon\0\2"sv, 10, Layout::kTiffHeader, 0x3000A},
              {"NIKON", 5, "Nikon\0"sv, 8, Layout::kOfFile, 0x3000A},
              {"NIKON", 5, "", 0, Layout::kOfFile, 0x3000A},
              {"CANON", 5, "", 0, Layout::kOfFile, kMakerPlain},
              {"MINOLTA", 7, "", 0, Layout::kOfFile, 0x30009},
              {"KONICA MINOLTA", 14, "", 0, Layout::kOfFile, 0x30009},
              {"SONY", 4, "SONY", 12, Layout::kOfFile, 0x30016},
              {"SONY", 4, "", 0, Layout::kOfFile, 0x30016},
              {"EASTMAN KODAK", 13, "", 0, Layout::kOfFile, kMakerNesting},
              {"Mamiya", 6, "", 0, Layout::kOfFile, 0x30014},
              {"Hasselblad", 0, "", 0, Layout::kOfFile, 0x30005},
              {"Halden", 0, "", 0, Layout::kOfFile, 0x30006},
              {"CASIO COMPUTER", 0, "QVC\0\0\0"sv, 6, Layout::kBigEndian, 0x30017}};

constexpr std::string_view kCameraInfo = "[Ricoh Camera Info]";

bool begins(const VorelDngStream &stream, uint64_t at, std::string_view text) {
    return stream.holds(at, text.size()) &&
           std::string_view(reinterpret_cast<const char *>(stream.data()) + at, text.size()) == text;
}

const Form *form_of(std::string_view make, const VorelDngStream &stream, uint64_t note) {
    for (const Form &form : kForms) {
        if ((form.chars ? make.substr(0, form.chars) : make) == form.make && begins(stream, note, form.prefix)) {
            return &form;
        }
    }
    return nullptr;
}

}  // namespace

bool read_byte_order(VorelDngStream &stream, uint64_t at) {
    if (begins(stream, at, "II")) {
        stream.setLittleEndian();
    } else if (begins(stream, at, "MM")) {
        stream.setBigEndian();
    } else {
        return false;
    }
    stream.setPosition(at + 2);
    return true;
}

bool DngFile::parseMakerNote(VorelDngStream &from, uint32_t makerNoteCount, uint64_t makerNoteOffset, uint64_t base,
                             uint64_t minOffset, uint64_t maxOffset) {
    if (!from.holds(makerNoteOffset, makerNoteCount)) return false;
    const Form *const form = form_of(exif.make, from, makerNoteOffset);
    if (!form || makerNoteCount < form->header + 2) return false;
    const ByteOrderGuard order(from);
    uint64_t directory = makerNoteOffset + form->header;
    switch (form->layout) {
        case Layout::kOfFile:
            break;
        case Layout::kOfNote:
            base = makerNoteOffset;
            break;
        case Layout::kBigEndian:
            from.setBigEndian();
            break;
        case Layout::kLittleEndianLink:
            base = makerNoteOffset;
            from.setLittleEndian();
            from.setPosition(directory);
            directory = base + from.get_QMUINT32();
            break;
        case Layout::kOrderAt4:
            read_byte_order(from, makerNoteOffset + 4);
            break;
        case Layout::kOrderAt8:
            base = makerNoteOffset;
            read_byte_order(from, makerNoteOffset + 8);
            break;
        case Layout::kTiffHeader:
            base = directory;
            if (!read_byte_order(from, base)) return false;
            from.setPosition(base + 4);
            directory = base + from.get_QMUINT32();
            break;
    }
    const uint64_t end = makerNoteOffset + makerNoteCount;
    if (directory < makerNoteOffset || directory >= end) return false;
    const bool whole =
        parseMakerNoteIFD(from, end - directory, directory, base, minOffset, maxOffset, form->parentCode);

    // What was found inside, and what is found inside of that.
    for (size_t i = 0; i < makerDirectories_.size(); ++i) {
        const MakerDirectory inner = makerDirectories_[i];
        inner.littleEndian ? from.setLittleEndian() : from.setBigEndian();
        parseMakerNoteIFD(from, inner.size, inner.offset, inner.base, minOffset, maxOffset, inner.parentCode);
    }
    makerDirectories_.clear();
    return whole;
}

bool DngFile::parseMakerNoteIFD(VorelDngStream &from, uint64_t noteSize, uint64_t offset, uint64_t base,
                                uint64_t minOffset, uint64_t maxOffset, uint32_t parentCode) {
    if (noteSize < 2 + kIfdEntryBytes || !visit(parentCode, offset)) return false;
    return walkEntries(from, offset, base, [&](uint32_t code, uint32_t type, uint32_t count, uint64_t value) {
        const uint64_t bytes = uint64_t{TagTypeSize(type)} * count;
        if (bytes > 4 && (value < minOffset || value + bytes > maxOffset)) return;
        parseTag(from, &exif, &shared, nullptr, parentCode, code, type, count, value, base);
    });
}

void DngFile::openMakerDirectory(VorelDngStream &from, uint32_t parentCode, uint32_t tagCode, uint32_t tagType,
                                 uint32_t tagCount, uint64_t offset, uint64_t base) {
    static constexpr uint32_t kTreeTags[] = {8208, 8224, 8240, 8256, 8272, 12288};
    const uint64_t bytes = uint64_t{TagTypeSize(tagType)} * tagCount;
    const auto open = [&](uint64_t place, uint64_t size, uint32_t parent) {
        if (makerDirectories_.size() < kMaxIfds) {
            makerDirectories_.push_back({place, base, size, parent, from.isLittleEndian()});
        }
    };
    if (parentCode == kMakerNesting && tagType == kTagUndefined && bytes > 13) {
        open(offset, bytes, kMakerNesting);
    } else if (parentCode == kMakerTree) {
        for (uint32_t i = 0; i < std::size(kTreeTags); ++i) {
            if (kTreeTags[i] != tagCode) continue;
            // The directory itself, or where it is.
            from.setPosition(offset);
            const bool link = tagCount == 1 && (tagType == kTagLong || tagType == kTagIfd);
            const uint64_t place = link ? base + from.get_QMUINT32() : offset;
            open(place, link ? from.length() : bytes, kMakerTree + 1 + i);
        }
    } else if (parentCode == kMakerCameraInfo && tagCode == 8193 && bytes >= 23 && begins(from, offset, kCameraInfo)) {
        open(offset + 20, bytes - 20, kMakerCameraInfo);
    }
}

}  // namespace vorel
