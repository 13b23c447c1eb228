// Most mutations make small frames: what breaks there breaks as well as in large ones, at a tenth of the time.
#include "harness.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t most);

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t most, unsigned seed) {
    size = LLVMFuzzerMutate(data, size, most);
    if (seed % 8 == 0) return size;
    for (const vorel_fuzz::Bounded &option : vorel_fuzz::kSmallFrames) {
        if (option.number > size) continue;
        uint8_t &byte = data[size - option.number];
        byte = static_cast<uint8_t>((byte & option.keep) | option.set);
    }
    return size;
}
