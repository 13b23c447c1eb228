// C handles.
#include <gtest/gtest.h>

#include <set>
#include <thread>

#include "support/conformance.h"
#include "support/counting_allocator.h"
#include "support/log_capture.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

TEST(Handles, OpenSetGetClose) {
    CountingAllocator allocator;
    const int descriptors = open_descriptors();
    const Bytes bytes = gif_animation();
    TempFile file(bytes);
    const auto size = static_cast<int32_t>(bytes.size());
    for (const int32_t handle :
         {VORELBRIM_OpenDecHandle(file.path(), 0, 0), VORELBRIM_OpenDecHandle(file.path(), size, 0),
          VORELBRIM_OpenDecHandle(bytes.data(), size, 1)}) {
        ASSERT_GT(handle, 0);
        for (int round = 0; round < 3; ++round) ASSERT_EQ(VORELBRIM_SetDecInfoFromHandle(handle, COLOR_BGRA8888), 1);
        DecInfo *session = VORELBRIM_GetDecInfoFromHandle(handle);
        ASSERT_NE(session, nullptr);
        EXPECT_EQ(session->outColorFormat, COLOR_BGRA8888);
        EXPECT_EQ(session->imageType, 6);
        EXPECT_EQ(session->totalDuration, 120u) << "parsed once";
        EXPECT_EQ(session->checkFn, VORELBRIM_CheckFn);
        EXPECT_EQ(session->ioInfo->size, size);
        const DecHandle *record = rim_dec_handle_get_struct(handle);
        EXPECT_EQ(record->imageType, 6);
        EXPECT_EQ(record->width, 3u);
        EXPECT_EQ(VORELBRIM_CloseDecHandle(handle), 1);
        EXPECT_EQ(VORELBRIM_CloseDecHandle(handle), 0);
        EXPECT_EQ(VORELBRIM_GetDecInfoFromHandle(handle), nullptr);
    }
    EXPECT_EQ(allocator.live_blocks(), 0u);
    EXPECT_EQ(open_descriptors(), descriptors);
}

TEST(Handles, RefusedSources) {
    LogCapture log;
    CountingAllocator allocator;
    const uint8_t byte = 0;
    const struct {
        const char *what;
        const void *source;
        int32_t size;
        uint32_t kind;
    } cases[] = {
        {"kind 2", &byte, 1, 2},        {"kind 4", &byte, 1, 4},    {"null path", nullptr, 0, 0},
        {"null memory", nullptr, 5, 1}, {"no memory", &byte, 0, 1}, {"missing", "/nonexistent/x", 0, 0},
        {"directory", "/tmp", 0, 0},
    };
    for (const auto &c : cases) EXPECT_EQ(VORELBRIM_OpenDecHandle(c.source, c.size, c.kind), 0) << c.what;
    EXPECT_EQ(allocator.live_blocks(), 0u);
    EXPECT_EQ(VORELBRIM_SetDecInfoFromHandle(1, 0), 0);
    for (const int32_t id : {0, -1, -300, 256, 1000000}) EXPECT_EQ(VORELBRIM_CloseDecHandle(id), 0);
}

TEST(Handles, AnInputThatIsNoPictureStaysUnknown) {
    const Bytes junk(30, 'x');
    const int32_t handle = VORELBRIM_OpenDecHandle(junk.data(), 30, 1);
    EXPECT_NE(VORELBRIM_GetDecInfoFromHandle(handle), nullptr) << "unbound, but harmless";
    EXPECT_EQ(VORELBRIM_SetDecInfoFromHandle(handle, 0), 0);
    EXPECT_NE(VORELBRIM_GetDecInfoFromHandle(handle), nullptr);
    EXPECT_EQ(VORELBRIM_CloseDecHandle(handle), 1);
}

TEST(Handles, OwnedMemoryIsFreedOnce) {
    CountingAllocator allocator;
    const Bytes bytes = gif_still();
    const int32_t handle = VORELBRIM_OpenDecHandle(bytes.data(), static_cast<int32_t>(bytes.size()), 1);
    VORELBRIM_SetDecInfoFromHandle(handle, 0);
    IoInfo *io = VORELBRIM_GetDecInfoFromHandle(handle)->ioInfo;
    io->kind = 5;
    io->source = VORELBRIM_OsMalloc(64);
    EXPECT_EQ(VORELBRIM_CloseDecHandle(handle), 1);
    EXPECT_EQ(allocator.live_blocks(), 0u);
}

TEST(Handles, The256thFails) {
    const uint8_t byte = 0;
    std::set<int32_t> handles;
    for (int i = 0; i < 255; ++i) handles.insert(VORELBRIM_OpenDecHandle(&byte, 1, 1));
    EXPECT_EQ(handles.size(), 255u);
    EXPECT_EQ(*handles.begin(), 1);
    EXPECT_EQ(*handles.rbegin(), 255);
    EXPECT_EQ(VORELBRIM_OpenDecHandle(&byte, 1, 1), 0);
    EXPECT_EQ(VORELBRIM_CloseDecHandle(77), 1);
    EXPECT_EQ(VORELBRIM_OpenDecHandle(&byte, 1, 1), 77) << "the first empty slot";
    for (const int32_t handle : handles) EXPECT_EQ(VORELBRIM_CloseDecHandle(handle), 1);
}

TEST(Handles, TableOperations) {
    int32_t id = 0;
    DecHandle *record = nullptr, *again = nullptr;
    ASSERT_GT(__rim_dec_handle_contorl(0, &id, &record, 0), 0);
    EXPECT_EQ(__rim_dec_handle_contorl(id, nullptr, &again, 1), id);
    EXPECT_EQ(record, again);
    EXPECT_EQ(record->decInfoHolder, nullptr);
    for (const int32_t bad : {0, -1, 256}) {
        EXPECT_EQ(__rim_dec_handle_contorl(bad, nullptr, &again, 1), 0);
        EXPECT_EQ(again, nullptr);
        EXPECT_EQ(__rim_dec_handle_contorl(bad, nullptr, nullptr, 2), 0);
    }
    EXPECT_EQ(__rim_dec_handle_contorl(id, nullptr, nullptr, 3), 0);
    ASSERT_EQ(rim_create_dec_info(record), 1);
    EXPECT_EQ(rim_set_decinfo_from_handle(id, COLOR_RGBA8888), 0) << "a slot that was never opened has no source";
    EXPECT_EQ(rim_destroy_dec_info(record), 1);
    EXPECT_EQ(__rim_dec_handle_contorl(id, nullptr, nullptr, 2), 1);
    EXPECT_EQ(__rim_dec_handle_contorl(id, nullptr, nullptr, 2), 0) << "an empty slot";
}

TEST(Handles, ThreadsShareTheTable) {
    const Bytes bytes = gif_still();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&bytes] {
            for (int i = 0; i < 300; ++i) {
                const int32_t handle = VORELBRIM_OpenDecHandle(bytes.data(), static_cast<int32_t>(bytes.size()), 1);
                ASSERT_GT(handle, 0);
                EXPECT_EQ(VORELBRIM_SetDecInfoFromHandle(handle, i), 1);
                EXPECT_EQ(VORELBRIM_GetDecInfoFromHandle(handle)->outColorFormat, i);
                EXPECT_EQ(VORELBRIM_CloseDecHandle(handle), 1);
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
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

}  // namespace
}  // namespace vorel::test
