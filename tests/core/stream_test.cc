// Inputs of every kind and the block cursor.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <memory>

#include "core/stream.h"
#include "support/counting_allocator.h"
#include "support/inputs.h"
#include "support/log_capture.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

struct Closed {
    void operator()(IoInfo *io) const { VORELBRIM_Close_IO(io); }
};
using OwnedIo = std::unique_ptr<IoInfo, Closed>;

TEST(OpenInput, RefusalsSetTheErrorWord) {
    LogCapture log;
    char directory[] = "/tmp", missing[] = "/nonexistent/x";
    uint8_t memory[4] = {};
    const TempFile target;
    const std::string link = std::string(target.path()) + "-dir";
    ASSERT_EQ(symlink("/tmp", link.c_str()), 0);
    const struct {
        const char *what;
        uint32_t kind;
        void *source;
        int32_t size;
        uint32_t error, lines;
    } cases[] = {
        {"kind 3", 3, memory, 4, 11, 0},
        {"callbacks have their own opening", 4, memory, 4, 11, 0},
        {"kind 6", 6, memory, 4, 11, 0},
        {"memory of size 0", 1, memory, 0, 12, 0},
        {"owned memory of size 0", 5, memory, 0, 12, 0},
        {"null FILE", 2, nullptr, 4, 13, 0},
        {"null path", 0, nullptr, 0, 13, 0},
        {"directory", 0, directory, 0, 13, 0},
        {"link to a directory", 0, const_cast<char *>(link.c_str()), 0, 13, 1},
        {"missing file", 0, missing, 0, 13, 1},
    };
    for (const auto &c : cases) {
        gVORELBRIM_Error = 0;
        EXPECT_EQ(VORELBRIM_Open_IO(c.kind, c.source, c.size), nullptr) << c.what;
        EXPECT_EQ(gVORELBRIM_Error, c.error) << c.what;
        EXPECT_EQ(log.take().size(), c.lines) << c.what;
    }
    unlink(link.c_str());
}

TEST(OpenInput, SizesAndPaths) {
    TempFile file(noise(100, 1)), empty;
    const OwnedIo io(VORELBRIM_Open_IO(0, file.path(), 0)), given(VORELBRIM_Open_IO(0, file.path(), 7));
    ASSERT_TRUE(io && given);
    EXPECT_EQ(io->size, 100);
    EXPECT_EQ(io->bufferSize, 16384);
    EXPECT_EQ(io->source, file.path());
    EXPECT_NE(io->path, file.path());
    EXPECT_STREQ(io->path, file.path());
    EXPECT_EQ(given->size, 7) << "a given size is believed";
    const OwnedIo none(VORELBRIM_Open_IO(0, empty.path(), 0));
    ASSERT_TRUE(none) << "only memory must not be empty";
    EXPECT_EQ(none->size, 0);

    FILE *stdio = std::fopen(file.path(), "rb");
    std::fseek(stdio, 30, SEEK_SET);
    // A given size leaves the stream where it stands.
    for (const int32_t size : {100, 0}) {
        const OwnedIo opened(VORELBRIM_Open_IO(2, stdio, size));
        EXPECT_EQ(opened->startOffset, 30);
        EXPECT_EQ(opened->position, 0);
        EXPECT_EQ(opened->size, size);
        EXPECT_EQ(std::ftell(stdio), size ? 30 : 0);
    }
    EXPECT_EQ(std::fclose(stdio), 0) << "the caller's stream stays open";
    IoInfo unknown = {};
    unknown.kind = 3;
    EXPECT_EQ(VORELBRIM_Close_IO(&unknown), 0);
    EXPECT_EQ(VORELBRIM_Close_IO(nullptr), 0);
}

TEST(OpenInput, PathThatCannotBeCopiedLeavesTheFileOpenAndNoErrorCode) {
    TempFile file(noise(4, 1));
    CountingAllocator allocator;
    const int before = open_descriptors();
    gVORELBRIM_Error = 0;
    allocator.fail_at(2);
    EXPECT_EQ(VORELBRIM_Open_IO(0, file.path(), 0), nullptr);
    EXPECT_TRUE(allocator.failed());
    EXPECT_EQ(gVORELBRIM_Error, 0u);
    EXPECT_EQ(open_descriptors(), before + 1);
    EXPECT_EQ(allocator.live_blocks(), 0u);
}

