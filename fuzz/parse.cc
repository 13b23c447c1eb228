// Type, size and layout of anything: the parsers terminate, stay in the input, and do not care how it arrives.
#include <vorel/exif.h>

#include <cstring>

#include "harness.h"

using namespace vorel_fuzz;

namespace {

struct Parsed {
    int32_t type, signature, scanned, jpeg;
    uint32_t duration, orientation;
    ImageInfo info, gif, header;
};

Parsed parse(Session &&session, uint32_t minimum_delay) {
    Parsed out;
    std::memset(&out, 0, sizeof out);
    if (!session.get()) return out;
    out.type = VORELBRIM_Parser(session.get(), &out.info);
    out.duration = session.get()->totalDuration;
    out.signature = VORELBRIM_GetImageType(session.get());
    out.scanned = VORELBRIM_SimpleParserGIF(session.get(), &out.gif, minimum_delay);
    out.jpeg = VORELBRIM_JpgParser(session.get(), &out.header);
    ExifInfo *exif = BRIMJ_CreatExifInfo(session.get());
    out.orientation = exif ? exif->orientation : UINT32_MAX;
    if (exif) BRIMJ_DestroyExifInfo(exif);
    ImageInfo again;
    require(VORELBRIM_Parser(session.get(), &again) == out.type, "parsing again gives the same type");
    require(std::memcmp(&again, &out.info, sizeof again) == 0, "parsing again gives the same layout");
    return out;
}

// Directories wherever the first one's entries point to, and the whole input taken for a segment and for a TIFF file.
void read_exif(const Bytes &picture) {
    Session session(picture, Kind::kMemory, COLOR_RGBA8888, 0);
    uint32_t length = 0, width, height;
    if (uint8_t *block = vorel_exif_block(session.get(), &length)) {
        auto *info =
            static_cast<ExifInfo *>(VORELBRIM_OsMemset(VORELBRIM_OsMalloc(sizeof(ExifInfo)), 0, sizeof(ExifInfo)));
        for (uint32_t little : {0, 1}) {
            for (uint32_t at = 10; at < 10 + 12 * 16; at += 12) {
                ExifField field;
                if (!BRIMJ_ReadExifField(block, at, length, little, &field)) continue;
                BRIMJ_ReadExifIFDInfo(block, field.value, length, little, info);
                BRIMJ_ReadGpsIFDInfo(block, field.value, length, little, info);
            }
        }
        BRIMJ_DestroyExifInfo(info);
        VORELBRIM_OsFree(block);
    }
    const auto size = static_cast<int32_t>(picture.size());
    ExifInfo *info = BRIMJ_CreatExifInfoUseExifBuffer(picture.data(), size);
    if (info) BRIMJ_DestroyExifInfo(info);
    BRIMJ_GetJPEGResolution(picture.data(), size, &width, &height);
    IoInfo *io = session.get()->ioInfo;
    VORELBRIM_Seek_IO(io, 0, SEEK_SET);
    StreamBuffer stream = {io, 0, io->size, 0, 0, BRIMJ_AllocateStreamBuffer(io)};
    uint8_t *const cache = stream.buffer;
    ExifInfo tiff = {};
    BRIMJ_ReadTiffInfo(session.get(), &stream, &tiff);
    BRIMJ_ReleaseStreamBuffer(io, cache);
}

// The operations that have no other kind of input to agree with.
void parse_the_rest(const Bytes &picture) {
    const auto size = static_cast<int32_t>(picture.size());
    Session session(picture, Kind::kMemory, COLOR_RGBA8888, 0);
    IoInfo *io = session.get()->ioInfo;
    StreamBuffer stream = {io, 0, io->size, 0, 0, BRIMJ_AllocateStreamBuffer(io)};
    BRIM_ParseJPEGOffset(session.get(), &stream, nullptr);
    ImageInfo info;
    int32_t offset = 1, length = 1, width, height;
    VORELBRIM_ThumbnailParser(session.get(), &info);
    require(VORELBRIM_GetJpegOffset(session.get(), &offset, &length) == 0 && offset == 0 && length == 0, "no offset");
    VorelGetImageInfoFromBuffer(picture.data(), 0, size, &width, &height);
    VjpgGetImageInfoFromBuffer(picture.data(), 0, size, &width, &height);
    const int32_t handle = VORELBRIM_OpenDecHandle(picture.data(), size, 1);
    VORELBRIM_SetDecInfoFromHandle(handle, COLOR_RGB565);
    require(VORELBRIM_GetDecInfoFromHandle(handle) != nullptr, "an open handle has a session");
    require(VORELBRIM_CloseDecHandle(handle) == 1, "an open handle closes");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Case input(data, size, 1);
    const Bytes &picture = input.picture();
    if (picture.empty()) return 0;
    const uint32_t minimum_delay = input.option();
    const Parsed memory = parse({picture, Kind::kMemory, COLOR_RGBA8888, 0}, minimum_delay);
    require(memory.type == 0 || (memory.info.width != 0 && memory.info.height != 0), "a picture has a size");
    require(memory.type == 0 || uint64_t{memory.info.width} * memory.info.height <= 225000000, "the limit holds");
    require(memory.type == 0 || memory.type == memory.signature ||
                (memory.type == VOREL_IMAGE_ANIMATED_GIF && memory.signature == VOREL_IMAGE_GIF),
            "a picture is what its signature says");
    for (const Kind source : {Kind::kOwnedMemory, Kind::kPath, Kind::kStdio, Kind::kStream}) {
        const Parsed other = parse({picture, source, COLOR_RGBA8888, 0}, minimum_delay);
        require(std::memcmp(&memory, &other, sizeof memory) == 0, "what is parsed does not depend on how it arrives");
    }
    // What comes of short reads depends on them, but it ends and comes out the same again.
    parse({picture, COLOR_RGBA8888, 0}, minimum_delay);
    parse_the_rest(picture);
    read_exif(picture);
    return 0;
}
