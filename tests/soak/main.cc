// vorel_soak [--seconds N] [--threads N] [--seed N] [FOLDER...]: every job over the files of the
// folders and of their subfolders, as they are and altered.
#include <vorel/bindings.h>
#include <vorel/vorel.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

#include "resources.h"
#include "soak.h"

namespace vorel::soak {

uint64_t Random::next() {
    uint64_t z = state_ += 0x9E3779B97F4A7C15;
    z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9;
    z = (z ^ z >> 27) * 0x94D049BB133111EB;
    return z ^ z >> 31;
}

void Digest::add(const void *data, size_t bytes) {
    const auto *at = static_cast<const uint8_t *>(data);
    for (; bytes >= 8; bytes -= 8, at += 8) {
        uint64_t word;
        std::memcpy(&word, at, 8);
        state_ = (state_ ^ word) * 0x9E3779B97F4A7C15;
        state_ ^= state_ >> 29;
    }
    for (; bytes > 0; --bytes) state_ = (state_ ^ *at++) * 0x100000001B3;
}

void Watch::cancel() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!call_) return;
    call_();
    cancelled_ = true;
}

bool Watch::take_cancelled() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(cancelled_, false);
}

void Watch::set(std::function<void()> call) {
    const std::lock_guard<std::mutex> lock(mutex_);
    call_ = std::move(call);
}

