// Work spread over the threads of a pool of its own: added piece by piece, then waited for.
#pragma once

#include <vorel/util.h>

namespace vorel {

// Runs the tasks of the queue in the calling thread until it is empty. Their records do not come back to the pool, so
// this is for pools that are about to be freed, or that have records enough.
void run_waiting_tasks(vorel_threadpool *pool);

// For tests: when set, groups queue their tasks on a pool without threads, and this runs them all, in whatever order
// and threads it likes.
using TaskConductor = void (*)(vorel_threadpool *pool);
void set_task_conductor(TaskConductor conductor);

// A pool for the length of a scope. Without one (no memory, no threads) every task runs in the calling thread, at once.
class TaskGroup {
  public:
    static constexpr int32_t kThreads = 4;

    TaskGroup();
    ~TaskGroup() { wait(); }
    TaskGroup(const TaskGroup &) = delete;
    TaskGroup &operator=(const TaskGroup &) = delete;

    // Queues routine(argument), or runs it here where it cannot be queued. argument has to live until wait() is over.
    void add(void *(*routine)(void *), void *argument);
    // Helps until all tasks are done; none may be added after it.
    void wait();

  private:
    vorel_threadpool *pool_;
};

}  // namespace vorel
