// Raw deflate and zlib streams, against zlib: the same bytes, the same end, the same verdict; in one go, in pieces of
// input and output, and taken up again at any bit.
#include <zlib.h>

#include <algorithm>
#include <vector>

#include "harness.h"
#include "png/inflate/stream.h"

using namespace vorel_fuzz;
using namespace vorel;

namespace {

constexpr size_t kOptions = 8, kCheckBytes = 4, kMostOutput = 40'000;

enum class Verdict : uint8_t { kEnd, kInput, kDamaged, kFull };

struct Outcome {
    Verdict verdict;
    size_t given, taken;  // bytes; taken where the stream ended
};

struct Input {
    const uint8_t *data;
    size_t size;
    bool wrapped;  // as a zlib stream
};

uint8_t their_output[kMostOutput], our_output[kMostOutput + kInflateSlack], resumed_output[kMostOutput + kInflateSlack];

Outcome by_zlib(const Input &input) {
    static z_stream stream = [] {
        z_stream made = {};
        // With the largest window, whatever a header says.
        inflateInit2(&made, 15);
        return made;
    }();
    inflateReset2(&stream, input.wrapped ? 15 : -15);
    if (input.wrapped) inflateValidate(&stream, 0);
    stream.next_in = const_cast<uint8_t *>(input.data);
    stream.avail_in = static_cast<uInt>(input.size);
    stream.next_out = their_output;
    stream.avail_out = kMostOutput;
    const int result = inflate(&stream, Z_SYNC_FLUSH);
    const size_t given = kMostOutput - stream.avail_out, taken = input.size - stream.avail_in;
    if (given == kMostOutput) return {Verdict::kFull, given, 0};
    if (result == Z_STREAM_END) return {Verdict::kEnd, given, taken - (input.wrapped ? kCheckBytes : 0)};
    const bool damaged = result == Z_DATA_ERROR || result == Z_NEED_DICT;
    return {damaged ? Verdict::kDamaged : Verdict::kInput, given, 0};
}

// The check value is not ours, but zlib ends behind it.
Outcome outcome_of(InflateStop stop, const InflateStream &stream, const Input &input, size_t given) {
    if (given == kMostOutput) return {Verdict::kFull, given, 0};
    if (stop == InflateStop::kEnd) {
        const size_t taken = static_cast<size_t>(stream.reader.position(input.data) + 7) / 8;
        if (input.wrapped && taken + kCheckBytes > input.size) return {Verdict::kInput, given, 0};
        return {Verdict::kEnd, given, taken};
    }
    return {stop == InflateStop::kInput ? Verdict::kInput : Verdict::kDamaged, given, 0};
}

bool same(const Outcome &a, const Outcome &b) {
    return a.verdict == b.verdict && a.given == b.given && a.taken == b.taken;
}

// Input and output come in pieces, and within a block the reader is made anew where it stands.
void resume_everywhere(const Input &input, bool pairs, uint64_t choice, const Outcome &expected) {
    static InflateStream stream;
    const uint8_t *const data = input.data, *const end_of_data = data + input.size;
    start_inflate(&stream, input.wrapped);
    stream.pairs = pairs;
    const auto next = [&](uint64_t end) {
        choice = choice * 6364136223846793005u + 1442695040888963407u;
        return static_cast<size_t>((choice >> 33) % end);
    };
    CodeReader &reader = stream.reader;
    reader.in = reader.in_end = data;
    uint8_t *at = resumed_output;
    InflateStop stop = InflateStop::kInput;
    const size_t most_in = 1 + next(64), most_out = 1 + next(300);
    while (true) {
        if (stop == InflateStop::kInput) {
            if (reader.in_end == end_of_data) break;
            reader.in_end += std::min(1 + next(most_in), static_cast<size_t>(end_of_data - reader.in_end));
        }
        const auto space = static_cast<size_t>(resumed_output + kMostOutput - at);
        if (space == 0) break;
        PlainHistory history = {resumed_output, kWindowBytes};
        uint8_t *const end = at + std::min(1 + next(most_out), space);
        stop = inflate_until(&stream, &history, &at, end, static_cast<BlockStops>(next(3)));
        if (stop == InflateStop::kEnd || stop == InflateStop::kRefused) break;
        if (stream.phase == InflateStream::kCodes && stop == InflateStop::kFull && next(4) == 0) {
            const uint32_t left = reader.match_left, done = reader.match_done;
            const int64_t bit = reader.position(data);
            resume_at(&reader, data, reader.in_end, static_cast<uint64_t>(bit));
            if (left) {
                require(enter_match(&reader, stream.tables, done) == InflateStop::kFull,
                        "a cut match is entered again");
                require(reader.match_left == left, "as much of it is left");
            }
        }
    }
    const size_t given = static_cast<size_t>(at - resumed_output);
    require(same(outcome_of(stop, stream, input, given), expected), "a stream in pieces ends as in one go");
    require(std::equal(at - given, at, their_output), "a stream in pieces gives the same bytes");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < kOptions) return 0;
    uint64_t choice = 0;
    for (size_t i = 0; i < kOptions; ++i) choice = choice << 8 | data[size - 1 - i];
    const bool pairs = choice & 2;
    // A copy that ends where it ends, for the sanitizer.
    const std::vector<uint8_t> copy(data, data + size - kOptions);
    const Input input = {copy.data(), copy.size(), (choice & 1) != 0};
    // A preset dictionary is refused at once, and by zlib when its name has come.
    if (input.wrapped && input.size > 1 && (input.data[1] & 0x20)) return 0;
    const Outcome expected = by_zlib(input);
    static InflateStream stream;
    start_inflate(&stream, input.wrapped);
    stream.pairs = pairs;
    stream.reader.in = input.data;
    stream.reader.in_end = input.data + input.size;
    uint8_t *at = our_output;
    PlainHistory history = {our_output, kWindowBytes};
    const InflateStop stop = inflate_until(&stream, &history, &at, our_output + kMostOutput, BlockStops::kNone);
    const size_t given = static_cast<size_t>(at - our_output);
    require(same(outcome_of(stop, stream, input, given), expected), "a stream ends as zlib says");
    require(std::equal(our_output, at, their_output), "a stream gives zlib's bytes");
    if (choice % 16 < 4) resume_everywhere(input, pairs, choice, expected);
    return 0;
}
