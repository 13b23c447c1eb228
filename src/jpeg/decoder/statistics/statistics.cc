// The counters: a block a thread, in a list while the thread lives and in a sum afterwards.
#include "jpeg/decoder/statistics/statistics.h"

#include <pthread.h>
#include <time.h>

#include "core/core.h"

#if defined(__x86_64__) || defined(__i386__)
#include <x86intrin.h>
#endif

namespace vorel {
namespace {

struct StepCounters {
    uint64_t calls[JPEG_STAT_STEPS], ticks[JPEG_STAT_STEPS], bytes[JPEG_STAT_STEPS];
};

uint64_t now_ns() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000000u + static_cast<uint64_t>(now.tv_nsec);
}

// A counter that is cheap to read and runs evenly; what a tick is shows when its time is held against the clock's.
inline uint64_t now_ticks() {
#if defined(__x86_64__) || defined(__i386__)
    return __rdtsc();
#elif defined(__aarch64__)
    uint64_t ticks;
    asm volatile("mrs %0, cntvct_el0" : "=r"(ticks));
    return ticks;
#else
    return now_ns();
#endif
}

// The thread alone writes its counters, others read them.
void add(uint64_t *counter, uint64_t amount) { store_relaxed(counter, load_relaxed(counter) + amount); }

class ThreadSteps;

pthread_mutex_t list_lock = PTHREAD_MUTEX_INITIALIZER;
// Under the lock.
ThreadSteps *first_thread;
StepCounters ended_threads;
int32_t ended_count;
uint64_t base_ticks, base_ns;

bool has_counted(const StepCounters &counters) {
    for (const uint64_t &calls : counters.calls) {
        if (load_relaxed(&calls) != 0) return true;
    }
    return false;
}

void add_counters(const StepCounters &from, StepCounters *to) {
    for (int i = 0; i < JPEG_STAT_STEPS; ++i) {
        to->calls[i] += load_relaxed(&from.calls[i]);
        to->ticks[i] += load_relaxed(&from.ticks[i]);
        to->bytes[i] += load_relaxed(&from.bytes[i]);
    }
}

class ThreadSteps {
  public:
    ThreadSteps() {
        const MutexLock lock(&list_lock);
        if (base_ns == 0) {
            base_ns = now_ns();
            base_ticks = now_ticks();
        }
        next_ = first_thread;
        if (next_) next_->link_ = &next_;
        link_ = &first_thread;
        first_thread = this;
    }
    ~ThreadSteps() {
        const MutexLock lock(&list_lock);
        *link_ = next_;
        if (next_) next_->link_ = link_;
        add_counters(counters_, &ended_threads);
        ended_count += has_counted(counters_);
    }
    ThreadSteps(const ThreadSteps &) = delete;
    ThreadSteps &operator=(const ThreadSteps &) = delete;

    int32_t go_to(int32_t step) {
        const uint64_t now = now_ticks();
        if (step_ != kNoStep) add(&counters_.ticks[step_], now - since_);
        since_ = now;
        const int32_t before = step_;
        step_ = step;
        return before;
    }
    int32_t step() const { return step_; }
    StepCounters &counters() { return counters_; }
    ThreadSteps *next() const { return next_; }

  private:
    StepCounters counters_ = {};
    int32_t step_ = kNoStep;
    uint64_t since_ = 0;
    ThreadSteps *next_, **link_;
};

ThreadSteps &steps_of_thread() {
    thread_local ThreadSteps steps;
    return steps;
}

// A tick in nanoseconds, from the time since the first thread counted; two milliseconds tell it well enough.
double nanoseconds_per_tick() {
    constexpr uint64_t kLeastNs = 2000000;
    uint64_t ns, ticks;
    do {
        ns = now_ns() - base_ns;
        ticks = now_ticks() - base_ticks;
    } while (ns < kLeastNs);
    return ticks ? static_cast<double>(ns) / static_cast<double>(ticks) : 0.0;
}

}  // namespace

int32_t current_step() { return steps_of_thread().step(); }

int32_t enter_step(int32_t step) {
    ThreadSteps &steps = steps_of_thread();
    if (step != kNoStep) add(&steps.counters().calls[step], 1);
    return steps.go_to(step);
}

void resume_step(int32_t step) { steps_of_thread().go_to(step); }

void add_step_bytes(int32_t step, int64_t bytes) {
    if (bytes > 0) add(&steps_of_thread().counters().bytes[step], static_cast<uint64_t>(bytes));
}

}  // namespace vorel

using namespace vorel;

extern "C" {

JpegStatInfo jsInfo;

void vorel_jpeg_stat_collect(void) {
    StepCounters sum;
    int32_t threads;
    double tick = 0;
    {
        const MutexLock lock(&list_lock);
        sum = ended_threads;
        threads = ended_count;
        for (ThreadSteps *at = first_thread; at; at = at->next()) {
            add_counters(at->counters(), &sum);
            threads += has_counted(at->counters());
        }
        if (base_ns != 0) tick = nanoseconds_per_tick();
    }
    jsInfo.threads = threads;
    for (int i = 0; i < JPEG_STAT_STEPS; ++i) {
        JpegStatStep &step = jsInfo.steps[i];
        step.calls = sum.calls[i];
        step.nanoseconds = static_cast<uint64_t>(static_cast<double>(sum.ticks[i]) * tick + 0.5);
        step.bytes = sum.bytes[i];
    }
}

void vorel_jpeg_stat_reset(void) {
    const MutexLock lock(&list_lock);
    ended_threads = {};
    ended_count = 0;
    for (ThreadSteps *at = first_thread; at; at = at->next()) {
        StepCounters &counters = at->counters();
        for (int i = 0; i < JPEG_STAT_STEPS; ++i) {
            store_relaxed(&counters.calls[i], uint64_t{0});
            store_relaxed(&counters.ticks[i], uint64_t{0});
            store_relaxed(&counters.bytes[i], uint64_t{0});
        }
    }
}

}  // extern "C"
