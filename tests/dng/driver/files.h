// Raw files for tests of whole develops, and what the entries make of them.
#pragma once

#include <vorel/dng.h>

#include <string>

#include "dng/support/dng_builder.h"

namespace vorel::test {

struct NamedDng {
    std::string name;
    DngBuilder builder;
};

// Mosaics of the four phases and of 6 x 6 cells, linear raw, grey, floats; with levels, deltas, active areas, crops and
// opcodes.
std::vector<NamedDng> develop_files();
NamedDng develop_file(const std::string &name);

// A random picture that is smooth in places.
std::vector<uint32_t> picture_samples(uint32_t width, uint32_t height, uint32_t planes, uint32_t most, unsigned seed);

// An opcode's bytes: id, version, flags, length, body.
Bytes opcode(uint32_t id, const Bytes &body, uint32_t flags = 0, uint32_t version = 0x01030000);
DngTag opcode_list(uint32_t tag, const std::vector<Bytes> &opcodes);
Bytes big_longs(const std::vector<uint32_t> &values);
Bytes big_floats(const std::vector<float> &values);
Bytes big_doubles(const std::vector<double> &values);

// By decodeDNGImageBuffer; the parsed record in *info with what the develop left in it.
Bytes developed(const Bytes &file, decInfo *info);
inline decInfo sized(uint32_t width, uint32_t height) {
    decInfo info = {};
    info.width = width, info.height = height;
    return info;
}
Bytes developed(const Bytes &file, uint32_t width, uint32_t height);
// The whole picture in the active area: the crop is put aside.
struct Picture {
    uint32_t width, height;
    Bytes rgba;
};
Picture developed_whole(DngBuilder builder);

}  // namespace vorel::test
