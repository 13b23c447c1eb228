// Every allocation of the frame failing once: the documented failure and error word, nothing kept.
#include <gtest/gtest.h>

#include <cstring>

#include "support/counting_allocator.h"
#include "support/log_capture.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

TEST(AllocationFailure, SessionsAndParsing) {
    LogCapture log;
    for (const Sample &sample : all_samples()) {
        for (const Kind kind : kAllKinds) {
            const size_t allocations = with_each_allocation_failing([&](CountingAllocator &allocator) {
                {
                    Input input(kind, sample.bytes);
                    ImageInfo info;
                    const int32_t type = input.session() ? VORELBRIM_Parser(input.session(), &info) : 0;
                    EXPECT_EQ(type, allocator.failed() ? 0 : sample.type) << sample.name;
                    // Without a block for the cursor 4; a header reader that had none counts as unreadable.
                    if (allocator.failed() && input.session())
                        EXPECT_TRUE(gVORELBRIM_Error == 4 || gVORELBRIM_Error == 5);
                }
                EXPECT_EQ(allocator.live_blocks(), 0u) << sample.name;
            });
            EXPECT_GE(allocations, 2u);
        }
    }
}

TEST(AllocationFailure, SessionWithoutMemoryIsError4) {
    uint8_t byte = 0;
    with_each_allocation_failing([&](CountingAllocator &allocator) {
        DecInfo *session = VORELBRIM_CreateDecInfo(1, &byte, 1, 0, 0);
        EXPECT_EQ(session == nullptr, allocator.failed());
        EXPECT_EQ(gVORELBRIM_Error, session ? 0u : 4u);
        if (session) VORELBRIM_DestroyDecInfo(session);
        EXPECT_EQ(allocator.live_blocks(), 0u);
    });
}

TEST(AllocationFailure, Handles) {
    LogCapture log;
    const Bytes bytes = gif_still();
    const TempFile file(bytes);
    const int descriptors = open_descriptors();
    for (const uint32_t kind : {0u, 1u}) {
        const void *source = kind == 0 ? static_cast<const void *>(file.path()) : bytes.data();
        const size_t allocations = with_each_allocation_failing([&](CountingAllocator &allocator) {
            const int32_t handle = VORELBRIM_OpenDecHandle(source, kind ? static_cast<int32_t>(bytes.size()) : 0, kind);
            if (handle) {
                const int32_t bound = VORELBRIM_SetDecInfoFromHandle(handle, 0);
                EXPECT_EQ(bound, allocator.failed() ? 0 : 1);
                EXPECT_EQ(VORELBRIM_CloseDecHandle(handle), 1);
            }
            EXPECT_EQ(handle == 0 && !allocator.failed(), false);
            EXPECT_EQ(allocator.live_blocks(), 0u);
            EXPECT_EQ(open_descriptors(), descriptors);
        });
        EXPECT_GE(allocations, 4u);
    }
}

TEST(AllocationFailure, EntriesReturn0OrTheWholePicture) {
    LogCapture log;
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
}

}  // namespace
}  // namespace vorel::test