TEST(SeekInput, Memory) {
    Bytes bytes = noise(10, 1);
    const struct {
        int32_t from, offset, whence, result, position;
    } cases[] = {
        {5, 3, 0, 3, 3},         {5, 10, 0, 10, 10}, {5, 11, 0, 10, 10},
        {5, -1, 0, -1, 5},       {5, 4, 1, 9, 9},    {5, 100, 1, 10, 10},
        {5, INT_MAX, 1, 10, 10}, {5, -5, 1, 0, 0},   {5, -7, 1, -2, -2},
        {5, 0, 2, 10, 10},       {5, -4, 2, 6, 6},   {5, 1, 2, -1, 5},
        {5, 2, 3, 5, 5},         {5, 2, -1, 5, 5},   {-2, INT_MIN, 1, INT_MIN, INT_MIN},
    };
    for (const uint32_t kind : {1u, 5u}) {
        for (const auto &c : cases) {
            const OwnedIo io(VORELBRIM_Open_IO(kind, bytes.data(), 10));
            io->position = c.from;
            EXPECT_EQ(VORELBRIM_Seek_IO(io.get(), c.offset, c.whence), c.result) << c.offset << " whence " << c.whence;
            EXPECT_EQ(io->position, c.position) << c.offset << " whence " << c.whence;
            uint8_t byte;
            const bool inside = io->position >= 0 && io->position < 10;
            EXPECT_EQ(VORELBRIM_Read_IO(io.get(), &byte, 1), inside ? 1 : 0);
        }
    }
}

TEST(SeekInput, StreamsGoForwardAndRewindOnlyByCallback) {
    // Steps from one to the next, their results with and without a rewind, and where the source stands behind them.
    constexpr struct {
        int32_t offset, whence, result[2], position[2];
    } kSteps[] = {{40, 1, {40, 40}, {40, 40}}, {1, 2, {-1, -1}, {40, 40}}, {-10, 2, {90, 90}, {90, 90}},
                  {5, 0, {5, 0}, {5, 90}},     {-5, 0, {-1, 0}, {5, 90}},  {0, 0, {0, 0}, {0, 90}}};
    for (const int without : {0, 1}) {
        StreamSource source(noise(100, 1));
        SessionGuard session(source.open(0, 0, !without));
        for (const auto &step : kSteps) {
            EXPECT_EQ(VORELBRIM_Seek_IO(session->ioInfo, step.offset, step.whence), step.result[without]);
            EXPECT_EQ(session->ioInfo->position, step.position[without]);
            EXPECT_EQ(source.position, static_cast<size_t>(step.position[without]));
        }
    }
}

TEST(ReadInput, EveryKindDeliversTheSameBytes) {
    const Bytes bytes = noise(1000, 1);
    for (const Kind kind : kAllKinds) {
        Input input(kind, bytes);
        IoInfo *io = input.session()->ioInfo;
        Bytes got(1200);
        EXPECT_EQ(VORELBRIM_Read_IO(io, got.data(), 1), 1);
        EXPECT_EQ(VORELBRIM_Read_IO(io, got.data() + 1, 1000), 999) << "one more than there is";
        EXPECT_EQ(VORELBRIM_Read_IO(io, got.data() + 1000, 5), 0);
        EXPECT_EQ(VORELBRIM_Read_IO(io, got.data() + 1000, -5), 0);
        EXPECT_EQ(io->position, 1000);
        got.resize(1000);
        EXPECT_EQ(got, bytes);
        EXPECT_EQ(VORELBRIM_Seek_IO(io, 999, 0), 999);
        uint8_t own = 0, *address = &own;
        EXPECT_EQ(VORELBRIM_Read_IO2(io, &address, 7), 1);
        EXPECT_EQ(*address, bytes[999]);
        EXPECT_EQ(address != &own, io->kind == 1 || io->kind == 5) << "memory is not copied";
    }
}

TEST(ReadInput, ClaimsOfCallbacksAreNotBelieved) {
    static int32_t claim;
    const VorelReadFn liar = [](void *, void *, int32_t) { return claim; };
    const OwnedIo io(VORELBRIM_Open_Stream(nullptr, liar, nullptr, nullptr, 100));
    uint8_t bytes[8];
    for (const auto &[claimed, delivered] : {std::pair{8, 8}, {9, 8}, {INT_MAX, 8}, {-1, 0}, {INT_MIN, 0}}) {
        claim = claimed;
        EXPECT_EQ(VORELBRIM_Read_IO(io.get(), bytes, 8), delivered) << claim;
    }
    const OwnedIo none(VORELBRIM_Open_Stream(nullptr, nullptr, nullptr, nullptr, 100));
    EXPECT_EQ(VORELBRIM_Read_IO(none.get(), bytes, 8), 0) << "no callback, no bytes";
    IoInfo unknown = {};
    unknown.kind = 9;
    EXPECT_EQ(VORELBRIM_Read_IO(&unknown, bytes, 8), -1);
    EXPECT_EQ(VORELBRIM_Seek_IO(&unknown, 0, 0), -1);
    EXPECT_EQ(VORELBRIM_Read_IO(nullptr, bytes, 8), -1);
}

