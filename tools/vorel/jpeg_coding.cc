// The first frame header of a JPEG (ITU-T T.81, clause B.2.2).
#include "jpeg_coding.h"

#include <cstdint>
#include <fstream>

namespace vorel_tool {
namespace {

struct FrameHeader {
    int marker = 0;  // SOF0 to SOF15; 0: there is none
    int precision = 0;
};

bool is_frame_header(int marker) {
    constexpr int kDht = 0xC4, kJpg = 0xC8, kDac = 0xCC;
    return marker >= 0xC0 && marker <= 0xCF && marker != kDht && marker != kJpg && marker != kDac;
}

FrameHeader find_frame_header(const std::string &path) {
    constexpr int kSoi = 0xD8, kEoi = 0xD9, kSos = 0xDA, kRst0 = 0xD0, kTem = 0x01;
    std::ifstream file(path, std::ios::binary);
    if (file.get() != 0xFF || file.get() != kSoi) return {};
    for (;;) {
        int byte = file.get();
        while (file && byte != 0xFF) byte = file.get();
        while (byte == 0xFF) byte = file.get();
        if (!file || byte == kSos || byte == kEoi) return {};
        if (byte <= kTem || (byte >= kRst0 && byte <= kSoi)) continue;
        const int high = file.get(), low = file.get(), length = high << 8 | low;
        if (is_frame_header(byte)) return {byte, file.get()};
        if (!file || length < 2) return {};
        file.seekg(length - 2, std::ios::cur);
    }
}

}  // namespace

std::string unsupported_coding(const std::string &path) {
    const FrameHeader frame = find_frame_header(path);
    if (frame.marker == 0) return "";
    // Table B.1: from SOF8 on arithmetic, and in each four sequential, sequential, progressive, lossless; from the
    // second four on differential.
    const int kind = frame.marker & 3;
    const bool hierarchical = (frame.marker & 4) != 0, arithmetic = (frame.marker & 8) != 0;
    if (hierarchical) return "hierarchical coding is not supported";
    if (kind == 3) return "lossless coding is not supported";
    if (arithmetic) return "arithmetic coding is not supported";
    if (frame.precision != 8) return std::to_string(frame.precision) + " bits a sample are not supported";
    return "";
}

}  // namespace vorel_tool
