// Work for several threads, the caller's among them.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace vorel_tool {

// A task that throws ends the work: those behind it are dropped, and the caller gets what it threw.
class WorkQueue {
  public:
    // One thread is the caller's own, which works while it waits.
    explicit WorkQueue(int32_t threads);
    WorkQueue(const WorkQueue &) = delete;
    WorkQueue &operator=(const WorkQueue &) = delete;
    ~WorkQueue();

    void add(std::function<void()> task);
    // Works until no more than so many tasks are left that are not done. Throws what a task has thrown.
    void work_until(size_t left);

  private:
    void run_one(std::unique_lock<std::mutex> *lock);

    std::mutex mutex_;
    std::condition_variable added_, done_;
    std::deque<std::function<void()>> tasks_;
    size_t left_ = 0;  // waiting and running
    bool closing_ = false;
    std::exception_ptr failure_;
    std::vector<std::thread> threads_;
};

}  // namespace vorel_tool
