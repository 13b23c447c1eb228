// JPEG decodes on every input: cut, changed, without memory, again and again; straight, scaled, resampled, turned.
#include <gtest/gtest.h>

#include "jpeg/decoder/decode_support.h"
#include "oracle/turbo.h"
#include "support/conformance.h"

namespace vorel::test {
namespace {

Subject subject(const char *name, Scans scans, unsigned restart, const DecodeSpec &wanted) {
    PictureSpec spec;
    spec.width = 34;
    spec.height = 18;
    spec.restart_interval = restart;
    spec.optimize = true;
    spec.scans = scans;
    Subject out = {.name = name, .file = turbo_picture(spec), .allocations = 10, .decodes = 300};
    out.decode = [wanted](Kind kind, const Bytes &jpeg) -> Seen {
        DecodeSpec request = wanted;
        request.kind = kind;
        Decoded decoded = decode(jpeg, request);
        decoded.pixels.insert(decoded.pixels.end(),
                              {static_cast<uint8_t>(decoded.out_width), static_cast<uint8_t>(decoded.out_height)});
        return {decoded.result, std::move(decoded.pixels), decoded.error};
    };
    // Memory that the session owns is where a picture's segments begin, whatever its first two bytes are.
    out.may_differ = [](Kind kind, const Bytes &input, const Seen &, const Seen &) {
        return kind == Kind::kOwnedMemory && (input[0] != 0xFF || input[1] != 0xD8);
    };
    return out;
}

TEST(Conformance, Jpeg) {
    expect_conforms(subject("whole", Scans::kInterleaved, 0, {.format = COLOR_RGBA8888, .width = 34, .height = 18}));
    expect_conforms(subject("resampled", Scans::kInterleaved, 2, {.format = COLOR_YUV420, .width = 20, .height = 18}));
    expect_conforms(subject("an eighth, turned", Scans::kInterleaved, 1,
                            {.format = COLOR_RGB565, .width = 3, .height = 5, .options = VOREL_OPTION_ROTATE_90}));
    Subject separate = subject("scans apart", Scans::kOnePerComponent, 2, {.width = 17, .height = 9});
    separate.kinds = {Kind::kMemory, Kind::kPath, Kind::kStdio};
    expect_conforms(separate);
}

}  // namespace
}  // namespace vorel::test
