// The directories of a raw file: every parse ends, stays in the input, and comes out the same again.
#include <vorel/dng_metadata.h>

#include <cstring>

#include "harness.h"

using namespace vorel_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size > INT32_MAX) return 0;
    const auto length = static_cast<int32_t>(size);
    CPVorelDngMetadata metadata, again;
    static CPVorelDngExif original, exif, alone, of_xmp;
    const int32_t status = parseMetadata(data, length, &metadata, &original, &exif);
    require(status == 1 || status == -1, "a status");
    require((status == 1) == (metadata.sourceMIME != nullptr), "the heap parts go with success");
    require(metadata.makerNoteSize <= size, "the maker note is in the file");
    require((metadata.makerNoteSize != 0) == (metadata.makerNote != nullptr), "the maker note has its size");
    require(metadata.imageWidth >= 0 && metadata.imageHeight >= 0, "sizes");

    require(parseMetadata(data, length, &again, nullptr, nullptr) == status, "parsing again gives the same status");
    require(again.makerNoteSize == metadata.makerNoteSize && again.imageWidth == metadata.imageWidth &&
                again.cropWidth == metadata.cropWidth && again.cropOriginX == metadata.cropOriginX,
            "parsing again gives the same record");
    require(
        metadata.makerNoteSize == 0 || std::memcmp(again.makerNote, metadata.makerNote, metadata.makerNoteSize) == 0,
        "parsing again gives the same maker note");
    freeCPVorelDngMetadata(&metadata);
    freeCPVorelDngMetadata(&again);

    require(parseExifInfo(data, length, &alone) == status, "the entries agree");
    require(std::memcmp(&alone, &exif, sizeof exif) == 0, "the entries give one record");
    int64_t offset;
    int32_t bytes;
    const int32_t xmp = parseXMPBuffer(data, length, &offset, &bytes, &of_xmp);
    require(xmp == (status == 1 && bytes > 0 ? 1 : status == 1 ? 0 : -1), "a length of 0 is no packet");
    require(offset >= 0 && bytes >= 0 && offset + bytes <= length, "the packet is in the file");
    require(std::memcmp(&of_xmp, &exif, sizeof exif) == 0, "the entries give one record");
    // Every text ends.
    require(!exif.mImageDescription[255] && !exif.mCFAPattern[255] && !exif.mLensName[255], "texts end");
    return 0;
}
