#include "util/model.h"

#include <algorithm>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include "util/simd_targets.h"
#include "util/task_group.h"

namespace vorel::test {
namespace {

int clip(int value) { return std::clamp(value, 0, 255); }

std::minstd_rand g_order;

void run_shuffled(vorel_threadpool *pool) {
    vorel_threadpool_queue &queue = pool->waiting;
    std::shuffle(queue.slots + queue.head, queue.slots + queue.head + queue.count, g_order);
    std::vector<std::thread> threads;
    // Threads now and then: most sweeps are after the order.
    const int helpers = queue.count > 1 && g_order() % 8 == 0 ? 2 : 0;
    for (int i = 0; i < helpers; ++i) threads.emplace_back(run_waiting_tasks, pool);
    run_waiting_tasks(pool);
    for (std::thread &thread : threads) thread.join();
}

int g_watched = 0;

void watch(vorel_threadpool *pool) { g_watched = static_cast<int>(pool->waiting.count); }

Bytes model_turn_plane(const uint8_t *src, int width, int height, int unit, int angle) {
    Bytes out(area(width, height) * static_cast<size_t>(unit));
    const int out_width = angle == 180 ? width : height;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const auto [to_x, to_y] = turned_place(x, y, width, height, static_cast<uint32_t>(angle / 90));
            for (int i = 0; i < unit; ++i) {
                out[static_cast<size_t>((to_y * out_width + to_x) * unit + i)] = src[(y * width + x) * unit + i];
            }
        }
    }
    return out;
}

Bytes model_resize_plane(const uint8_t *src, int src_width, int src_height, int dst_width, int dst_height, int unit) {
    Bytes out;
    for (int y = 0; y < dst_height; ++y) {
        const auto [top, bottom] = quarter_taps(y, src_height, dst_height);
        for (int x = 0; x < dst_width; ++x) {
            const auto [left, right] = quarter_taps(x, src_width, dst_width);
            for (int i = 0; i < unit; ++i) {
                int sum = 0;
                for (const ptrdiff_t row : {top, bottom})
                    for (const ptrdiff_t column : {left, right}) sum += src[(row * src_width + column) * unit + i] >> 2;
                out.push_back(static_cast<uint8_t>(sum));
            }
        }
    }
    return out;
}

template <typename Each>
Bytes by_planes(int32_t format, const Bytes &src, int width, int height, const Each &each) {
    Bytes out;
    const uint8_t *at = src.data();
    for (const PlaneSize &plane : planes_of(format, width, height)) {
        const Bytes part = each(at, plane);
        out.insert(out.end(), part.begin(), part.end());
        at += area(plane.width, plane.height) * static_cast<size_t>(plane.unit);
    }
    return out;
}

}  // namespace

Rgb model_rgb(Yuv yuv) {
    const int c = 1192 * (yuv.y - 16), u = yuv.u - 128, v = yuv.v - 128;
    return {clip((c + 1634 * v) >> 10), clip((c - 833 * v - 400 * u) >> 10), clip((c + 2066 * u) >> 10)};
}

Yuv model_video_yuv(Rgb p) {
    return {((16828 * p.r + 33038 * p.g + 6416 * p.b + 32768) >> 16) + 16,
            (-9713 * p.r - 19070 * p.g + 28784 * p.b + 32767 + (128 << 16)) >> 16,
            (28784 * p.r - 24103 * p.g - 4680 * p.b + 32767 + (128 << 16)) >> 16};
}

Yuv model_full_yuv(Rgb p) {
    return {(19595 * p.r + 38470 * p.g + 7471 * p.b + 32768) >> 16,
            (-11059 * p.r - 21709 * p.g + 32768 * p.b + 32767 + (128 << 16)) >> 16,
            (32768 * p.r - 27439 * p.g - 5329 * p.b + 32767 + (128 << 16)) >> 16};
}

size_t u_at(int32_t format, int width, int height, int x, int y) {
    const size_t sample = area(half_up(width), y / 2) + static_cast<size_t>(x / 2);
    if (format == COLOR_YUV420) return area(width, height) + sample;
    return area(width, height) + 2 * sample + (format == COLOR_NV21 ? 1 : 0);
}
size_t v_at(int32_t format, int width, int height, int x, int y) {
    const size_t u = u_at(format, width, height, x, y);
    if (format == COLOR_YUV420) return u + area(half_up(width), half_up(height));
    return format == COLOR_NV21 ? u - 1 : u + 1;
}

Bytes model_resize(int32_t format, const Bytes &src, int src_width, int src_height, int dst_width, int dst_height) {
    return by_planes(format, src, src_width, src_height, [&](const uint8_t *plane, const PlaneSize &size) {
        const bool chroma = size.width != src_width || size.height != src_height || plane != src.data();
        return model_resize_plane(plane, size.width, size.height, chroma ? half_up(dst_width) : dst_width,
                                  chroma ? half_up(dst_height) : dst_height, size.unit);
    });
}

Bytes model_turn(int32_t format, const Bytes &src, int width, int height, int angle) {
    return by_planes(format, src, width, height, [&](const uint8_t *plane, const PlaneSize &size) {
        return model_turn_plane(plane, size.width, size.height, size.unit, angle);
    });
}

void on_every_target(const std::function<void(const char *target)> &check) {
    for (int i = kSimdTargets - 1; i >= 0; --i) {
        const auto target = static_cast<SimdTarget>(i);
        if (!simd_target_runs(target)) continue;
        limit_simd_targets(target);
        check(simd_target_name(target));
    }
    limit_simd_targets(SimdTarget::kCount);
}

ShuffledTasks::ShuffledTasks(unsigned seed) : TaskRunner(run_shuffled) { g_order.seed(seed + 1); }

WatchedTasks::WatchedTasks() : TaskRunner(watch) { g_watched = 0; }
int WatchedTasks::take_count() { return std::exchange(g_watched, 0); }

}  // namespace vorel::test
