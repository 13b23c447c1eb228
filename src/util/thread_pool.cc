// The thread pool: a fixed store of task records that move between a queue of free and a queue of waiting ones.
#include "util/thread_pool.h"

#include "core/core.h"
#include "util/atomics.h"

namespace vorel {
namespace {

constexpr uint32_t kTasks = VOREL_THREADPOOL_TASKS;
constexpr int32_t kMostThreads = UINT16_MAX;  // what threadCount holds

class Lock {
  public:
    explicit Lock(pthread_mutex_t *mutex) : mutex_(mutex), held_(pthread_mutex_lock(mutex) == 0) {}
    ~Lock() {
        if (held_) pthread_mutex_unlock(mutex_);
    }
    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;
    explicit operator bool() const { return held_; }

  private:
    pthread_mutex_t *mutex_;
    bool held_;
};

// Puts a task into a queue under its lock, and wakes everyone who waits for the queue's first. Only the step from empty
// to one wakes: whoever waits then looks again under the lock, and nobody waits while the queue holds any.
bool put(vorel_threadpool_queue *queue, pthread_mutex_t *mutex, pthread_cond_t *not_empty,
         vorel_threadpool_task *task) {
    const Lock lock(mutex);
    if (!lock || vorel_threadpool_queue_enqueue(queue, task) != 0) return false;
    return queue->count != 1 || pthread_cond_broadcast(not_empty) == 0;
}

bool give_back(vorel_threadpool *pool, vorel_threadpool_task *task) {
    return put(&pool->free, &pool->freeLock, &pool->freeNotEmpty, task);
}

// A free record; null with *result set where there is none.
vorel_threadpool_task *take_record(vorel_threadpool *pool, bool block, int32_t *result) {
    *result = -1;
    const Lock lock(&pool->freeLock);
    if (!lock) return nullptr;
    while (block && vorel_threadpool_queue_is_empty(&pool->free)) {
        if (pthread_cond_wait(&pool->freeNotEmpty, &pool->freeLock) != 0) return nullptr;
    }
    vorel_threadpool_task *task = vorel_threadpool_queue_dequeue(&pool->free);
    if (!task) *result = -2;
    return task;
}

void *work(void *argument) {
    auto *pool = static_cast<vorel_threadpool *>(argument);
    while (vorel_threadpool_task *task = vorel_threadpool_task_get_task(pool)) {
        // Required: a record without a routine does not return to the free ones.
        if (!task->routine) continue;
        task->routine(task->argument);
        vorel_threadpool_task_init(task);
        if (!give_back(pool, task)) break;
    }
    return nullptr;
}

// Runs what is queued, ends the threads, frees the pool. A lock that fails leaves everything as it is.
void *shut_down(void *argument) {
    auto *pool = static_cast<vorel_threadpool *>(argument);
    // Before the lock that the broadcast needs: a worker that missed it here sees it under the lock.
    store_relaxed<uint16_t>(&pool->stop, 1);
    {
        const Lock lock(&pool->waitingLock);
        if (!lock || pthread_cond_broadcast(&pool->waitingNotEmpty) != 0) return nullptr;
    }
    for (int i = 0; i < pool->threadCount; ++i) pthread_join(pool->threads[i], nullptr);
    os_release(pool->threads);
    os_release(pool);
    return nullptr;
}

bool start_locks(vorel_threadpool *pool) {
    return pthread_mutex_init(&pool->freeLock, nullptr) == 0 && pthread_mutex_init(&pool->waitingLock, nullptr) == 0 &&
           pthread_cond_init(&pool->freeNotEmpty, nullptr) == 0 &&
           pthread_cond_init(&pool->waitingNotEmpty, nullptr) == 0;
}

}  // namespace

int32_t start_pool_threads(vorel_threadpool *pool, int32_t count) {
    if (count < 1) return 0;
    pool->threads = static_cast<pthread_t *>(os_allocate_array<pthread_t>(static_cast<uint64_t>(count)));
    if (!pool->threads) return 0;
    while (pool->threadCount < count && pthread_create(&pool->threads[pool->threadCount], nullptr, work, pool) == 0)
        ++pool->threadCount;
    return pool->threadCount;
}

}  // namespace vorel

