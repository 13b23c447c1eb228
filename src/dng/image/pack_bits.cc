#include "dng/image/pack_bits.h"

#include <cstring>

int32_t DecodePackBits(VorelDngStream &stream, uint8_t *dest, int32_t count) {
    int32_t left = count;
    while (left > 0) {
        const int header = static_cast<int8_t>(stream.get_QMUINT8());
        if (stream.failed()) return 0;
        if (header == -128) continue;  // no run
        const int32_t run = header < 0 ? 1 - header : 1 + header;
        const bool repeats = header < 0;
        if (run > left || !stream.holds(stream.getPosition(), static_cast<uint64_t>(repeats ? 1 : run))) return 0;
        const uint8_t *source = stream.data() + stream.getPosition();
        if (repeats) {
            std::memset(dest, *source, static_cast<size_t>(run));
        } else {
            std::memcpy(dest, source, static_cast<size_t>(run));
        }
        stream.setPosition(stream.getPosition() + static_cast<uint64_t>(repeats ? 1 : run));
        dest += run, left -= run;
    }
    return 1;
}
