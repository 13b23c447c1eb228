// Parsing on every input: cut, changed, from any kind of source, without memory; and the entries without memory.
#include <gtest/gtest.h>

#include <cstring>

#include "support/conformance.h"
#include "support/counting_allocator.h"
#include "support/log_capture.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

Seen parse(Kind kind, const Bytes &bytes) {
    Input input(kind, bytes);
    DecInfo *session = input.session();
    if (!session) return {};
    struct {
        ImageInfo info;
        int32_t detected, type, session_type;
        uint32_t duration;
    } out;
    std::memset(&out, 0, sizeof out);
    out.type = VORELBRIM_Parser(session, &out.info);
    const uint32_t error = gVORELBRIM_Error;
    out.detected = VORELBRIM_GetImageType(session);
    out.session_type = session->imageType;
    out.duration = session->totalDuration;
    const auto *first = reinterpret_cast<const uint8_t *>(&out);
    return {out.detected ? out.type : 0, Bytes(first, first + sizeof out), out.type ? gVORELBRIM_Error : error};
}

TEST(Conformance, Parsing) {
    for (const Sample &sample : all_samples()) {
        EXPECT_EQ(parse(Kind::kMemory, sample.bytes).result, sample.type) << sample.name;
        Subject subject = {
            .name = sample.name, .file = sample.bytes, .decode = parse, .memory = 64 << 10, .decodes = 50};
        expect_conforms(subject);
    }
}

// Through the handles: a picture that is parsed by way of the table.
TEST(Conformance, Handles) {
    const auto parse_by_handle = [](Kind kind, const Bytes &bytes) -> Seen {
        const TempFile file(bytes);
        const bool by_path = kind == Kind::kPath;
        const void *source = by_path ? static_cast<const void *>(file.path()) : bytes.data();
        const int32_t handle =
            VORELBRIM_OpenDecHandle(source, by_path ? 0 : static_cast<int32_t>(bytes.size()), by_path ? 0 : 1);
        if (!handle) return {};
        const int32_t bound = VORELBRIM_SetDecInfoFromHandle(handle, 0);
        EXPECT_EQ(VORELBRIM_CloseDecHandle(handle), 1);
        return {bound, {}};
    };
    Subject subject = {.name = "GIF by handle",
                       .file = gif_still(),
                       .decode = parse_by_handle,
                       .kinds = {Kind::kMemory, Kind::kPath},
                       .allocations = 4,
                       .decodes = 50};
    expect_conforms(subject);
}

// By both, a file and a buffer of it, one of which may fail.
TEST(Conformance, EntriesWithoutMemoryReturn0OrTheWholePicture) {
    const LogCapture log;
    const Bytes bytes = wbmp(40, 8, Bytes(5 * 8, 0xAA));
    const TempFile file(bytes);
    for (const int32_t sample : {1, 3}) {
        Bytes expected(40 * 8 * 2, 1);
        ASSERT_EQ(VorelDecodeFile(file.path(), expected.data(), 0, COLOR_RGB565, sample), 1);
        const size_t allocations = with_each_allocation_failing([&](CountingAllocator &allocator) {
            Bytes by_file(expected.size(), 1), by_buffer(expected.size(), 1);
            const int32_t file_result = VorelDecodeFile(file.path(), by_file.data(), 0, COLOR_RGB565, sample);
            const int32_t buffer_result = VorelDecodeBuffer(bytes.data(), by_buffer.data(),
                                                            static_cast<int32_t>(bytes.size()), COLOR_RGB565, sample);
            if (file_result) EXPECT_EQ(by_file, expected);
            if (buffer_result) EXPECT_EQ(by_buffer, expected);
            EXPECT_EQ(file_result + buffer_result, allocator.failed() ? 1 : 2);
            EXPECT_EQ(allocator.live_blocks(), 0u);
        });
        EXPECT_GE(allocations, 5u);
    }
    uint8_t byte = 0;
    with_each_allocation_failing([&](CountingAllocator &allocator) {
        SessionGuard session(VORELBRIM_CreateDecInfo(1, &byte, 1, 0, 0));
        EXPECT_EQ(!session, allocator.failed());
        EXPECT_EQ(gVORELBRIM_Error, session ? 0u : 4u);
    });
}

}  // namespace
}  // namespace vorel::test
