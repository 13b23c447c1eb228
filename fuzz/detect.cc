// Detection and header parsing, from every kind of input: bounded, and the same for all kinds that deliver whole reads.
#include <vorel/frame.h>

#include <climits>

#include "fuzz_support.h"

using namespace vorel::fuzz;

namespace {

struct Outcome {
    int32_t detected, type, session_type, jpeg;
    uint32_t duration;
    ImageInfo info, jpeg_info;
};

Outcome parse(DecInfo *session, bool again) {
    Outcome out;
    std::memset(&out, 0, sizeof out);
    out.detected = VORELBRIM_GetImageType(session);
    out.type = VORELBRIM_Parser(session, &out.info);
    out.session_type = session->imageType;
    out.duration = session->totalDuration;
    out.jpeg = VORELBRIM_JpgParser(session, &out.jpeg_info);
    require(out.type == 0 || out.type == out.session_type, "the session keeps the type");
    require(out.type == 0 || uint64_t{out.info.width} * out.info.height <= 225000000, "the limit on pixels");
    require((out.detected == out.session_type) || out.session_type == 0 ||
                (out.detected == VOREL_IMAGE_GIF && out.session_type == VOREL_IMAGE_ANIMATED_GIF),
            "the signature and the parser agree");
    if (again) {
        ImageInfo info;
        require(VORELBRIM_Parser(session, &info) == out.type, "parsing again gives the same type");
        require(std::memcmp(&info, &out.info, sizeof info) == 0, "parsing again gives the same record");
    }
    return out;
}

void close(DecInfo *session) { VORELBRIM_DestroyDecInfo(session); }

void require_same(const Outcome &one, const Outcome &other, const char *kind) {
    if (std::memcmp(&one, &other, sizeof one) != 0) fail(kind);
}

// The cores and entries that have no twin to compare with.
void run_the_rest(const Options &input, uint32_t minimum_delay) {
    const MemorySession memory(input.data(), input.size());
    DecInfo *session = memory.get();
    ImageInfo info;
    VORELBRIM_SimpleParserGIF(session, &info, minimum_delay);
    VORELBRIM_ThumbnailParser(session, &info);
    int32_t offset = 1, length = 1;
    require(VORELBRIM_GetJpegOffset(session, &offset, &length) == 0 && offset == 0 && length == 0, "no offset");
    IoInfo *io = session->ioInfo;
    VORELBRIM_Seek_IO(io, 0, SEEK_SET);
    StreamBuffer stream = {io, 0, io->size, 0, 0, BRIMJ_AllocateStreamBuffer(io)};
    BRIM_ParseJPEGOffset(session, &stream, nullptr);
    int32_t width, height;
    VorelGetImageInfoFromBuffer(input.data(), 0, static_cast<int32_t>(input.size()), &width, &height);
    VjpgGetImageInfoFromBuffer(input.data(), 0, static_cast<int32_t>(input.size()), &width, &height);
    const int32_t handle = VORELBRIM_OpenDecHandle(input.data(), static_cast<int32_t>(input.size()), 1);
    require(handle != 0, "handles do not run out");
    VORELBRIM_SetDecInfoFromHandle(handle, 0);
    require(VORELBRIM_GetDecInfoFromHandle(handle) != nullptr, "an open handle has a session");
    require(VORELBRIM_CloseDecHandle(handle) == 1, "an open handle closes");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Options input(data, size);
    const uint8_t choice = input.byte();
    const uint32_t minimum_delay = input.byte();
    if (input.size() == 0) return 0;
    const bool again = choice & 1;
    const MemorySession memory(input.data(), input.size());
    const Outcome expected = parse(memory.get(), again);

    MemoryFile file(input.data(), input.size());
    DecInfo *session = VORELBRIM_CreateDecInfo(0, file.path(), 0, 0, 0);
    require_same(parse(session, again), expected, "path and memory agree");
    close(session);

    FILE *stdio = std::fopen(file.path(), "rb");
    session = VORELBRIM_CreateDecInfo(2, stdio, static_cast<int32_t>(input.size()), 0, 0);
    require_same(parse(session, again), expected, "FILE and memory agree");
    close(session);
    std::fclose(stdio);

    ByteStream whole = {input.data(), input.size(), INT_MAX};
    session = whole.open(true);
    require_same(parse(session, again), expected, "callbacks and memory agree");
    close(session);

    void *owned = VORELBRIM_OsMalloc(static_cast<int32_t>(input.size()));
    std::memcpy(owned, input.data(), input.size());
    session = VORELBRIM_CreateDecInfo(5, owned, static_cast<int32_t>(input.size()), 0, 0);
    IoInfo *left_behind = session->ioInfo;
    require_same(parse(session, again), expected, "owned memory and memory agree");
    close(session);
    VORELBRIM_OsFree(left_behind);

    // Reads in pieces, and no way back: what comes out depends on the pieces, but it ends.
    ByteStream pieces = {input.data(), input.size(), 1 + static_cast<size_t>(choice >> 2)};
    session = pieces.open(choice & 2);
    ImageInfo info;
    VORELBRIM_GetImageType(session);
    VORELBRIM_Parser(session, &info);
    touch(&info, sizeof info);
    close(session);

    run_the_rest(input, minimum_delay);
    return 0;
}
