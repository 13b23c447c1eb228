// DNGPrivateData: what a converter kept of the file that it read.
#include <algorithm>
#include <string_view>

#include "dng/parse/byte_order.h"
#include "dng/parse/ifd_walk.h"
#include "dng/parse/tag_codes.h"

namespace vorel {

namespace {

using std::string_view_literals::operator""sv;

std::string_view text_at(const VorelDngStream &stream, uint64_t at, uint64_t count) {
    if (!stream.holds(at, count)) return {};
    return {reinterpret_cast<const char *>(stream.data()) + at, count};
}

constexpr uint64_t kSectionHeader = 8;  // name and length

}  // namespace

void DngFile::parseDNGPrivateData(VorelDngStream &from) {
    const uint64_t begin = from.getPosition(), end = begin + shared.dngPrivateDataCount;
    if (!from.holds(begin, shared.dngPrivateDataCount)) return;
    const ByteOrderGuard order(from);
    const std::string_view maker = text_at(from, begin, 6);
    if (maker == "PENTAX" || maker == "HALDEN") {
        // The block is a maker note: the name, a byte order, a directory with offsets from the block's beginning.
        if (end - begin > 10 && read_byte_order(from, begin + 8)) {
            parseMakerNoteIFD(from, end - begin - 10, begin + 10, begin, begin, end, kTagDngPrivateData);
        }
        return;
    }
    if (maker != "Adobe\0"sv) return;
    // Sections begin at even places of the block.
    for (uint64_t at = begin + 6; at + kSectionHeader <= end;) {
        from.setBigEndian();
        from.setPosition(at + 4);
        const uint64_t body = at + kSectionHeader, length = from.get_QMUINT32();
        if (length > end - body) return;
        const std::string_view name = text_at(from, at, 4);
        if (name == "MakN" && length > 6) parseKeptMakerNote(from, body, static_cast<uint32_t>(length));
        if (name == "MRW " && length > 4) parseKeptExif(from, body + 4, body + length);
        at = body + length + (length & 1);
    }
}

// Byte order and place of the note in the file that it is from, then the note.
void DngFile::parseKeptMakerNote(VorelDngStream &from, uint64_t body, uint32_t length) {
    const uint64_t note = body + 6;
    from.setPosition(body + 2);
    const uint64_t original = from.get_QMUINT32();
    if (read_byte_order(from, body)) {
        // Values outside the note have not been kept. Offsets are 64 bits and may wrap on the way.
        parseMakerNote(from, length - 6, note, note - original, note, note + length - 6);
    }
}

// Blocks with name and length; one is a TIFF file of camera data.
void DngFile::parseKeptExif(VorelDngStream &from, uint64_t at, uint64_t end) {
    while (at + kSectionHeader <= end) {
        from.setBigEndian();
        from.setPosition(at + 4);
        const uint64_t body = at + kSectionHeader, length = from.get_QMUINT32();
        if (length > end - body) return;
        if (text_at(from, at, 4) == "\0TTW"sv && !originalExif && read_byte_order(from, body)) {
            from.setPosition(body + 4);
            const uint64_t directory = body + from.get_QMUINT32();
            VorelDngShared kept;
            originalExif = std::make_unique<VorelDngExif>();
            if (visit(kTagDngPrivateData, directory)) {
                parseIFD(from, originalExif.get(), &kept, nullptr, directory, body, kParentIfd0);
            }
            for (const auto &[offset, parent] : {std::pair{kept.exifIFD, kParentExif}, {kept.gpsInfo, kParentGps}}) {
                if (offset && visit(kTagDngPrivateData, body + offset)) {
                    parseIFD(from, originalExif.get(), &kept, nullptr, body + offset, body, parent);
                }
            }
            return;
        }
        at = body + length;
    }
}

}  // namespace vorel
