#include "dng/parse/metadata_entries.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

char *copied(const void *bytes, size_t count, size_t padding) {
    auto *const copy = static_cast<char *>(std::malloc(count + padding));
    if (!copy) throw std::bad_alloc();
    if (count) std::memcpy(copy, bytes, count);
    std::memset(copy + count, 0, padding);
    return copy;
}

bool parsed(vorel::DngFile &file) {
    if (!file.parse()) return false;
    file.postParse();
    return true;
}

// What a C entry does with a buffer. Nothing that goes wrong inside leaves it.
template <typename Work>
int32_t with_file(const uint8_t *buffer, int32_t length, const Work &work) {
    if (!buffer || length < 1) return -1;
    try {
        vorel::DngFile file(buffer, static_cast<uint32_t>(length));
        return work(file);
    } catch (const std::exception &) {
        return -1;
    }
}

template <typename Record>
void clear(Record *record) {
    if (record) std::memset(record, 0, sizeof *record);
}

}  // namespace

void convertMetadataClass2Struct(const VorelDngMetadata &metadata, CPVorelDngMetadata *out) {
    std::memset(out, 0, sizeof *out);
    out->hasBaseOrientation = metadata.hasBaseOrientation;
    out->baseOrientation = static_cast<int32_t>(metadata.baseOrientation);
    out->isMakerNoteSafe = metadata.isMakerNoteSafe;
    out->imageWidth = metadata.imageWidth;
    out->imageHeight = metadata.imageHeight;
    out->cropOriginX = metadata.cropOriginX;
    out->cropOriginY = metadata.cropOriginY;
    out->cropWidth = metadata.cropWidth;
    out->cropHeight = metadata.cropHeight;
    std::memcpy(out->embeddedXMPDigest, metadata.embeddedXMPDigest, sizeof out->embeddedXMPDigest);
    out->xmpInSidecar = metadata.xmpInSidecar;
    out->xmpIsNewer = metadata.xmpIsNewer;
    out->sourceMIME = copied(metadata.sourceMIME.data(), metadata.sourceMIME.size(), 1);
    if (metadata.makerNote.empty()) return;
    try {
        out->makerNote = reinterpret_cast<uint8_t *>(copied(metadata.makerNote.data(), metadata.makerNote.size(), 0));
    } catch (...) {
        freeCPVorelDngMetadata(out);
        throw;
    }
    out->makerNoteSize = static_cast<uint32_t>(metadata.makerNote.size());
}

void freeCPVorelDngMetadata(CPVorelDngMetadata *metadata) {
    if (!metadata) return;
    std::free(metadata->makerNote);
    std::free(metadata->sourceMIME);
    metadata->makerNote = nullptr;
    metadata->sourceMIME = nullptr;
}

namespace vorel {

int32_t parse_metadata(DngFile &file, CPVorelDngMetadata *metadataOut, CPVorelDngExif *exifOut,
                       CPVorelDngExif *exifOut2) {
    if (!parsed(file)) return -1;
    const VorelDngShared &shared = file.shared;
    if (metadataOut) {
        if (file.stream.holds(shared.makerNoteOffset, shared.makerNoteCount)) {
            const uint8_t *const note = file.stream.data() + shared.makerNoteOffset;
            file.metadata.makerNote.assign(note, note + shared.makerNoteCount);
        }
        convertMetadataClass2Struct(file.metadata, metadataOut);
    }
    if (exifOut) convertExifClass2Struct(file.originalExif ? *file.originalExif : file.exif, exifOut);
    if (exifOut2) convertExifClass2Struct(file.exif, exifOut2);
    return 1;
}

int32_t parse_exif_info(DngFile &file, CPVorelDngExif *exifOut) {
    if (!parsed(file)) return -1;
    if (exifOut) convertExifClass2Struct(file.exif, exifOut);
    return 1;
}

int32_t parse_xmp_info(DngFile &file, int64_t *offsetOut, int32_t *lengthOut, CPVorelDngExif *exifOut) {
    if (!parsed(file)) return -1;
    const VorelDngShared &shared = file.shared;
    if (offsetOut) *offsetOut = shared.xmpCount ? static_cast<int64_t>(shared.xmpOffset) : 0;
    if (lengthOut) *lengthOut = static_cast<int32_t>(shared.xmpCount);
    if (exifOut) convertExifClass2Struct(file.exif, exifOut);
    return shared.xmpCount ? 1 : 0;
}

}  // namespace vorel

int32_t parseMetadata(const uint8_t *buffer, int32_t length, CPVorelDngMetadata *metadataOut, CPVorelDngExif *exifOut,
                      CPVorelDngExif *exifOut2) {
    clear(metadataOut);
    clear(exifOut);
    clear(exifOut2);
    return with_file(buffer, length,
                     [&](vorel::DngFile &file) { return vorel::parse_metadata(file, metadataOut, exifOut, exifOut2); });
}

int32_t parseExifInfo(const uint8_t *buffer, int32_t length, CPVorelDngExif *exifOut) {
    clear(exifOut);
    return with_file(buffer, length, [&](vorel::DngFile &file) { return vorel::parse_exif_info(file, exifOut); });
}

int32_t parseXMPBuffer(const uint8_t *buffer, int32_t length, int64_t *offsetOut, int32_t *lengthOut,
                       CPVorelDngExif *exifOut) {
    clear(offsetOut);
    clear(lengthOut);
    clear(exifOut);
    return with_file(buffer, length,
                     [&](vorel::DngFile &file) { return vorel::parse_xmp_info(file, offsetOut, lengthOut, exifOut); });
}

void printXMP(VorelDngStream &stream, uint32_t count) {
    constexpr uint32_t kColumns = 128;
    std::fputs("XMP: ", stdout);
    for (uint32_t i = 0, column = 0; i < count && stream.holds(stream.getPosition(), 1); ++i) {
        if (column >= kColumns) {
            std::fputs("\nXMP: ", stdout);
            column = 0;
        }
        const uint8_t byte = stream.get_QMUINT8();
        const bool control = byte < ' ' || byte == 0x7F;
        column += static_cast<uint32_t>(std::printf(control ? "\\%03o" : "%c", byte));
    }
    std::fputs("\n", stdout);
}
