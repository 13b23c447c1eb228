// Counters of the decoder's steps. Every thread has its own; at any time it is in one step or in none, and its time
// counts for that one. See vorel/jpeg_statistics.h.
#pragma once

#include <vorel/jpeg_statistics.h>

#include "util/atomics.h"

namespace vorel {

// The step that a thread is in outside the decoder.
constexpr int32_t kNoStep = -1;

inline bool counts_steps() { return load_relaxed(&jsInfo.enabled) != 0; }

// The calling thread's.
int32_t current_step();

// Ends the time of the thread's step and begins that of another, as one call of it; gives the one before. kNoStep
// counts nothing.
int32_t enter_step(int32_t step);
// Goes back to a step that was left for another.
void resume_step(int32_t step);
void add_step_bytes(int32_t step, int64_t bytes);

// A step for the length of a scope. Where counting is off it is a look at one word.
class StepScope {
  public:
    explicit StepScope(int32_t step) : counts_(counts_steps()) {
        if (counts_) before_ = enter_step(step);
    }
    ~StepScope() {
        if (counts_) resume_step(before_);
    }
    StepScope(const StepScope &) = delete;
    StepScope &operator=(const StepScope &) = delete;

  private:
    bool counts_;
    int32_t before_ = kNoStep;
};

// For loops that go from step to step many times a row, which are made once for each of these.
struct UncountedSteps {
    void enter(int32_t) const {}
};
struct CountedSteps {
    CountedSteps() : before_(current_step()) {}
    ~CountedSteps() { resume_step(before_); }
    CountedSteps(const CountedSteps &) = delete;
    CountedSteps &operator=(const CountedSteps &) = delete;

    void enter(int32_t step) const { enter_step(step); }

  private:
    int32_t before_;
};

}  // namespace vorel
