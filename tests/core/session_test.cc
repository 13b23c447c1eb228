// Sessions: what creation sets, what destruction frees, children, options and progress.
#include <gtest/gtest.h>

#include <vorel/jpeg_decoder.h>

#include <thread>

#include "core/session.h"
#include "support/counting_allocator.h"
#include "support/inputs.h"

namespace vorel::test {
namespace {

uint8_t g_memory[8];

DecInfo *memory_session() { return VORELBRIM_CreateDecInfo(1, g_memory, 8, COLOR_RGB888, 0x1234); }

TEST(Session, CreationSetsFormatOptionsAndDefaults) {
    StreamSource source({1, 2, 3});
    SessionGuard memory(memory_session()), stream(source.open(COLOR_RGB888, 0x1234));
    for (DecInfo *session : {memory.get(), stream.get()}) {
        EXPECT_EQ(session->outColorFormat, COLOR_RGB888);
        EXPECT_EQ(session->decOption, 0x1234u);
        EXPECT_EQ(session->checkFn, VORELBRIM_CheckFn);
        EXPECT_EQ(session->decodeResult, -1);
    }
    EXPECT_EQ(stream->ioInfo->kind, 4u);
    EXPECT_EQ(stream->ioInfo->size, 3);
}

TEST(Session, NullSessionsAreRefusedWithTheirError) {
    EXPECT_EQ(VORELBRIM_DestroyDecInfo(nullptr), 0);
    EXPECT_EQ(gVORELBRIM_Error, 1u);
    for (const int32_t result :
         {VORELBRIM_SetDecOption(nullptr, 1), VORELBRIM_SetDecMode(nullptr, 1), VORELBRIM_DestroyInputBuffer(nullptr),
          getBytePerPixel(nullptr), destroyExif(nullptr), static_cast<int32_t>(vjpeg_get_multiscan_interval(nullptr))})
        EXPECT_EQ(result, 0);
}

TEST(Session, ModesOptionsAndBytesOfADisplayPixel) {
    SessionGuard session(memory_session());
    for (const auto &[given, stored] : {std::pair{9, 4}, {4, 4}, {2, 2}, {0, 0}, {-1, 0}}) {
        EXPECT_EQ(VORELBRIM_SetDecMode(session.get(), given), 1);
        EXPECT_EQ(session->decMode, stored) << given;
    }
    EXPECT_EQ(VORELBRIM_SetDecOption(session.get(), 0x8), 1);
    EXPECT_EQ(session->decOption, 0x8u);
    vjpeg_set_multiscan_interval(session.get(), 64);
    EXPECT_EQ(vjpeg_get_multiscan_interval(session.get()), 64u);
    for (int32_t format = -1; format < 22; ++format) {
        session->outColorFormat = format;
        const bool two = format == 0 || format == 2 || format == 18 || format == 19;
        EXPECT_EQ(getBytePerPixel(session.get()), two ? 2 : 4) << format;
    }
}

TEST(Session, DestructionFreesWhatItOwnsAndNothingElse) {
    CountingAllocator allocator;
    uint8_t caller_block[4];
    DecInfo *session = memory_session();
    session->progress = static_cast<ProgressRecord *>(VORELBRIM_OsMalloc(sizeof(ProgressRecord)));
    session->regionMap = static_cast<uint32_t *>(VORELBRIM_OsMalloc(4));
    session->regionJobs = static_cast<RegionJob *>(VORELBRIM_OsMalloc(4));
    for (void *&row : session->gifLineBuffers) row = VORELBRIM_OsMalloc(4);
    for (Midpoint *&midpoint : session->midpoints) midpoint = static_cast<Midpoint *>(VORELBRIM_OsMalloc(4));
    session->midpointCount = 1000000;  // from a stored blob; there are four slots
    session->fileBuffer = session->extraBuffer = caller_block;
    EXPECT_EQ(VORELBRIM_DestroyDecInfo(session), 1);
    EXPECT_EQ(allocator.live_blocks(), 0u);
}

TEST(Session, OwnedMemoryIsFreedAndItsRecordStaysWithoutARegionMap) {
    CountingAllocator allocator;
    for (const bool mapped : {false, true}) {
        DecInfo *session = VORELBRIM_CreateDecInfo(5, VORELBRIM_OsMalloc(100), 100, 0, 0);
        IoInfo *io = session->ioInfo;
        if (mapped) session->regionMap = static_cast<uint32_t *>(VORELBRIM_OsMalloc(4));
        VORELBRIM_DestroyDecInfo(session);
        EXPECT_EQ(allocator.live_blocks(), mapped ? 0u : 1u);
        if (!mapped) VORELBRIM_OsFree(io);
    }
}

TEST(Session, InputBufferIsFreedOnceAndReadsAsEmpty) {
    CountingAllocator allocator;
    SessionGuard session(VORELBRIM_CreateDecInfo(1, VORELBRIM_OsMalloc(100), 100, 0, 0));
    session->fileBuffer = session->ioInfo->source;
    EXPECT_EQ(VORELBRIM_DestroyInputBuffer(session.get()), 1);
    EXPECT_EQ(session->ioInfo->source, nullptr);
    EXPECT_EQ(session->fileBuffer, nullptr);
    uint8_t byte, *address = &byte;
    EXPECT_EQ(VORELBRIM_Read_IO(session->ioInfo, &byte, 1), 0);
    EXPECT_EQ(VORELBRIM_Read_IO2(session->ioInfo, &address, 1), 0);
    ImageInfo info;
    EXPECT_EQ(VORELBRIM_Parser(session.get(), &info), 0);
    StreamSource source({1});
    SessionGuard stream(source.open());
    EXPECT_EQ(VORELBRIM_DestroyInputBuffer(stream.get()), 0);
}

DecInfo *child_of(DecInfo *parent) {
    DecInfo *child = memory_session();
    EXPECT_TRUE(adopt_child(parent, child));
    return child;
}

TEST(SessionChildren, LinksEndWithEitherSide) {
    DecInfo *parent = memory_session(), *first = child_of(parent), *second = child_of(parent);
    EXPECT_EQ(second->childIndex, 1u);
    EXPECT_EQ(parent->childCount, 2);
    VORELBRIM_DestroyDecInfo(first);
    EXPECT_EQ(parent->children[0], nullptr);
    EXPECT_EQ(parent->children[1], second);
    EXPECT_EQ(parent->childCount, 2) << "not lowered";
    DecInfo *third = child_of(parent);
    EXPECT_EQ(third->childIndex, 0u) << "the first free slot";
    VORELBRIM_DestroyDecInfo(parent);
    EXPECT_EQ(second->parent, nullptr);
    for (DecInfo *child : {second, third}) VORELBRIM_DestroyDecInfo(child);
}

TEST(SessionChildren, The33rdIsRefusedAndStrangersClearNoSlot) {
    DecInfo *parent = memory_session(), *extra = memory_session();
    DecInfo *children[kMaxChildren];
    for (DecInfo *&child : children) child = child_of(parent);
    EXPECT_FALSE(adopt_child(parent, extra));
    EXPECT_EQ(parent->childCount, kMaxChildren);
    extra->parent = parent;  // with childIndex 0, which is another's slot
    VORELBRIM_DestroyDecInfo(extra);
    EXPECT_EQ(parent->children[0], children[0]);
    for (DecInfo *child : children) VORELBRIM_DestroyDecInfo(child);
    for (int round = 0; round < 100; ++round) VORELBRIM_DestroyDecInfo(child_of(parent));
    EXPECT_EQ(parent->childCount, kMaxChildren) << "saturates";
    VORELBRIM_DestroyDecInfo(parent);
}

TEST(SessionChildren, CancelReachesThemWhileTheyComeAndGo) {
    DecInfo *parent = memory_session(), *steady = child_of(parent);
    std::thread worker([parent] {
        for (int round = 0; round < 2000; ++round) VORELBRIM_DestroyDecInfo(child_of(parent));
    });
    for (int round = 0; round < 2000; ++round) cancel_with_children(parent);
    worker.join();
    EXPECT_EQ(parent->abortFlag, 6u);
    EXPECT_EQ(steady->abortFlag, 6u);
    for (DecInfo *session : {steady, parent}) VORELBRIM_DestroyDecInfo(session);
}

TEST(Progress, EveryThirdCheckOfTheProcessCalls) {
    SessionGuard first(memory_session()), second(memory_session()), silent(memory_session());
    ProgressCalls calls;
    calls.attach(first.get());
    calls.attach(second.get());
    first->outHeight = second->outHeight = 200;
    int checks = 0;
    while (calls.percents.empty()) {
        ++checks;
        ASSERT_EQ(VORELBRIM_CheckFn(first.get(), 50), 1);
    }
    if (::testing::UnitTest::GetInstance()->test_to_run_count() == 1) EXPECT_EQ(checks, 4);
    EXPECT_EQ(calls.percents.back(), 25);
    // The rhythm goes on over sessions; those without a record do not count.
    for (int round = 0; round < 4; ++round) {
        const size_t before = calls.percents.size();
        VORELBRIM_CheckFn(second.get(), 1);
        VORELBRIM_CheckFn(silent.get(), 1);
        VORELBRIM_CheckFn(first.get(), 1);
        EXPECT_EQ(calls.percents.size(), before);
        VORELBRIM_CheckFn(round % 2 ? first.get() : second.get(), 199);
        ASSERT_EQ(calls.percents.size(), before + 1);
        EXPECT_EQ(calls.percents.back(), 99);
    }
}

TEST(Progress, ARefusalStopsAndTheNextCheckAsksAgain) {
    SessionGuard session(memory_session());
    ProgressCalls calls;
    calls.attach(session.get());
    calls.answer = 0;
    while (VORELBRIM_CheckFn(session.get(), 5) == 1) ASSERT_LT(calls.percents.size(), 9u);
    EXPECT_EQ(VORELBRIM_CheckFn(session.get(), 5), 0);
    EXPECT_EQ(calls.percents.size(), 2u);
    EXPECT_EQ(calls.percents.back(), 0) << "no output height, no division";
    calls.answer = 1;
    EXPECT_EQ(VORELBRIM_CheckFn(session.get(), 5), 1);
    session->progress->callback = nullptr;
    for (int i = 0; i < 6; ++i) EXPECT_EQ(VORELBRIM_CheckFn(session.get(), 5), 1);
    EXPECT_EQ(VORELBRIM_ZoomCheckFn(nullptr, 0), 1);
}

}  // namespace
}  // namespace vorel::test
