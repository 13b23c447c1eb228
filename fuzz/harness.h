// What the fuzz targets share: options from the last bytes of the input, sessions over it, outputs that are read.
#pragma once

#include <memory>

#include "tests/support/inputs.h"
#include "tests/support/layouts.h"

namespace vorel_fuzz {

using vorel::test::Bytes;
using vorel::test::format_bytes;
using vorel::test::Kind;

// The input: a picture, and behind it the bytes that choose what is done with it.
class Case {
  public:
    Case(const uint8_t *data, size_t size, size_t option_bytes);

    // The next of the option bytes; 0 when the input is too short to have any.
    uint32_t option();
    // The same as a side of a target, as a number below an end, as one of a list.
    int32_t side() { return static_cast<int32_t>(1 + option()); }
    int32_t below(int32_t end) { return static_cast<int32_t>(option() % static_cast<uint32_t>(end)); }
    template <typename Value, size_t kCount>
    Value one_of(const Value (&values)[kCount]) {
        return values[option() % kCount];
    }
    const Bytes &picture() const { return picture_; }

  private:
    Bytes picture_, options_;
};

// An option, the first one 1, whose bits most mutations keep to these.
struct Bounded {
    size_t number;
    uint8_t keep, set;
};
extern const std::vector<Bounded> kSmallFrames;  // of the targets whose options are sides

// Owns a session over the picture; get() is null when the library makes none.
class Session {
  public:
    Session(const Bytes &picture, Kind kind, int32_t format, uint32_t options)
        : input_(std::make_unique<vorel::test::Input>(kind, picture, format, options)) {}
    // By a stream that delivers less than it is asked for.
    Session(const Bytes &picture, int32_t format, uint32_t options)
        : slow_(picture, 61), guard_(slow_.open(format, options)) {}

    DecInfo *get() { return input_ ? input_->session() : guard_.get(); }

  private:
    vorel::test::StreamSource slow_{{}};
    vorel::test::SessionGuard guard_{nullptr};
    std::unique_ptr<vorel::test::Input> input_;
};

// Outputs that were filled with these beforehand.
constexpr uint8_t kFill = 0x5A, kOtherFill = 0xA5;
// Two outputs of one decode over the two fills: every pixel is in both or in none. The number of those that are.
uint64_t require_whole_pixels(const Bytes &first, const Bytes &second, size_t pixel_bytes);

// Ends the process with a message: a property does not hold.
void require(bool holds, const char *property);

}  // namespace vorel_fuzz
