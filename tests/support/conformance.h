// What every decoder keeps to on every input, with a row a format: cut anywhere, changed anywhere, from any kind of
// input, without memory, again and again.
#pragma once

#include <functional>

#include "support/inputs.h"

namespace vorel::test {

// All that can be seen of a decode.
struct Seen {
    int32_t result = 0;  // 0: failed
    Bytes bytes;         // the output as it stands behind the decode, and what else there is to compare
    uint32_t error = 1;  // the error word behind a failure, where the format has one
    bool operator==(const Seen &other) const { return result == other.result && bytes == other.bytes; }
};

struct Subject {
    std::string name;
    Bytes file;  // small, and whole
    // One decode with all that belongs to it; nothing stays behind. The output is filled beforehand, always alike.
    std::function<Seen(Kind, const Bytes &)> decode = {};

    // The kinds that have to give what the first does.
    std::vector<Kind> kinds = {std::begin(kAllKinds), std::end(kAllKinds)};
    std::vector<uint8_t> values = {0x00, 0x7F, 0x80, 0xFF};
    size_t memory = size_t{1} << 20;  // the engine's peak over any of the inputs, in bytes
    size_t allocations = 2;           // that a decode takes at least
    bool survives = false;            // may come right in spite of a failed allocation
    int decodes = 1000;
    // Further checks of what the first kind gives, and a difference between kinds that is as it should be.
    std::function<void(const Bytes &cut, const Seen &)> on_prefix = {};
    std::function<void(const Bytes &changed, size_t at, const Seen &)> on_change = {};
    std::function<bool(Kind, const Bytes &input, const Seen &first, const Seen &other)> may_differ = {};
};

// VorelDecodeFile and VorelDecodeBuffer succeed with this buffer, which was filled with `fill`.
void expect_entries_give(const Bytes &expected, const Bytes &file, int32_t format, int32_t sample, uint8_t fill);
// Every prefix, an empty one too where it opens: an end, the same one from every kind.
void expect_prefixes_conform(const Subject &subject);
// Every byte set to each of the values.
void expect_changes_conform(const Subject &subject);
// Each allocation failing once: a failed decode, and nothing kept.
void expect_failing_allocations_conform(const Subject &subject);
// Decodes of the whole, of a part and of next to nothing leave neither memory nor descriptors behind.
void expect_repeats_conform(const Subject &subject);
// All of it.
void expect_conforms(const Subject &subject);

}  // namespace vorel::test
