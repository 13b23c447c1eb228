// JPEG in pieces: rows a few at a time, strips, strips from checkpoints are the whole decode, and checkpoints that were
// damaged on the way break nothing.
#include <vorel/jpeg_iterative.h>

#include <algorithm>

#include "harness.h"

using namespace vorel_fuzz;

namespace {

constexpr uint64_t kMostPixels = 256 * 256;
constexpr int32_t kFormats[] = {COLOR_RGBA8888, COLOR_RGB565, COLOR_YUV420, COLOR_NV21};

struct Plan {
    int32_t format, width, height, rows;
    int32_t guard() const { return format == COLOR_YUV420 || format == COLOR_NV21 ? 2 : 1; }
};

int32_t prepare(DecInfo *session, const Plan &plan) {
    int32_t result = 4;
    for (int calls = 0; result == 4; ++calls) {
        require(calls < 64, "preparation comes to an end");
        result = VORELBRIM_PrepareJPEGIter(session, plan.width, plan.height);
    }
    return result;
}

void compare_rows(const Bytes &picture, const Plan &plan, bool decodes, const Bytes &whole) {
    Session session(picture, Kind::kStream, plan.format, 0);
    if (!session.get() || prepare(session.get(), plan) != 1) return;
    Bytes out(whole.size(), kFill);
    int32_t result = 4;
    while (result == 4)
        result = VORELBRIM_DecodeJPEGIter(session.get(), out.data(), plan.width, plan.height, 1, plan.rows);
    require(result == decodes, "pieces decode when the whole does");
    if (decodes) require(out == whole, "pieces are the whole");
}

// Pixels only: rows [start, stop) of the whole are those of the strip behind its guard row.
void compare_strip(const Bytes &strip, const Bytes &whole, const Plan &plan, int32_t start, int32_t stop) {
    const size_t row = format_bytes(plan.format, plan.width, 1);
    for (int32_t y = start; y < stop; ++y) {
        const auto at = strip.begin() + static_cast<ptrdiff_t>(row * static_cast<size_t>(y - start + plan.guard()));
        const auto from = whole.begin() + static_cast<ptrdiff_t>(row * static_cast<size_t>(y));
        require(std::equal(at, at + static_cast<ptrdiff_t>(row), from), "strips are rows of the whole");
    }
}

// The strips of a number from `start` on, to `stop` where the checkpoints are whole; -1 where they may be damaged.
void run_strips(DecInfo *session, const Plan &plan, const Bytes &whole, int32_t number, int32_t start, int32_t stop) {
    Bytes strip(format_bytes(plan.format, plan.width, plan.rows + 2 * plan.guard()));
    int32_t result = 4;
    for (int calls = 0; result == 4; ++calls) {
        require(calls <= plan.height, "strips come to an end");
        result = VORELBRIM_DecodeJPEGMidpIter4LTN(session, strip.data(), plan.width, plan.height, 1, number, plan.rows);
        if (stop < 0) continue;
        require(result != 0, "strips decode where the whole does");
        if (plan.guard() == 1) compare_strip(strip, whole, plan, start, std::min(start + plan.rows, stop));
        start += plan.rows;
    }
}

void from_checkpoints(Case &input, const Plan &plan, const Bytes &whole, Bytes blob) {
    const uint32_t damage = input.option();
    for (uint32_t i = 0; i < damage % 4; ++i) {
        const uint32_t at = input.option(), value = input.option();
        blob[at % blob.size()] = static_cast<uint8_t>(value);
    }
    Session session(input.picture(), Kind::kMemory, plan.format, 0);
    if (!vorel_read_midpoints(session.get(), blob.data(), static_cast<int32_t>(blob.size()))) return;
    if (prepare(session.get(), plan) != 1) return;
    const int32_t count = session.get()->midpointCount;
    for (int32_t number = 1; number <= std::max(count, 1); ++number) {
        // At full size a checkpoint's row is a row of the output.
        const int32_t start = number == 1 ? 0 : VORELBRIM_GetJPEGMidPoint(session.get(), 1, number);
        int32_t stop = -1;
        if (damage % 4 == 0 && static_cast<uint32_t>(plan.height) == session.get()->imageHeight) {
            if (number > 1 && start == 0) continue;
            stop = plan.height;
            for (int32_t next = count; next > number; --next) {
                const int32_t row = VORELBRIM_GetJPEGMidPoint(session.get(), 1, next);
                if (row != 0) stop = row;
            }
        }
        if (number == 1) continue;  // last: it takes the picture's decoder with it
        run_strips(session.get(), plan, whole, number, start, stop);
    }
    run_strips(session.get(), plan, whole, 1, 0, -1);
    VORELBRIM_AbortJPEGIter(session.get());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Case input(data, size, 12);
    if (input.picture().empty()) return 0;
    Session session(input.picture(), Kind::kMemory, COLOR_RGBA8888, 0);
    ImageInfo info;
    if (!session.get() || VORELBRIM_Parser(session.get(), &info) != VOREL_IMAGE_JPEG) return 0;
    if (static_cast<uint64_t>(info.width) * info.height > kMostPixels) return 0;
    Plan plan;
    plan.format = input.one_of(kFormats);
    const int32_t divisor = 1 << input.below(4);
    plan.width = std::max(1, static_cast<int32_t>(info.width) / divisor);
    plan.height = std::max(1, static_cast<int32_t>(info.height) / divisor);
    plan.rows = 2 + 2 * input.below(40);
    session.get()->outColorFormat = plan.format;
    session.get()->midpointCount = input.below(5);
    Bytes whole(format_bytes(plan.format, plan.width, plan.height), kFill);
    const bool decodes = VORELBRIM_DecodeJPEG(session.get(), whole.data(), plan.width, plan.height) == 1;
    compare_rows(input.picture(), plan, decodes, whole);
    Bytes blob(static_cast<size_t>(vorel_write_midpoints(session.get(), nullptr, 0)));
    vorel_write_midpoints(session.get(), blob.data(), static_cast<int32_t>(blob.size()));
    if (decodes) from_checkpoints(input, plan, whole, blob);
    return 0;
}
