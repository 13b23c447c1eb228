// Work spread over the threads of a pool of its own: added piece by piece, then waited for.
#pragma once

#include <vorel/util.h>

namespace vorel {

// Pools of the library's own work come from here: start_pool, tasks, finish_pool. Null without memory or threads.
vorel_threadpool *start_pool(int32_t threads);
// Runs what is still queued together with the pool's threads, waits for them and frees the pool.
void finish_pool(vorel_threadpool *pool);

// Runs the tasks of the queue in the calling thread until it is empty. Their records do not come back to the pool, so
// this is for pools that are about to be freed, or that have records enough.
void run_waiting_tasks(vorel_threadpool *pool);

// For tests: when set, pools are started without threads, and finish_pool lets this run the tasks first, in whatever
// order and threads it likes.
using PoolRunner = void (*)(vorel_threadpool *pool);
void set_pool_runner(PoolRunner runner);
bool tests_run_pools();

// Processors that this process may use.
int32_t usable_processors();

// Threads for work on raw frames.
constexpr int32_t kFrameThreads = 4;
// Whether work that reads and writes that many bytes takes longer than a millisecond or so, below which threads cost
// more than they gain. Always true while a test runs the pools.
bool pays_for_threads(uint64_t bytes);

// A pool for the length of a scope. Its threads start when all tasks are queued, and no more of them than there are
// processors beside the caller's; without any (no memory, no threads) the tasks run in the calling thread.
class TaskGroup {
  public:
    static constexpr int32_t kMostThreads = 6;

    // threads: 2 to kMostThreads.
    explicit TaskGroup(int32_t threads);
    ~TaskGroup() { wait(); }
    TaskGroup(const TaskGroup &) = delete;
    TaskGroup &operator=(const TaskGroup &) = delete;

    // Queues routine(argument), or runs it here where it cannot be queued. argument has to live until wait() is over.
    void add(void *(*routine)(void *), void *argument);
    // Helps until all tasks are done; none may be added after it.
    void wait();

  private:
    void start_threads();

    vorel_threadpool *pool_;
    int32_t threads_;  // to be started yet
};

}  // namespace vorel
