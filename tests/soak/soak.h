// A soak: many threads at everything the library does, for long. What a job gives for an unchanged file is the same
// each time, and nothing is left behind.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <span>
#include <string>

#include "support/inputs.h"
#include "support/layouts.h"

namespace vorel::soak {

using test::Bytes;
using test::Kind;

// splitmix64.
class Random {
  public:
    explicit Random(uint64_t seed) : state_(seed) {}
    uint64_t next();
    int32_t below(int32_t end) { return end < 1 ? 0 : static_cast<int32_t>(next() % static_cast<uint32_t>(end)); }
    int32_t side(int32_t most) { return 1 + below(most); }
    template <typename Value, size_t kCount>
    Value one_of(const Value (&values)[kCount]) {
        return values[next() % kCount];
    }

  private:
    uint64_t state_;
};

// Of all that a job gave.
class Digest {
  public:
    void add(const void *data, size_t bytes);
    void add(int64_t value) { add(&value, sizeof value); }
    // Pixels count where the decode did.
    void add(int64_t result, const Bytes &output) {
        add(result);
        if (result == 1) add(output.data(), output.size());
    }
    uint64_t value() const { return state_; }

  private:
    uint64_t state_ = 0xCBF29CE484222325;
};

// What another thread may call while a job runs, to cancel what it does.
class Watch {
  public:
    void cancel();
    bool take_cancelled();
    void set(std::function<void()> call);

  private:
    std::mutex mutex_;
    std::function<void()> call_;
    bool cancelled_ = false;
};

struct Picture {
    std::string name, path;
    Bytes bytes;
    int32_t type;  // VOREL_IMAGE_, with VOREL_IMAGE_DNG for what is developed
};

// One run of a job.
struct Work {
    const Bytes &bytes;  // those of the picture, or altered ones
    std::string path;    // empty for altered ones
    Random random;
    Watch *watch;  // null: nobody cancels it
    Digest digest;

    int32_t size() const { return static_cast<int32_t>(bytes.size()); }
};

// The work can be cancelled by the call for the length of a scope.
class Cancellable {
  public:
    Cancellable(const Work &work, std::function<void()> call) : watch_(work.watch) {
        if (watch_) watch_->set(std::move(call));
    }
    ~Cancellable() {
        if (watch_) watch_->set(nullptr);
    }
    Cancellable(const Cancellable &) = delete;
    Cancellable &operator=(const Cancellable &) = delete;

  private:
    Watch *watch_;
};

struct Job {
    const char *name;
    uint32_t types;  // bits of VOREL_IMAGE_ that it is for
    void (*run)(Work &work);
};
constexpr uint32_t kAnyType = ~0u;
std::span<const Job> jpeg_jobs();
std::span<const Job> other_jobs();
std::span<const Job> application_jobs();
std::span<const Job> native_jobs();  // where the natives are built

}  // namespace vorel::soak