namespace {

using Clock = std::chrono::steady_clock;
constexpr size_t kVariants = 4;  // of a job on a picture, each with choices of its own

struct Soak {
    std::vector<Picture> pictures;
    std::vector<std::vector<size_t>> by_type;
    std::vector<Job> jobs;
    std::vector<std::atomic<uint64_t>> digests;  // the first of each variant of each job on each picture; 0: none yet
    std::vector<Watch> watches;
    std::atomic<uint64_t> runs = 0, altered = 0, cancelled = 0, compared = 0, different = 0;
};

int32_t type_of(const Bytes &bytes) {
    decInfo info = {};
    const auto size = static_cast<int32_t>(bytes.size());
    if (parseDNGImageBuffer(bytes.data(), size, &info) == 0 && info.width) return VOREL_IMAGE_DNG;
    int32_t width, height;
    return VorelGetImageInfoFromBuffer(bytes.data(), 0, size, &width, &height);
}

void load(Soak &soak, const std::filesystem::path &folder) {
    for (const auto &entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (!entry.is_regular_file() || entry.file_size() == 0 || entry.path().extension() == ".tsv") continue;
        const std::filesystem::path &path = entry.path();
        Bytes bytes = test::read_file(path);
        const int32_t type = type_of(bytes);
        soak.pictures.push_back({path.parent_path().filename() / path.filename(), path, std::move(bytes), type});
    }
}

// A few bytes, a stretch of them, or the end.
void alter(Bytes &bytes, Random &random) {
    const auto place = [&] { return static_cast<size_t>(random.next() % bytes.size()); };
    if (random.below(4) == 0) bytes.resize(1 + place());
    for (int i = random.below(12); i >= 0; --i) bytes[place()] = static_cast<uint8_t>(random.next());
    if (random.below(6) == 0) {
        const size_t from = place(), to = place();
        for (size_t i = 0; i < 64 && from + i < bytes.size() && to + i < bytes.size(); ++i)
            bytes[to + i] = bytes[from + i];
    }
}

void run_one(Soak &soak, Random &random, Watch &watch) {
    // Each type comes as often as any other, however many files it has.
    const std::vector<size_t> &of_type = soak.by_type[random.next() % soak.by_type.size()];
    const size_t picture_at = of_type[random.next() % of_type.size()], job_at = random.next() % soak.jobs.size();
    const Picture &picture = soak.pictures[picture_at];
    const Job &job = soak.jobs[job_at];
    if (!(job.types >> picture.type & 1)) return;
    const size_t variant = random.next() % kVariants;
    const bool whole = random.below(3) != 0, cancel = random.below(6) == 0;
    Bytes bytes = picture.bytes;
    if (!whole) alter(bytes, random);
    const size_t key = (picture_at * soak.jobs.size() + job_at) * kVariants + variant;
    Work work = {bytes, whole ? picture.path : "", Random(whole ? key : random.next()), cancel ? &watch : nullptr, {}};
    job.run(work);
    ++soak.runs;
    soak.altered += !whole;
    if (watch.take_cancelled()) {
        ++soak.cancelled;
        return;
    }
    if (!whole) return;
    const uint64_t digest = work.digest.value() | 1;
    uint64_t first = 0;
    if (soak.digests[key].compare_exchange_strong(first, digest)) return;
    ++soak.compared;
    if (first == digest) return;
    if (soak.different++ < 20)
        std::fprintf(stderr, "other result: %s, %s, %zu\n", job.name, picture.name.c_str(), variant);
}

// All threads until then; nothing runs behind it.
void run_until(Soak &soak, Clock::time_point end, std::vector<Random> &randoms) {
    std::atomic<bool> over = false;
    std::vector<std::thread> threads;
    for (size_t i = 0; i < randoms.size(); ++i) {
        threads.emplace_back([&soak, end, random = &randoms[i], watch = &soak.watches[i]] {
            while (Clock::now() < end) run_one(soak, *random, *watch);
        });
    }
    std::thread canceller([&] {
        for (Random random(99); !over; std::this_thread::sleep_for(std::chrono::microseconds(random.below(500))))
            for (Watch &watch : soak.watches)
                if (random.below(4) == 0) watch.cancel();
    });
    for (std::thread &thread : threads) thread.join();
    over = true;
    canceller.join();
}

// Threads that were waited for leave the list of the process a moment later.
Resources settled(const Resources *wanted) {
    Resources now = resources_now();
    for (int i = 0; i < 100 && (wanted ? now.threads != wanted->threads : now.threads != 1); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        now = resources_now();
    }
    return now;
}

int soak(int argc, char **argv) {
    int seconds = 3600;
    size_t threads = 8;
    uint64_t seed = static_cast<uint64_t>(std::chrono::system_clock::now().time_since_epoch().count());
    Soak soak;
    count_allocations();
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const bool number = i + 1 < argc && (word == "--seconds" || word == "--threads" || word == "--seed");
        if (!number) {
            load(soak, word);
        } else if (word == "--seconds") {
            seconds = std::atoi(argv[++i]);
        } else if (word == "--threads") {
            threads = static_cast<size_t>(std::atoi(argv[++i]));
        } else {
            seed = std::strtoull(argv[++i], nullptr, 10);
        }
    }
    if (soak.pictures.empty() || threads == 0) {
        std::fprintf(stderr, "usage: vorel_soak [--seconds N] [--threads N] [--seed N] FOLDER...\n");
        return 2;
    }
    for (int32_t type = 0; type <= VOREL_IMAGE_DNG; ++type) {
        std::vector<size_t> places;
        for (size_t i = 0; i < soak.pictures.size(); ++i)
            if (soak.pictures[i].type == type) places.push_back(i);
        if (!places.empty()) soak.by_type.push_back(std::move(places));
    }
    std::span<const Job> more;
#ifdef HAS_NATIVES
    more = native_jobs();
#endif
    for (const std::span<const Job> jobs : {jpeg_jobs(), other_jobs(), application_jobs(), more})
        soak.jobs.insert(soak.jobs.end(), jobs.begin(), jobs.end());
    soak.digests = std::vector<std::atomic<uint64_t>>(soak.pictures.size() * soak.jobs.size() * kVariants);
    soak.watches = std::vector<Watch>(threads);
    std::vector<Random> randoms;
    for (size_t i = 0; i < threads; ++i) randoms.emplace_back(seed * 1000 + i);
    std::printf("%zu files, %zu jobs, %zu threads, %d s, seed %llu\n", soak.pictures.size(), soak.jobs.size(), threads,
                seconds, static_cast<unsigned long long>(seed));
    std::fflush(stdout);

    const Clock::time_point start = Clock::now();
    const auto at = [start](int second) { return start + std::chrono::seconds(second); };
    const int first = std::min(60, seconds / 2);
    run_until(soak, at(first), randoms);
    const Resources before = settled(nullptr);
    run_until(soak, at(seconds), randoms);
    const Resources after = settled(&before);

    std::printf("%llu runs, %llu of them on altered files, %llu cancelled, %llu results compared\n",
                static_cast<unsigned long long>(soak.runs), static_cast<unsigned long long>(soak.altered),
                static_cast<unsigned long long>(soak.cancelled), static_cast<unsigned long long>(soak.compared));
    std::printf("%-22s %9s %2d s %12s\n", "", "after", first, "at the end");
    const std::string left = what_is_left(before, after);
    if (!left.empty()) std::printf("FAILED: left behind: %s\n", left.c_str());
    if (soak.different) std::printf("FAILED: %llu other results\n", static_cast<unsigned long long>(soak.different));
    if (!soak.compared) std::printf("FAILED: nothing was compared\n");
    return !left.empty() || soak.different || !soak.compared;
}

}  // namespace
}  // namespace vorel::soak

int main(int argc, char **argv) { return vorel::soak::soak(argc, argv); }
