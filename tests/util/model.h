// What the utilities must give, written down in the slowest and plainest way, and frames to feed them with.
#pragma once

#include <vorel/frame.h>
#include <vorel/util.h>

#include <functional>

#include "support/layouts.h"
#include "support/samples.h"
#include "support/slow_build.h"
#include "support/twins.h"
#include "util/caches.h"
#include "util/task_group.h"

namespace vorel::test {

struct Yuv {
    int y, u, v;
};
struct Rgb {
    int r, g, b;
};
Rgb model_rgb(Yuv yuv);        // BT.601, video range
Yuv model_video_yuv(Rgb rgb);  // the same back
Yuv model_full_yuv(Rgb rgb);   // JFIF

// The chroma of a pixel in a frame of COLOR_YUV420, COLOR_NV12 or COLOR_NV21: where U and V stand.
size_t u_at(int32_t format, int width, int height, int x, int y);
size_t v_at(int32_t format, int width, int height, int x, int y);

// By the closed formula of the taps: COLOR_YUV420, COLOR_NV12, COLOR_NV21, COLOR_RGBA8888 or COLOR_RGB888.
Bytes model_resize(int32_t format, const Bytes &src, int src_width, int src_height, int dst_width, int dst_height);

// A frame turned clockwise by 90, 180 or 270 degrees, sample by sample.
Bytes model_turn(int32_t format, const Bytes &src, int width, int height, int angle);

// Calls check with each vector target that runs here, scalar last, as the widest one there is.
void on_every_target(const std::function<void(const char *target)> &check);

// Has the groups of tasks that are made while it lives run by another function.
class TaskRunner {
  public:
    TaskRunner(const TaskRunner &) = delete;
    TaskRunner &operator=(const TaskRunner &) = delete;

  protected:
    explicit TaskRunner(PoolRunner runner) { set_pool_runner(runner); }
    ~TaskRunner() { set_pool_runner(nullptr); }
};

// In shuffled order, some of them over three threads.
struct ShuffledTasks : TaskRunner {
    explicit ShuffledTasks(unsigned seed);
};

// In the calling thread, and looks at them.
struct WatchedTasks : TaskRunner {
    WatchedTasks();
    // Tasks of the last group, 0 where there was none since the last call.
    int take_count();
};

// As on a processor with so small a cache.
class SmallCache {
  public:
    explicit SmallCache(size_t bytes) { assume_last_level_cache(bytes); }
    ~SmallCache() { assume_last_level_cache(0); }
    SmallCache(const SmallCache &) = delete;
    SmallCache &operator=(const SmallCache &) = delete;
};

}  // namespace vorel::test
