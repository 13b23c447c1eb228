// What stands in front of the first scan of a JPEG (ITU-T T.81, B.1.1.4 and B.2.2).
#include "jpeg_coding.h"

#include <cstring>
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

// Calls visit(marker, length, file) for each segment, the file at its first byte behind the length; until it says true.
template <typename Visit>
void walk_segments(const std::string &path, const Visit &visit) {
    constexpr int kSoi = 0xD8, kEoi = 0xD9, kSos = 0xDA, kRst0 = 0xD0, kTem = 0x01;
    std::ifstream file(path, std::ios::binary);
    if (file.get() != 0xFF || file.get() != kSoi) return;
    for (;;) {
        int byte = file.get();
        while (file && byte != 0xFF) byte = file.get();
        while (byte == 0xFF) byte = file.get();
        if (!file || byte == kSos || byte == kEoi) return;
        if (byte <= kTem || (byte >= kRst0 && byte <= kSoi)) continue;
        const int high = file.get(), low = file.get(), length = (high << 8 | low) - 2;
        if (!file || length < 0) return;
        const std::streampos start = file.tellg();
        if (visit(byte, length, file)) return;
        file.clear();
        file.seekg(start + std::streamoff{length});
    }
}

FrameHeader find_frame_header(const std::string &path) {
    FrameHeader found;
    walk_segments(path, [&](int marker, int, std::ifstream &file) {
        if (!is_frame_header(marker)) return false;
        found = {marker, file.get()};
        return true;
    });
    return found;
}

// ICC.1, B.4: the name, the number of the part, how many there are; the profile's own header has its colours at 16.
constexpr char kProfileName[] = "ICC_PROFILE";
constexpr size_t kPartHeader = sizeof kProfileName + 2, kColourSpace = kPartHeader + 16;

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

std::vector<uint8_t> colour_profile(const std::string &path, bool gray) {
    constexpr int kApp2 = 0xE2;
    std::vector<uint8_t> out;
    bool fits = true;
    walk_segments(path, [&](int marker, int length, std::ifstream &file) {
        if (marker != kApp2) return false;
        std::vector<uint8_t> part(static_cast<size_t>(length));
        file.read(reinterpret_cast<char *>(part.data()), length);
        if (!file || part.size() < kPartHeader || std::memcmp(part.data(), kProfileName, sizeof kProfileName) != 0)
            return false;
        if (out.empty()) {
            const char *wanted = gray ? "GRAY" : "RGB ";
            fits = part.size() >= kColourSpace + 4 && std::memcmp(&part[kColourSpace], wanted, 4) == 0;
        }
        const int whole = length + 2;
        out.insert(out.end(), {0xFF, kApp2, static_cast<uint8_t>(whole >> 8), static_cast<uint8_t>(whole)});
        out.insert(out.end(), part.begin(), part.end());
        return false;
    });
    return fits ? out : std::vector<uint8_t>();
}

}  // namespace vorel_tool
