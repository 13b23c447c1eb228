// Every prefix of every sample, and every byte set to other values: parsing ends, stays inside the input, keeps
// nothing, and comes out the same from every kind of input.
#include <gtest/gtest.h>

#include <cstring>

#include "support/counting_allocator.h"
#include "support/log_capture.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

struct Outcome {
    int32_t detected = -1, type = -1, session_type = -1;
    uint32_t duration = 0;
    ImageInfo info = {};

    bool operator==(const Outcome &other) const {
        return detected == other.detected && type == other.type && session_type == other.session_type &&
               duration == other.duration && std::memcmp(&info, &other.info, sizeof info) == 0;
    }
};

Outcome parse_all(DecInfo *session) {
    Outcome out;
    if (!session) return out;
    out.detected = VORELBRIM_GetImageType(session);
    out.type = VORELBRIM_Parser(session, &out.info);
    out.session_type = session->imageType;
    out.duration = session->totalDuration;
    return out;
}

// An empty input opens by path only, so there is nothing to compare it with.
void expect_same_from_every_kind(const Bytes &bytes, const std::string &what) {
    constexpr size_t kMemoryBound = 64 << 10;
    CountingAllocator allocator;
    Outcome memory;
    {
        Input input(Kind::kMemory, bytes);
        memory = parse_all(input.session());
    }
    ASSERT_TRUE(memory.type <= 6 && (memory.type == 0 || memory.type == memory.session_type)) << what;
    for (const Kind kind : kAllKinds) {
        if (bytes.empty()) continue;
        Input input(kind, bytes);
        EXPECT_TRUE(parse_all(input.session()) == memory) << what << ", kind " << static_cast<int>(kind);
    }
    EXPECT_EQ(allocator.live_blocks(), 0u) << what;
    EXPECT_LT(allocator.peak_bytes(), kMemoryBound) << what;
}

TEST(Sweep, EveryPrefix) {
    LogCapture log;
    for (const Sample &sample : all_samples()) {
        for (size_t length = 0; length <= sample.bytes.size(); ++length) {
            expect_same_from_every_kind(head(sample.bytes, length),
                                        std::string(sample.name) + " cut to " + std::to_string(length));
        }
    }
}

TEST(Sweep, EveryByteSetToFourValues) {
    LogCapture log;
    for (const Sample &sample : all_samples()) {
        for (size_t at = 0; at < sample.bytes.size(); ++at) {
            for (const int value : {0x00, 0x7F, 0x80, 0xFF}) {
                Bytes bytes = sample.bytes;
                bytes[at] = static_cast<uint8_t>(value);
                expect_same_from_every_kind(
                    bytes, std::string(sample.name) + " byte " + std::to_string(at) + " = " + std::to_string(value));
            }
        }
    }
}

}  // namespace
}  // namespace vorel::test
