#include "support/twins.h"

#include <algorithm>
#include <list>

#include "support/samples.h"

namespace vorel::test {

Bytes whole_output(size_t size, const std::function<void(uint8_t *)> &write) {
    return whole_outputs({size}, [&](uint8_t *const *out) { write(out[0]); });
}

Bytes whole_outputs(const std::vector<size_t> &sizes, const std::function<void(uint8_t *const *)> &write) {
    Bytes runs[2];
    for (const uint8_t fill : {0x00, 0xA5}) {
        std::list<GuardBuffer> buffers;
        std::vector<uint8_t *> starts;
        for (const size_t size : sizes) starts.push_back(buffers.emplace_back(size, fill).data());
        write(starts.data());
        for (GuardBuffer &buffer : buffers) {
            // Where the buffer does not begin at a page there are zeros in front of it.
            const size_t in_front = std::min<size_t>(64, reinterpret_cast<uintptr_t>(buffer.data()) % 4096);
            EXPECT_TRUE(std::all_of(buffer.data() - in_front, buffer.data(), [](uint8_t byte) { return byte == 0; }))
                << "written in front of the output";
            const Bytes bytes = buffer.bytes();
            runs[fill != 0].insert(runs[fill != 0].end(), bytes.begin(), bytes.end());
        }
    }
    EXPECT_TRUE(runs[0] == runs[1]) << "not every byte is written";
    return runs[0];
}

Bytes kernel_row(size_t size, unsigned seed) {
    if (seed % 4 == 3) return Bytes(size, seed % 8 == 3 ? 0 : 255);
    Bytes bytes = noise(size, seed);
    for (size_t i = 0; i < size; ++i) {
        const bool alpha = i % 4 == 3;
        if (seed % 4 == 2 || (alpha && bytes[i] % 3 == 0)) bytes[i] = bytes[i] & 1 ? 255 : 0;
        if (seed % 4 == 1 && alpha) bytes[i] = 255;
    }
    return bytes;
}

}  // namespace vorel::test
