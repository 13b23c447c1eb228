// What the targets of BMP, GIF and WBMP share: a picture into a target, by every way and over two fills.
#pragma once

#include <vorel/raster.h>

#include "harness.h"

namespace vorel_fuzz {

struct Target {
    int32_t format, width, height;
    uint32_t options;

    size_t bytes() const { return format_bytes(format, width, height); }  // VOREL_GIF_INDICES are bytes
};

struct Decoded {
    std::vector<int32_t> results;  // of each call
    uint64_t pixels = 0;           // that the session says were written, where that was asked
    Bytes output;                  // all buffers behind one another
    bool operator==(const Decoded &other) const = default;

    // A call into a filled buffer of its own.
    int32_t call(decltype(&VORELBRIMI_DecodeBMP) decoder, DecInfo *session, const Target &target, uint8_t fill) {
        Bytes buffer(target.bytes(), fill);
        results.push_back(decoder(session, buffer.data(), target.width, target.height));
        output.insert(output.end(), buffer.begin(), buffer.end());
        return results.back();
    }
};

struct Runs {
    Decoded memory, other_fill, owned, file, slow;
};

// decode(session, fill) by every way. Results do not depend on what was in the buffer.
template <typename Decode>
Runs run_all(const Bytes &picture, const Target &target, const Decode &decode) {
    const auto over = [&](Session &&session, uint8_t fill) {
        return session.get() ? decode(session.get(), fill) : Decoded();
    };
    const auto by = [&](Kind kind, uint8_t fill = kFill) {
        return over({picture, kind, target.format, target.options}, fill);
    };
    const Runs runs = {by(Kind::kMemory), by(Kind::kMemory, kOtherFill), by(Kind::kOwnedMemory), by(Kind::kPath),
                       over({picture, target.format, target.options}, kFill)};
    require(runs.memory.results == runs.other_fill.results, "results do not depend on what was in the buffer");
    return runs;
}

}  // namespace vorel_fuzz