TEST(Cursor, RefillsPromiseOnlyThatBytesWereAddedAndNeedsBeyondTheBlockMoveNothing) {
    for (const Kind kind : kAllKinds) {
        Input few(kind, noise(5, 1)), many(kind, noise(40000, 1));
        StreamCursor small(few.session()->ioInfo), large(many.session()->ioInfo);
        for (const int32_t result : {1, 0}) {
            EXPECT_EQ(BRIMJ_CheckBuffer(small.stream(), 8), result);
            EXPECT_EQ(small.stream()->available, 5);
        }
        EXPECT_EQ(small.stream()->offset, 0);
        EXPECT_EQ(BRIMJ_CheckBuffer(small.stream(), 5), 2);
        ASSERT_EQ(BRIMJ_CheckBuffer(large.stream(), 1), 1);
        ASSERT_EQ(large.stream()->available, 16384);
        consume(large.stream(), 16374);
        EXPECT_EQ(BRIMJ_CheckBuffer(large.stream(), 16375), 0);
        EXPECT_EQ(large.stream()->offset, 16374);
        EXPECT_EQ(BRIMJ_CheckBuffer(large.stream(), 16374), 1);
        EXPECT_EQ(large.stream()->offset, 0);
        EXPECT_EQ(large.stream()->available, 16384);
        EXPECT_EQ(large.stream()->totalRead, 16384 + 16374);
        EXPECT_EQ(0, std::memcmp(large.stream()->buffer, noise(40000, 1).data() + 16374, 16384));
    }
}

// Any walk over any kind sees the input's bytes in order, whatever the steps and however a stream cuts its reads.
TEST(Cursor, WalksSeeTheInputInOrder) {
    const Bytes bytes = noise(50000, 1);
    const auto walk = [&](IoInfo *io, int32_t step) {
        StreamCursor cursor(io);
        size_t at = 0;
        for (int32_t round = 0; at < bytes.size(); ++round) {
            const int32_t wanted = 1 + (step * (round % 7)) % 16384;
            if (round % 5 == 4) {
                at += static_cast<size_t>(step) * 3;
                if (!skip_bytes(cursor.stream(), step * 3)) break;
                continue;
            }
            if (!ensure_bytes(cursor.stream(), wanted) && cursor.stream()->available == 0) break;
            const auto some = static_cast<size_t>(std::min(wanted, cursor.stream()->available));
            ASSERT_LE(at + some, bytes.size());
            ASSERT_EQ(0, std::memcmp(unread(cursor.stream()), bytes.data() + at, some)) << "at " << at;
            consume(cursor.stream(), static_cast<int32_t>(some));
            at += some;
        }
        EXPECT_GE(at, bytes.size());
    };
    for (const int32_t step : {1, 13, 500, 4000, 16383}) {
        for (const Kind kind : kAllKinds) walk(Input(kind, bytes).session()->ioInfo, step);
        for (const int32_t chunk : {1, 7, 5000, 16383}) {
            StreamSource source(bytes, chunk);
            SessionGuard session(source.open());
            walk(session->ioInfo, step);
        }
    }
}

TEST(Cursor, SkipsBeyondTheInputAreItsEnd) {
    for (const Kind kind : kAllKinds) {
        Input input(kind, noise(100, 1));
        StreamCursor cursor(input.session()->ioInfo);
        ASSERT_EQ(read_byte(cursor.stream()), noise(1, 1)[0]);
        EXPECT_TRUE(skip_bytes(cursor.stream(), 98));
        EXPECT_GE(read_byte(cursor.stream()), 0);
        skip_bytes(cursor.stream(), 1000);
        EXPECT_EQ(read_byte(cursor.stream()), -1);
        EXPECT_EQ(cursor.stream()->totalRead, 1100);
        EXPECT_FALSE(skip_bytes(cursor.stream(), INT64_C(1) << 40));
    }
}

TEST(Cursor, EndlessSourcesEndWherePositionsDo) {
    const VorelReadFn endless = [](void *, void *, int32_t count) { return count; };
    const OwnedIo io(VORELBRIM_Open_Stream(nullptr, endless, nullptr, nullptr, 0));
    StreamCursor cursor(io.get());
    int64_t taken = 0;
    while (BRIMJ_CheckBuffer(cursor.stream(), 1) != 0) {
        taken += cursor.stream()->available;
        consume(cursor.stream(), cursor.stream()->available);
    }
    EXPECT_EQ(taken, INT32_MAX);
}

TEST(Cursor, BlocksAreReleasedByTheAddressThatWasHandedOut) {
    CountingAllocator allocator;
    for (const Kind kind : kAllKinds) {
        Input input(kind, noise(50, 1));
        IoInfo *io = input.session()->ioInfo;
        const size_t before = allocator.live_blocks();
        uint8_t *block = BRIMJ_AllocateStreamBuffer(io);
        EXPECT_EQ(allocator.live_blocks(), before + (kind == Kind::kMemory ? 0 : 1));
        if (kind == Kind::kOwnedMemory) {
            BRIMJ_ReleaseStreamBuffer(io, static_cast<uint8_t *>(io->source) + 49);
            EXPECT_EQ(allocator.live_blocks(), before + 1) << "an address in the memory is no block";
        }
        BRIMJ_ReleaseStreamBuffer(io, block);
        EXPECT_EQ(allocator.live_blocks(), before);
        BRIMJ_ReleaseStreamBuffer(io, nullptr);
    }
}

}  // namespace
}  // namespace vorel::test
