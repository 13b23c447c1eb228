// Rectangles of a picture: child sessions, the map, and that a rectangle is what the whole picture has there.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "core/core.h"
#include "jpeg/decoder/decode_support.h"
#include "oracle/turbo.h"
#include "support/counting_allocator.h"

namespace vorel::test {
namespace {

TEST(JpegChildren, DecodeTheirRectangleFromEveryInputThatOpensAgain) {
    const Bytes jpeg = turbo_picture({.width = 300, .height = 200});
    const DecodeSpec window{.format = COLOR_RGBA8888,
                            .width = 150,
                            .height = 100,
                            .window_x = 33,
                            .window_y = 21,
                            .window_width = 64,
                            .window_height = 50};
    const Bytes expected = decode(jpeg, window).pixels;
    for (const Kind kind : kAllKinds) {
        Input input(kind, jpeg, COLOR_RGBA8888);
        SessionGuard child(BRIMJ_CreateTemporaryDecInfo(input.session(), 33, 21, 64, 50, 2));
        ASSERT_EQ(bool{child}, kind != Kind::kStdio) << static_cast<int>(kind);
        if (!child) continue;
        GuardBuffer out(expected.size());
        EXPECT_EQ(VORELBRIM_DecodeJPEG(child.get(), out.data(), 150, 100), 1);
        EXPECT_TRUE(out.bytes() == expected) << static_cast<int>(kind);
    }
}

TEST(JpegChildren, SeeTheCancelOfTheirBaseWithASlotOrWithout) {
    const Bytes jpeg = turbo_picture({});
    Input input(Kind::kMemory, jpeg, COLOR_RGBA8888);
    DecInfo *base = input.session();
    std::vector<std::unique_ptr<SessionGuard>> children;
    for (int i = 0; i < 34; ++i) {
        children.push_back(std::make_unique<SessionGuard>(BRIMJ_CreateTemporaryDecInfo(base, 0, 0, 64, 48, 1)));
    }
    const DecInfo *first = base->children[0];
    children.erase(children.end() - 2);  // one without a slot
    EXPECT_EQ(base->children[0], first);
    GuardBuffer out(64 * 48 * 4);
    for (const bool cancelled : {false, true}) {
        store_relaxed(&base->abortFlag, cancelled ? kAbortCancelled : 0u);
        for (const size_t child : {size_t{0}, size_t{32}}) {
            EXPECT_EQ(VORELBRIM_DecodeJPEG(children[child]->get(), out.data(), 64, 48), !cancelled) << child;
        }
    }
    const SessionGuard late(BRIMJ_CreateTemporaryDecInfo(base, 0, 0, 64, 48, 1));
    EXPECT_EQ(late->abortFlag, kAbortCancelled);
}

}  // namespace
}  // namespace vorel::test