using namespace vorel;

int32_t vorel_threadpool_queue_enqueue(vorel_threadpool_queue *queue, vorel_threadpool_task *task) {
    if (!queue || !task || queue->count >= kTasks || queue->tail >= kTasks || queue->slots[queue->tail]) return -1;
    queue->slots[queue->tail] = task;
    queue->tail = (queue->tail + 1) % kTasks;
    ++queue->count;
    return 0;
}

vorel_threadpool_task *vorel_threadpool_queue_dequeue(vorel_threadpool_queue *queue) {
    if (!queue || queue->count == 0 || queue->head >= kTasks) return nullptr;
    vorel_threadpool_task *task = queue->slots[queue->head];
    queue->slots[queue->head] = nullptr;
    --queue->count;
    if (queue->count == 0) {
        queue->head = queue->tail = 0;
    } else {
        queue->head = (queue->head + 1) % kTasks;
    }
    return task;
}

int32_t vorel_threadpool_queue_is_empty(const vorel_threadpool_queue *queue) { return !queue || queue->count == 0; }

int32_t vorel_threadpool_queue_getsize(const vorel_threadpool_queue *queue) {
    return queue ? static_cast<int32_t>(queue->count) : 0;
}

void vorel_threadpool_task_init(vorel_threadpool_task *task) {
    if (!task) return;
    task->routine = nullptr;
    task->argument = nullptr;
}

vorel_threadpool_task *vorel_threadpool_task_get_task(vorel_threadpool *pool) {
    if (!pool) return nullptr;
    const Lock lock(&pool->waitingLock);
    if (!lock) return nullptr;
    while (vorel_threadpool_queue_is_empty(&pool->waiting)) {
        if (load_relaxed(&pool->stop)) return nullptr;
        if (pthread_cond_wait(&pool->waitingNotEmpty, &pool->waitingLock) != 0) return nullptr;
    }
    return vorel_threadpool_queue_dequeue(&pool->waiting);
}

vorel_threadpool *vorel_threadpool_init(int32_t threadCount) {
    if (threadCount > kMostThreads) return nullptr;
    OsBlock pool_block(os_allocate_array<vorel_threadpool>(1));
    auto *pool = pool_block.as<vorel_threadpool>();
    if (!pool || !start_locks(pool)) return nullptr;
    // All at once: one after another takes a fifth of what starting a thread does. In a full ring head and tail meet.
    for (uint32_t i = 0; i < kTasks; ++i) pool->free.slots[i] = &pool->tasks[i];
    pool->free.count = kTasks;
    pool_block.release();
    if (threadCount < 1 || start_pool_threads(pool, threadCount) == threadCount) return pool;
    // Threads that run end by themselves, and then the pool is freed.
    vorel_threadpool_free(pool, pool->threadCount == 0);
    return nullptr;
}

int32_t vorel_threadpool_add_task(vorel_threadpool *pool, void *(*routine)(void *), void *argument, int32_t block) {
    if (!pool) return -1;
    int32_t result;
    vorel_threadpool_task *task = take_record(pool, block != 0, &result);
    if (!task) return result;
    task->routine = routine;
    task->argument = argument;
    return put(&pool->waiting, &pool->waitingLock, &pool->waitingNotEmpty, task) ? 1 : -1;
}

void vorel_threadpool_free(vorel_threadpool *pool, int32_t wait) {
    if (!pool) return;
    if (wait) {
        shut_down(pool);
        return;
    }
    // Once the helper runs the pool is its own.
    pthread_t helper;
    if (pthread_create(&helper, nullptr, shut_down, pool) == 0) {
        pthread_detach(helper);
    } else {
        store_relaxed<uint16_t>(&pool->stop, 1);
    }
}
