// Type, size and layout of anything: the parsers terminate, stay in the input, and do not care how it arrives.
#include <cstring>

#include "harness.h"

using namespace vorel_fuzz;

namespace {

struct Parsed {
    int32_t type, signature, scanned, jpeg;
    uint32_t duration;
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
    ImageInfo again;
    require(VORELBRIM_Parser(session.get(), &again) == out.type, "parsing again gives the same type");
    require(std::memcmp(&again, &out.info, sizeof again) == 0, "parsing again gives the same layout");
    return out;
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
    return 0;
}
