// The heavy steps of the develop run on four threads, one for each quarter of the image.
#pragma once

#include "dng/base/geometry.h"

namespace vorel {

// Upper left, upper right, lower left, lower right; the odd row and column go to the lower and the right ones.
struct Quadrants {
    explicit Quadrants(const DngRect &bounds);
    DngRect rects[4];
};

// Calls task(work, rect) for each quadrant of bounds in a thread of its own, and waits for all. Where a thread cannot
// be started its quadrant is done here. An exception of a task is thrown again when all are done: the first one's.
void run_quadrants_with(const DngRect &bounds, void (*task)(void *work, const DngRect &rect), void *work);

// For tests: with false, the whole of bounds is one piece of work of the calling thread.
void set_quadrant_threads(bool threads);

template <typename Work>
void run_quadrants(const DngRect &bounds, void (*task)(Work &work, const DngRect &rect), Work &work) {
    struct Call {
        void (*task)(Work &, const DngRect &);
        Work &work;
    } call = {task, work};
    run_quadrants_with(
        bounds,
        [](void *record, const DngRect &rect) {
            const Call &made = *static_cast<Call *>(record);
            made.task(made.work, rect);
        },
        &call);
}

}  // namespace vorel
