#include "dng/base/quadrants.h"

#include <pthread.h>

#include <exception>

namespace vorel {
namespace {

bool g_quadrant_threads = true;

struct QuadrantRun {
    void (*task)(void *work, const DngRect &rect);
    void *work;
    DngRect rect;
    std::exception_ptr failure;
};

// An exception that left a thread's routine would end the process.
void *run_quadrant(void *record) {
    QuadrantRun &run = *static_cast<QuadrantRun *>(record);
    try {
        if (!run.rect.empty()) run.task(run.work, run.rect);
    } catch (...) {
        run.failure = std::current_exception();
    }
    return nullptr;
}

}  // namespace

void set_quadrant_threads(bool threads) { g_quadrant_threads = threads; }

Quadrants::Quadrants(const DngRect &bounds) {
    const int32_t middle_row = bounds.top + static_cast<int32_t>(bounds.height() / 2);
    const int32_t middle_column = bounds.left + static_cast<int32_t>(bounds.width() / 2);
    rects[0] = {bounds.top, bounds.left, middle_row, middle_column};
    rects[1] = {bounds.top, middle_column, middle_row, bounds.right};
    rects[2] = {middle_row, bounds.left, bounds.bottom, middle_column};
    rects[3] = {middle_row, middle_column, bounds.bottom, bounds.right};
}

void run_quadrants_with(const DngRect &bounds, void (*task)(void *work, const DngRect &rect), void *work) {
    if (!g_quadrant_threads) {
        if (!bounds.empty()) task(work, bounds);
        return;
    }
    const Quadrants quadrants(bounds);
    QuadrantRun runs[4];
    pthread_t threads[4];
    bool started[4];
    for (int i = 0; i < 4; ++i) {
        runs[i] = {task, work, quadrants.rects[i], nullptr};
        started[i] = pthread_create(&threads[i], nullptr, run_quadrant, &runs[i]) == 0;
        if (!started[i]) run_quadrant(&runs[i]);
    }
    for (int i = 0; i < 4; ++i) {
        if (started[i]) pthread_join(threads[i], nullptr);
    }
    for (const QuadrantRun &run : runs) {
        if (run.failure) std::rethrow_exception(run.failure);
    }
}

}  // namespace vorel
