// The table of what is called while allocations fail.
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "failing.h"
#include "support/inputs.h"
#include "support/layouts.h"

namespace vorel::test {

struct Outcome {
    bool done = false;  // the library says that it succeeded
    Bytes output;       // what came out; counts where it is done
    Bytes again;        // the same asked once more of what had stayed open, with memory; empty where nothing had
};

// Opens, works inside counted(), closes.
struct Entry {
    std::string name;
    std::function<Outcome()> run;
};

inline void PrintTo(const Entry &entry, std::ostream *to) { *to << entry.name; }

std::vector<Entry> decode_entries();
std::vector<Entry> encode_entries();
std::vector<Entry> other_entries();
std::vector<Entry> native_entries();  // where the natives are built

inline int32_t bytes_of(const Bytes &bytes) { return static_cast<int32_t>(bytes.size()); }
// A block of the library's as bytes; it is freed.
Bytes taken_block(void *block, size_t bytes);
// With the stream that came out decoded.
Outcome pixels_of(Outcome stream);
// 320 x 528 pixels; baseline in strips.
const Bytes &baseline_jpeg();
const Bytes &progressive_jpeg();

}  // namespace vorel::test
