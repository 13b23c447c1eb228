// The thread pool: nothing is lost, the documented results, both forms of shutdown, callers who help.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <ctime>
#include <memory>
#include <mutex>
#include <numeric>
#include <random>
#include <thread>
#include <vector>

#include "support/counting_allocator.h"
#include "util/model.h"
#include "util/task_group.h"

namespace vorel::test {
namespace {

constexpr int kStore = VOREL_THREADPOOL_TASKS;

void *count_up(void *counter) {
    static_cast<std::atomic<int> *>(counter)->fetch_add(1);
    return nullptr;
}

// Tasks that stay inside until the gate opens.
struct Gate {
    std::mutex mutex;
    std::condition_variable changed;
    int inside = 0, passed = 0;
    bool open = false;

    static void *enter(void *self) {
        auto *gate = static_cast<Gate *>(self);
        std::unique_lock<std::mutex> lock(gate->mutex);
        ++gate->inside;
        gate->changed.notify_all();
        gate->changed.wait(lock, [&] { return gate->open; });
        ++gate->passed;
        gate->changed.notify_all();
        return nullptr;
    }
    void wait_for(int Gate::*count, int value) {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [&] { return this->*count >= value; });
    }
    void open_up() {
        const std::lock_guard<std::mutex> lock(mutex);
        open = true;
        changed.notify_all();
    }
};

// A pool, and tasks in it that count.
struct CountingPool {
    explicit CountingPool(int32_t threads) : pool(vorel_threadpool_init(threads)) { EXPECT_NE(pool, nullptr); }

    int32_t add(int32_t block = 0) { return vorel_threadpool_add_task(pool, count_up, &runs, block); }
    void add_all(int count, void *(*routine)(void *), void *argument, int32_t block = 0) {
        for (int i = 0; i < count; ++i) ASSERT_EQ(vorel_threadpool_add_task(pool, routine, argument, block), 1) << i;
    }
    // Waits for all tasks, and says how many have counted.
    int finish() {
        vorel_threadpool_free(pool, 1);
        return runs.load();
    }

