// Type, size and layout of anything: the parsers terminate, stay in the input, and do not care how it arrives.
#include <cstring>

#include "harness.h"

using namespace vorel_fuzz;

namespace {

struct Parsed {
    int32_t type = -1, signature = -1, scanned = -1;
    ImageInfo info = {}, gif = {};
};

Parsed parse(const Bytes &picture, Source source, uint32_t minimum_delay) {
    Parsed out;
    Session session(picture, source, COLOR_RGBA8888, 0);
    if (!session.get()) return out;
    out.type = VORELBRIM_Parser(session.get(), &out.info);
    out.signature = VORELBRIM_GetImageType(session.get());
    out.scanned = VORELBRIM_SimpleParserGIF(session.get(), &out.gif, minimum_delay);
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Case input(data, size, 1);
    if (input.picture().empty()) return 0;
    const uint32_t minimum_delay = input.option();
    const Parsed memory = parse(input.picture(), Source::kMemory, minimum_delay);
    const Parsed stream = parse(input.picture(), Source::kStream, minimum_delay);
    require(memory.type == stream.type, "the type is the same from memory and from a stream");
    require(memory.signature == stream.signature, "the signature is the same from memory and from a stream");
    require(memory.type == 0 || memory.info.width != 0, "a picture has a width");
    require(memory.type == 0 || memory.info.height != 0, "a picture has a height");
    if (memory.type != 0)
        require(std::memcmp(&memory.info, &stream.info, sizeof memory.info) == 0,
                "the layout is the same from memory and from a stream");
    return 0;
}
