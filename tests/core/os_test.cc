// The operating-system layer where it differs from libc.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <cstring>

#include "support/counting_allocator.h"
#include "support/inputs.h"
#include "support/log_capture.h"

namespace vorel::test {
namespace {

FILE *const kFailedOpen = reinterpret_cast<FILE *>(intptr_t{-1});

TEST(Os, MissingFileLeavesOneLineAndDirectoriesNone) {
    LogCapture log;
    EXPECT_EQ(VORELBRIM_OsFopen("/nonexistent/x", "rb"), nullptr);
    const std::vector<LogLine> lines = log.take();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].tag, "VJPEG_STAT");
    EXPECT_EQ(lines[0].priority, 4);
    EXPECT_EQ(lines[0].text, "/nonexistent/x : 2 open fail");
    EXPECT_EQ(VORELBRIM_OsFopen("/tmp", "rb"), nullptr);
    EXPECT_TRUE(log.take().empty());
    EXPECT_EQ(VORELBRIM_OsFopen("/tmp", "wb"), nullptr);
    EXPECT_EQ(log.take().size(), 1u) << "only reading is silent";
}

TEST(Os, FailedOpenIsMinusOneAndClosesSafely) {
    LogCapture log;
    EXPECT_EQ(VORELBRIM_OpenFile("/nonexistent/x"), kFailedOpen);
    EXPECT_EQ(VORELBRIM_OpenFile(nullptr), kFailedOpen);
    for (FILE *none : {static_cast<FILE *>(nullptr), kFailedOpen}) {
        uint8_t byte = 0;
        EXPECT_EQ(VORELBRIM_OsFclose(none), -1);
        EXPECT_EQ(VORELBRIM_CloseFile(none), -1);
        EXPECT_EQ(VORELBRIM_SeekFile(none, 0, SEEK_SET), -1);
        EXPECT_EQ(VORELBRIM_ReadFile(none, &byte, 1), 0);
        EXPECT_EQ(VORELBRIM_OsFwrite(&byte, 1, 1, none), -1);
    }
}

TEST(Os, ReadsAndWritesCountElements) {
    TempFile temp;
    FILE *file = VORELBRIM_OsFopen(temp.path(), "w+b");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(VORELBRIM_OsFwrite("abcdef", 2, 3, file), 3);
    EXPECT_EQ(VORELBRIM_OsFwrite("abcdef", 2, 0, file), -1);
    EXPECT_EQ(VORELBRIM_OsFwrite("abcdef", 0, 3, file), -1);
    EXPECT_EQ(VORELBRIM_OsFwrite(nullptr, 2, 3, file), -1);
    EXPECT_EQ(VORELBRIM_SeekFile(file, -2, SEEK_END), 4);
    EXPECT_EQ(VORELBRIM_SeekFile(file, -9, SEEK_SET), 4) << "the position, not the result of the failed seek";
    char bytes[8] = {};
    EXPECT_EQ(VORELBRIM_OsFread(bytes, 4, 1, file), 0);
    EXPECT_EQ(VORELBRIM_SeekFile(file, 1, SEEK_SET), 1);
    EXPECT_EQ(VORELBRIM_ReadFile(file, bytes, 8), 5);
    EXPECT_STREQ(bytes, "bcdef");
    EXPECT_EQ(VORELBRIM_ReadFile(file, bytes, -1), 0);
    EXPECT_EQ(VORELBRIM_OsFclose(file), 0);
}

TEST(Os, NegativeSizesAskForNothing) {
    EXPECT_EQ(VORELBRIM_OsMalloc(-1), nullptr);
    char byte = 'x';
    VORELBRIM_OsMemset(&byte, 0, -1);
    VORELBRIM_OsMemcpy(&byte, "y", INT_MIN);
    EXPECT_EQ(byte, 'x');
    void *block = VORELBRIM_OsMalloc(1);
    EXPECT_EQ(VORELBRIM_OsRealloc(block, -1), nullptr);
    VORELBRIM_OsFree(block);
    VORELBRIM_OsFree(nullptr);
}

TEST(Os, AlignedBlocksAreAlignedAndWholeAtEverySize) {
    CountingAllocator allocator;
    for (int32_t size = 0; size < 200; ++size) {
        void *block = BRIM_FakeMalloc(nullptr, size);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 16, 0u) << size;
        std::memset(block, 0xEE, static_cast<size_t>(size));
        BRIM_FakeFree(block);
    }
    BRIM_FakeFree(nullptr);
    EXPECT_EQ(BRIM_FakeMalloc(nullptr, -1), nullptr);
    EXPECT_EQ(BRIM_FakeMalloc(nullptr, INT_MAX), nullptr);
    EXPECT_EQ(allocator.live_blocks(), 0u);
}

TEST(Os, RoundsUpToPowersOfTwo) {
    const struct {
        int32_t value, power, rounded;
    } cases[] = {{0, 16, 0}, {1, 16, 16}, {16, 16, 16}, {17, 8, 24}, {5, 1, 5}};
    for (const auto &c : cases) EXPECT_EQ(round_up_pow2(c.value, c.power), c.rounded) << c.value;
}

TEST(Os, ThreadsAndMutexes) {
    static pthread_mutex_t mutex;
    static int entered;
    ASSERT_EQ(VORELBRIM_OsThreadMutex_Init(&mutex), 0);
    const auto routine = [](void *argument) -> void * {
        for (int i = 0; i < 1000; ++i) {
            VORELBRIM_OsThreadMutex_Lock(&mutex);
            *static_cast<int *>(argument) += 1;
            VORELBRIM_OsThreadMutex_Unlock(&mutex);
        }
        return nullptr;
    };
    pthread_t threads[3];
    for (pthread_t &thread : threads) ASSERT_EQ(VORELBRIM_OsThreadCreate(routine, &entered, &thread), 1);
    for (pthread_t thread : threads) EXPECT_EQ(VORELBRIM_OsThreadWait(thread, nullptr), 0);
    EXPECT_EQ(entered, 3000);
    // Closing leaves the mutex usable.
    EXPECT_EQ(VORELBRIM_OsThreadMutex_Close(&mutex), 0);
    EXPECT_EQ(VORELBRIM_OsThreadMutex_Lock(&mutex), 0);
    EXPECT_EQ(VORELBRIM_OsThreadMutex_Unlock(&mutex), 0);
}

TEST(Os, NullPointersAreRefused) {
    EXPECT_EQ(VORELBRIM_OsThreadCreate(nullptr, nullptr, nullptr), 0);
    VORELBRIM_CheckExStatus(nullptr);
    EXPECT_EQ(VORELBRIM_Read_IO2(nullptr, nullptr, 4), -1);
    EXPECT_EQ(BRIMJ_CheckBuffer(nullptr, 4), 0);
    DecInfo session = {};
    StreamBuffer stream = {};
    EXPECT_EQ(__BRIM_ParserWBMP(&session, &stream), 0);
}

TEST(Os, NoOutsideSignalMeansGoOn) {
    int32_t status = -7;
    VORELBRIM_CheckExStatus(&status);
    EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace vorel::test
