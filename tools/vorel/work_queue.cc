#include "work_queue.h"

#include <system_error>
#include <utility>

namespace vorel_tool {

WorkQueue::WorkQueue(int32_t threads) {
    const auto serve = [this] {
        std::unique_lock<std::mutex> lock(mutex_);
        for (;;) {
            added_.wait(lock, [this] { return closing_ || !tasks_.empty(); });
            if (tasks_.empty()) return;
            run_one(&lock);
        }
    };
    try {
        for (int32_t i = 1; i < threads; ++i) threads_.emplace_back(serve);
    } catch (const std::system_error &) {
        // Fewer threads do.
    }
}

WorkQueue::~WorkQueue() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        closing_ = true;
        tasks_.clear();
    }
    added_.notify_all();
    for (std::thread &thread : threads_) thread.join();
}

void WorkQueue::add(std::function<void()> task) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        tasks_.push_back(std::move(task));
        ++left_;
    }
    added_.notify_one();
}

void WorkQueue::run_one(std::unique_lock<std::mutex> *lock) {
    {
        const std::function<void()> task = std::move(tasks_.front());
        tasks_.pop_front();
        const bool wanted = !failure_;
        lock->unlock();
        std::exception_ptr failure;
        try {
            if (wanted) task();
        } catch (...) {
            failure = std::current_exception();
        }
        lock->lock();
        if (failure && !failure_) failure_ = failure;
    }
    --left_;
    done_.notify_one();
}

void WorkQueue::work_until(size_t left) {
    std::unique_lock<std::mutex> lock(mutex_);
    while (left_ > left && !failure_) {
        if (tasks_.empty()) {
            done_.wait(lock);
        } else {
            run_one(&lock);
        }
    }
    if (failure_) std::rethrow_exception(failure_);
}

}  // namespace vorel_tool
