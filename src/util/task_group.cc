// Work spread over the threads of a pool of its own.
#include "util/task_group.h"

#include <sched.h>

#include <algorithm>

#include "util/atomics.h"
#include "util/thread_pool.h"

namespace vorel {
namespace {

// What two threads of a few years ago move in a millisecond; starting and joining a thread takes some 50 microseconds.
constexpr uint64_t kBytesWorthThreads = uint64_t{16} << 20;

PoolRunner runner_of_tests;

}  // namespace

int32_t usable_processors() {
    cpu_set_t set;
    return sched_getaffinity(0, sizeof set, &set) == 0 ? CPU_COUNT(&set) : 2;
}

void set_pool_runner(PoolRunner runner) { store_relaxed(&runner_of_tests, runner); }
bool tests_run_pools() { return load_relaxed(&runner_of_tests) != nullptr; }

bool pays_for_threads(uint64_t bytes) { return bytes >= kBytesWorthThreads || tests_run_pools(); }

vorel_threadpool *start_pool(int32_t threads) {
    return vorel_threadpool_init(load_relaxed(&runner_of_tests) ? 0 : threads);
}

void finish_pool(vorel_threadpool *pool) {
    if (!pool) return;
    if (const PoolRunner runner = load_relaxed(&runner_of_tests)) runner(pool);
    run_waiting_tasks(pool);
    vorel_threadpool_free(pool, 1);
}

void run_waiting_tasks(vorel_threadpool *pool) {
    for (;;) {
        if (pthread_mutex_lock(&pool->waitingLock) != 0) return;
        vorel_threadpool_task *task = vorel_threadpool_queue_dequeue(&pool->waiting);
        pthread_mutex_unlock(&pool->waitingLock);
        if (!task) return;
        if (task->routine) task->routine(task->argument);
        vorel_threadpool_task_init(task);
    }
}

TaskGroup::TaskGroup(int32_t threads) : pool_(start_pool(0)), threads_(std::clamp(threads, 2, kMostThreads)) {}

// A thread that cannot be started is work for the others.
void TaskGroup::start_threads() {
    const int32_t tasks = vorel_threadpool_queue_getsize(&pool_->waiting);
    if (!load_relaxed(&runner_of_tests))
        start_pool_threads(pool_, std::min({threads_, usable_processors() - 1, tasks - 1}));
    threads_ = 0;
}

void TaskGroup::add(void *(*routine)(void *), void *argument) {
    if (vorel_threadpool_add_task(pool_, routine, argument, 0) == 1) return;
    // A full queue is work enough for the threads; the caller takes its share.
    if (pool_ && threads_ > 0) start_threads();
    routine(argument);
}

void TaskGroup::wait() {
    if (!pool_) return;
    if (threads_ > 0) start_threads();
    finish_pool(pool_);
    pool_ = nullptr;
}

}  // namespace vorel