    vorel_threadpool *pool;
    std::atomic<int> runs{0};
};

TEST(ThreadPool, AMillionTasksOfShuffledProducersAllRun) {
    constexpr int kProducers = 5, kEach = kSlowBuild ? 20'000 : 200'000;
    CountingPool pool(3);
    std::vector<std::thread> producers;
    for (int i = 0; i < kProducers; ++i) {
        producers.emplace_back([&, i] {
            std::minstd_rand random(static_cast<unsigned>(i) + 1);
            for (int left = kEach; left > 0;) {
                const int32_t block = random() % 4 != 0;
                const int32_t result = pool.add(block);
                if (result != 1) ASSERT_EQ(result, block ? 1 : -2);
                left -= result == 1;
                if (random() % 1000 == 0) std::this_thread::yield();
            }
        });
    }
    for (std::thread &producer : producers) producer.join();
    EXPECT_EQ(pool.finish(), kProducers * kEach);
}

TEST(ThreadPool, RecordsOfRunningTasksCountAndAFullStoreIsMinusTwo) {
    Gate gate;
    CountingPool pool(4);
    pool.add_all(4, Gate::enter, &gate);
    gate.wait_for(&Gate::inside, 4);
    pool.add_all(kStore - 4, count_up, &pool.runs);
    EXPECT_EQ(pool.add(), -2);
    std::atomic<int32_t> added{0};
    std::thread patient([&] { added = pool.add(1); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(added.load(), 0);
    gate.open_up();
    patient.join();
    EXPECT_EQ(added.load(), 1);
    EXPECT_EQ(pool.finish(), kStore - 4 + 1);
}

TEST(ThreadPool, TasksStartInTheOrderOfTheirComing) {
    static std::vector<int> order;
    order.clear();
    std::vector<int> numbers(500);
    std::iota(numbers.begin(), numbers.end(), 0);
    const auto note = [](void *number) -> void * {
        order.push_back(*static_cast<int *>(number));
        return number;
    };
    CountingPool pool(1);
    for (int &number : numbers) pool.add_all(1, note, &number, 1);
    pool.finish();
    EXPECT_EQ(order, numbers);
}

TEST(ThreadPool, ShutdownWithoutWaitingReturnsAtOnceAndStillRunsAll) {
    Gate gate;
    CountingPool pool(2);
    pool.add_all(100, Gate::enter, &gate);
    vorel_threadpool_free(pool.pool, 0);
    gate.open_up();
    gate.wait_for(&Gate::passed, 100);
    EXPECT_EQ(gate.passed, 100);
}

TEST(ThreadPool, WithoutThreadsTasksWaitForAHelper) {
    for (const int32_t threads : {0, -3}) {
        CountingPool pool(threads);
        EXPECT_EQ(pool.pool->threadCount, 0);
        pool.add_all(kStore, count_up, &pool.runs);
        EXPECT_EQ(pool.runs.load(), 0);
        std::thread other(run_waiting_tasks, pool.pool);
        run_waiting_tasks(pool.pool);
        other.join();
        EXPECT_EQ(pool.runs.load(), kStore);
        // Required: records that a helper ran do not come back.
        EXPECT_EQ(pool.add(), -2);
        pool.finish();
    }
}

// Required: a null routine is queued, and its record is lost.
TEST(ThreadPool, ARecordWithoutARoutineIsSkippedAndLost) {
    CountingPool pool(1);
    pool.add_all(kStore - 1, nullptr, &pool.runs);
    pool.add_all(50, count_up, &pool.runs, 1);
    EXPECT_EQ(vorel_threadpool_add_task(pool.pool, nullptr, &pool.runs, 1), 1);
    EXPECT_EQ(pool.add(), -2);
    EXPECT_EQ(pool.finish(), 50);
}

TEST(ThreadPool, NullPoolsCountsThatDoNotFitAndFailedAllocations) {
    EXPECT_EQ(vorel_threadpool_add_task(nullptr, count_up, nullptr, 0), -1);
    EXPECT_EQ(vorel_threadpool_add_task(nullptr, count_up, nullptr, 1), -1);
    EXPECT_EQ(vorel_threadpool_task_get_task(nullptr), nullptr);
    EXPECT_EQ(vorel_threadpool_init(65536), nullptr);
    vorel_threadpool_free(nullptr, 0);
    vorel_threadpool_free(nullptr, 1);
    vorel_threadpool_task_init(nullptr);
    const size_t allocations = with_each_allocation_failing([](CountingAllocator &allocator) {
        vorel_threadpool *pool = vorel_threadpool_init(2);
        EXPECT_EQ(pool == nullptr, allocator.failed());
        vorel_threadpool_free(pool, 1);
    });
    EXPECT_EQ(allocations, 2u);
}

TEST(ThreadPool, QueueIsARingThatBeginsAgainWhenEmpty) {
    const auto queue = std::make_unique<vorel_threadpool_queue>();
    std::vector<vorel_threadpool_task> tasks(kStore + 1);
    EXPECT_EQ(vorel_threadpool_queue_is_empty(queue.get()), 1);
    EXPECT_EQ(vorel_threadpool_queue_dequeue(queue.get()), nullptr);
    for (int i = 0; i < kStore; ++i)
        ASSERT_EQ(vorel_threadpool_queue_enqueue(queue.get(), &tasks[static_cast<size_t>(i)]), 0);
    EXPECT_EQ(vorel_threadpool_queue_getsize(queue.get()), kStore);
    EXPECT_EQ(vorel_threadpool_queue_enqueue(queue.get(), &tasks.back()), -1);
    EXPECT_EQ(queue->tail, 0u);
    // Around the end.
    EXPECT_EQ(vorel_threadpool_queue_dequeue(queue.get()), &tasks[0]);
    EXPECT_EQ(vorel_threadpool_queue_enqueue(queue.get(), &tasks.back()), 0);
    EXPECT_EQ(queue->tail, 1u);
    for (int i = 1; i <= kStore; ++i)
        ASSERT_EQ(vorel_threadpool_queue_dequeue(queue.get()), &tasks[static_cast<size_t>(i)]);
    EXPECT_EQ(queue->head, 0u);
    EXPECT_EQ(queue->tail, 0u);
    EXPECT_EQ(vorel_threadpool_queue_is_empty(queue.get()), 1);
    // A slot that is taken although the count says otherwise.
    queue->slots[0] = &tasks[5];
    EXPECT_EQ(vorel_threadpool_queue_enqueue(queue.get(), &tasks[0]), -1);
    EXPECT_EQ(vorel_threadpool_queue_enqueue(nullptr, &tasks[0]), -1);
    EXPECT_EQ(vorel_threadpool_queue_dequeue(nullptr), nullptr);
}

// More tasks than a pool has records for, on every number of threads; and the runner of tests serves all pools.
TEST(TaskGroup, RunsAllTasksWhateverItsThreads) {
    constexpr int kTasks = kStore + 500;
    for (const int32_t threads : {0, 2, 4, 6, 99}) {
        std::atomic<int> runs{0};
        {
            TaskGroup group(threads);
            for (int i = 0; i < kTasks; ++i) group.add(count_up, &runs);
            group.wait();
            EXPECT_EQ(runs.load(), kTasks) << threads;
        }
        WatchedTasks watched;
        TaskGroup group(threads);
        group.add(count_up, &runs);
        group.wait();
        EXPECT_EQ(watched.take_count(), 1);
        vorel_threadpool *pool = start_pool(threads);
        ASSERT_NE(pool, nullptr);
        EXPECT_EQ(pool->threadCount, 0);
        EXPECT_EQ(vorel_threadpool_add_task(pool, count_up, &runs, 0), 1);
        finish_pool(pool);
        EXPECT_EQ(watched.take_count(), 1);
        EXPECT_EQ(runs.load(), kTasks + 2);
    }
    finish_pool(nullptr);
}

TEST(ThreadPool, WaitingTakesNoProcessorTime) {
    Gate gate;
    CountingPool pool(4);
    pool.add_all(1, Gate::enter, &gate);
    gate.wait_for(&Gate::inside, 1);
    std::thread opener([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        gate.open_up();
    });
    const std::clock_t before = std::clock();  // of all threads
    pool.finish();
    opener.join();
    EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC / 10);
}

}  // namespace
}  // namespace vorel::test
