// Work spread over the threads of a pool of its own.
#include "util/task_group.h"

#include "util/atomics.h"

namespace vorel {
namespace {

TaskConductor conductor_of_tests;

}  // namespace

void set_task_conductor(TaskConductor conductor) { store_relaxed(&conductor_of_tests, conductor); }

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

TaskGroup::TaskGroup() : pool_(vorel_threadpool_init(load_relaxed(&conductor_of_tests) ? 0 : kThreads)) {}

void TaskGroup::add(void *(*routine)(void *), void *argument) {
    // A full queue is work enough for the threads; the caller takes its share.
    if (vorel_threadpool_add_task(pool_, routine, argument, 0) != 1) routine(argument);
}

void TaskGroup::wait() {
    if (!pool_) return;
    if (const TaskConductor conductor = load_relaxed(&conductor_of_tests)) conductor(pool_);
    run_waiting_tasks(pool_);
    vorel_threadpool_free(pool_, 1);
    pool_ = nullptr;
}

}  // namespace vorel
