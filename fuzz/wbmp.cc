// The WBMP decoder: every target, format and fit; memory and path agree, and only the told rectangle is written.
#include <vorel/raster.h>

#include "fuzz_support.h"

using namespace vorel::fuzz;

namespace {

constexpr int32_t kFormats[] = {COLOR_RGB565, COLOR_RGB888, COLOR_RGBA8888, COLOR_BGRA8888, COLOR_YUV420};
constexpr size_t kPixelBytes[] = {2, 3, 4, 4, 2};
constexpr uint32_t kFits[] = {0, VOREL_OPTION_FIT_STRETCH, VOREL_OPTION_FIT_STRETCH | VOREL_OPTION_EXIF_ORIENTATION,
                              VOREL_OPTION_FIT_COVER};

struct Target {
    int32_t width, height;
    uint32_t format, fit;

    size_t bytes() const { return static_cast<size_t>(width) * static_cast<size_t>(height) * kPixelBytes[format]; }
};

// A buffer of exactly the target's size, from the heap for the address sanitizer.
class Output {
  public:
    Output(const Target &target, int fill) : size_(target.bytes()), bytes_(new uint8_t[size_ ? size_ : 1]) {
        std::memset(bytes_, fill, size_);
    }
    ~Output() { delete[] bytes_; }
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;

    uint8_t *get() { return bytes_; }
    uint8_t operator[](size_t index) const { return bytes_[index]; }
    bool operator==(const Output &other) const { return std::memcmp(bytes_, other.bytes_, size_) == 0; }

  private:
    size_t size_;
    uint8_t *bytes_;
};

struct Result {
    int32_t result;
    uint32_t width, height;
};

Result decode(DecInfo *session, const Target &target, Output &output) {
    if (!session) return {0, 0, 0};
    const int32_t result = VORELBRIMI_DecodeWBMP(session, output.get(), target.width, target.height);
    touch(output.get(), target.bytes());
    return {result, session->outWidth, session->outHeight};
}

void integers(const Options &input) {
    const auto length = static_cast<int32_t>(input.size() < 40 ? input.size() : 40);
    uint8_t scratch[40];
    int32_t cursor = 0, groups = 0;
    while (cursor < length) {
        const int32_t before = cursor;
        const int32_t bytes = BRIMI_WBMPdecodeMultibyte(input.data(), length, &cursor, &groups, scratch);
        require(cursor > before && bytes == groups && groups == cursor - before, "an integer consumes its groups");
        require(BRIMI_WBMPgetMultibyte2Int(scratch, bytes, groups) >= 0, "values are not negative");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Options input(data, size);
    const uint8_t choice = input.byte();
    const Target target = {static_cast<int32_t>(input.below(120)), static_cast<int32_t>(input.below(120)),
                           static_cast<uint32_t>(choice % 5), static_cast<uint32_t>(choice >> 6)};
    if (input.size() == 0) return 0;
    integers(input);

    const int32_t format = kFormats[target.format];
    Output dark(target, 0x11), light(target, 0xEE), by_path(target, 0x11);
    const MemorySession first(input.data(), input.size(), format, kFits[target.fit]);
    const MemorySession second(input.data(), input.size(), format, kFits[target.fit]);
    const Result memory = decode(first.get(), target, dark);
    decode(second.get(), target, light);
    MemoryFile file(input.data(), input.size());
    DecInfo *session = VORELBRIM_CreateDecInfo(0, file.path(), 0, format, kFits[target.fit]);
    const Result path = decode(session, target, by_path);
    VORELBRIM_DestroyDecInfo(session);
    require(
        memory.result == path.result && memory.width == path.width && memory.height == path.height && dark == by_path,
        "path and memory agree");

    // Pixels that differ between the fills were not written: all those outside the picture, none inside.
    const size_t pixel = kPixelBytes[target.format];
    size_t untouched = 0;
    for (size_t at = 0; at < target.bytes(); at += pixel) {
        if (dark[at] == light[at]) continue;
        for (size_t i = 0; i < pixel; ++i) require(dark[at + i] == 0x11 && light[at + i] == 0xEE, "whole pixels");
        ++untouched;
    }
    const size_t written = memory.result ? static_cast<size_t>(memory.width) * memory.height : 0;
    require(untouched + written == target.bytes() / pixel, "the picture's pixels are written, and no others");
    return 0;
}
