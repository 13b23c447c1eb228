// The rows of the table of utilities.
#include "util_rows.h"

#include <libyuv.h>
#include <vorel/frame.h>
#include <vorel/util.h>

#include <cstring>
#include <thread>

#include "util/task_group.h"

namespace vorel_bench {
namespace {

std::string sized(const std::string &what, int width, int height) {
    return what + "/" + std::to_string(width) + "x" + std::to_string(height);
}

// A 4:2:0 frame of even width and height; pair planes begin where U does.
struct Planes {
    uint8_t *y, *u, *v;
    int width, half;
    Planes(const uint8_t *frame, int w, int h)
        : y(const_cast<uint8_t *>(frame)), u(y + w * h), v(u + w * h / 4), width(w), half(w / 2) {}
};

using Converter = void (*)(int32_t, int32_t, const uint8_t *, uint8_t *);
using FromPairs = int (*)(const uint8_t *, int, const uint8_t *, int, uint8_t *, int, int, int);
using FromPlanes = int (*)(const uint8_t *, int, const uint8_t *, int, const uint8_t *, int, uint8_t *, int, int, int);
using ToPairs = int (*)(const uint8_t *, int, uint8_t *, int, uint8_t *, int, int, int);
using ToPlanes = int (*)(const uint8_t *, int, uint8_t *, int, uint8_t *, int, uint8_t *, int, int, int);

// Adds rows to a list. What a row does has a copy of this, so it is no more than the frames' size and two references.
class Rows {
  public:
    Rows(UtilFrames &frames, std::vector<UtilRow> &rows)
        : f_(frames), w_(frames.width()), h_(frames.height()), rows_(rows) {}

    void add(const std::string &what, size_t bytes, std::function<void()> ours, std::function<void()> peer) {
        rows_.push_back({sized(what, w_, h_), std::move(ours), std::move(peer), bytes, what.rfind("pool/", 0) == 0});
    }
    void from_pairs(const char *what, int pixel, Converter ours, FromPairs peer) {
        const Planes in(f_.source(), w_, h_);
        add(
            what, f_.pixels() * static_cast<size_t>(3 + 2 * pixel) / 2,
            [=, *this] { ours(w_, h_, f_.source(), f_.out()); },
            [=, *this] { peer(in.y, w_, in.u, w_, f_.peer_out(), w_ * pixel, w_, h_); });
    }
    void from_planes(const char *what, Converter ours, FromPlanes peer) {
        const Planes in(f_.source(), w_, h_);
        add(
            what, f_.pixels() * 11 / 2, [=, *this] { ours(w_, h_, f_.source(), f_.out()); },
            [=, *this] { peer(in.y, w_, in.u, in.half, in.v, in.half, f_.peer_out(), w_ * 4, w_, h_); });
    }
    void to_pairs(const char *what, Converter ours, ToPairs peer) {
        const Planes out(f_.peer_out(), w_, h_);
        add(
            what, f_.pixels() * 11 / 2, [=, *this] { ours(w_, h_, f_.source(), f_.out()); },
            [=, *this] { peer(f_.source(), w_ * 4, out.y, w_, out.u, w_, w_, h_); });
    }
    void to_planes(const char *what, Converter ours, ToPlanes peer) {
        const Planes out(f_.peer_out(), w_, h_);
        add(
            what, f_.pixels() * 11 / 2, [=, *this] { ours(w_, h_, f_.source(), f_.out()); },
            [=, *this] { peer(f_.source(), w_ * 4, out.y, w_, out.u, out.half, out.v, out.half, w_, h_); });
    }
    void converters() {
        from_pairs("convert/nv21-rgba", 4, _nv21_to_rgba8888_sg, libyuv::NV21ToABGR);
        from_pairs("convert/nv21-bgra", 4, _nv21_to_bgra8888_sg, libyuv::NV21ToARGB);
        from_pairs("convert/nv12-rgba", 4, _nv12_to_rgba8888_sg, libyuv::NV12ToABGR);
        from_pairs("convert/nv12-bgra", 4, _nv12_to_bgra8888_sg, libyuv::NV12ToARGB);
        from_pairs("convert/nv12-rgb888", 3, _nv12_to_rgb888_sg, libyuv::NV12ToRAW);
        from_planes("convert/i420-rgba", _yuv420_to_rgba8888_sg, libyuv::I420ToABGR);
        from_planes("convert/i420-bgra", _yuv420_to_bgra8888_sg, libyuv::I420ToARGB);
        to_pairs("convert/rgba-nv12", _rgba8888_to_nv12_sg, libyuv::ABGRToNV12);
        to_pairs("convert/rgba-nv21", _rgba8888_to_nv21_sg, libyuv::ABGRToNV21);
        to_planes("convert/rgba-i420", _rgba8888_to_yuv420_sg, libyuv::ABGRToJ420);
        const Planes in(f_.source(), w_, h_), out(f_.peer_out(), w_, h_);
        add(
            "convert/swap-pairs", f_.pixels(), [=, *this] { _yuv_nv_reverse_sg(w_, h_, f_.source(), f_.out()); },
            [=, *this] { libyuv::SwapUVPlane(in.u, w_, out.u, w_, in.half, h_ / 2); });
        add(
            "convert/i420-nv12", f_.pixels() * 3, [=, *this] { _yuv420_to_nv12_sg(w_, h_, f_.source(), f_.out()); },
            [=, *this] { libyuv::I420ToNV12(in.y, w_, in.u, in.half, in.v, in.half, out.y, w_, out.u, w_, w_, h_); });
    }
    void rotations() {
        struct Angle {
            int degrees;
            void *(*routine)(void *);
            libyuv::RotationMode mode;
        };
        for (const Angle &angle : {Angle{90, _vorel_rotate_90, libyuv::kRotate90},
                                   {180, _vorel_rotate_180, libyuv::kRotate180},
                                   {270, _vorel_rotate_270, libyuv::kRotate270}}) {
            const std::string by = std::to_string(angle.degrees);
            const int out_width = angle.degrees == 180 ? w_ : h_;
            const auto job = [*this, angle](int32_t format) {
                RotateJob whole = {f_.source(), f_.out(), w_, h_, 0, h_, format};
                angle.routine(&whole);
            };
            add(
                "rotate/rgba-" + by, f_.pixels() * 8, [=] { job(COLOR_RGBA8888); },
                [=, *this] {
                    libyuv::ARGBRotate(f_.source(), w_ * 4, f_.peer_out(), out_width * 4, w_, h_, angle.mode);
                });
            const Planes in(f_.source(), w_, h_), out(f_.peer_out(), out_width, w_ * h_ / out_width);
            add(
                "rotate/i420-" + by, f_.pixels() * 3, [=] { job(COLOR_YUV420); },
                [=, *this] {
                    libyuv::I420Rotate(in.y, w_, in.u, in.half, in.v, in.half, out.y, out.width, out.u, out.half, out.v,
                                       out.half, w_, h_, angle.mode);
                });
        }
    }
    void resizers() {
        struct Reduction {
            const char *name;
            int to_width, to_height;
        };
        for (const Reduction &to : {Reduction{"2-3", w_ * 2 / 3 & ~3, h_ * 2 / 3 & ~3},
                                    {"1-2", w_ / 2, h_ / 2},
                                    {"2-5", w_ * 2 / 5 & ~3, h_ * 2 / 5 & ~3},
                                    {"1-4", w_ / 4, h_ / 4},
                                    {"1-8", w_ / 8, h_ / 8}}) {
            const int dw = to.to_width, dh = to.to_height;
            const int cw = (dw + 1) / 2, ch = (dh + 1) / 2;
            const Planes in(f_.source(), w_, h_), out(f_.peer_out(), dw, dh);
            uint8_t *const out_v = out.u + cw * ch;
            const size_t small = static_cast<size_t>(dw) * static_cast<size_t>(dh);
            constexpr auto kFilter = libyuv::kFilterBilinear;  // four samples, as ours
            add(
                std::string("resize/i420-") + to.name, (f_.pixels() + small) * 3 / 2,
                [=, *this] { vorel_resize_yuv420_sg(f_.source(), f_.out(), w_, h_, dw, dh); },
                [=, *this] {
                    libyuv::I420Scale(in.y, w_, in.u, in.half, in.v, in.half, w_, h_, out.y, dw, out.u, cw, out_v, cw,
                                      dw, dh, kFilter);
                });
            add(
                std::string("resize/nv21-") + to.name, (f_.pixels() + small) * 3 / 2,
                [=, *this] { vorel_resize_nv21_sg(f_.source(), f_.out(), w_, h_, dw, dh); },
                [=, *this] {
                    libyuv::NV12Scale(in.y, w_, in.u, w_, w_, h_, out.y, dw, out.u, 2 * cw, dw, dh, kFilter);
                });
            add(
                std::string("resize/rgba-") + to.name, (f_.pixels() + small) * 4,
                [=, *this] { vorel_resize_rgba8888_sg(f_.source(), f_.out(), w_, h_, dw, dh); },
                [=, *this] { libyuv::ARGBScale(f_.source(), w_ * 4, w_, h_, f_.peer_out(), dw * 4, dw, dh, kFilter); });
        }
    }

    void pool_converter(const char *what, size_t bytes, Converter threaded, Converter single) {
        add(
            what, bytes, [=, *this] { threaded(w_, h_, f_.source(), f_.out()); },
            [=, *this] { single(w_, h_, f_.source(), f_.peer_out()); });
    }
    // A turn in place by one thread: into a copy, and back.
    void pool_rotation(const char *what, int32_t format, size_t bytes, int angle, void *(*routine)(void *)) {
        add(
            what, bytes * (angle == 180 ? 2 : 4), [=, *this] { vorel_fast_rotate(f_.out(), w_, h_, format, angle); },
            [=, *this] {
                std::vector<uint8_t> copy(bytes);
                RotateJob whole = {f_.peer_out(), copy.data(), w_, h_, 0, h_, format};
                routine(&whole);
                std::memcpy(f_.peer_out(), copy.data(), bytes);
            });
    }
    using Resizer = void (*)(const uint8_t *, uint8_t *, int32_t, int32_t, int32_t, int32_t);
    void pool_resizer(const char *what, size_t bytes, int dw, int dh, Resizer threaded, Resizer single) {
        add(
            what, bytes, [=, *this] { threaded(f_.source(), f_.out(), w_, h_, dw, dh); },
            [=, *this] { single(f_.source(), f_.peer_out(), w_, h_, dw, dh); });
    }
    void pools() {
        const size_t n = f_.pixels();
        add(
            "pool/memcpy", n * 8,
            [=, *this] {
                const size_t half = f_.pixels() * 2;
                std::thread other([=, *this] { std::memcpy(f_.out(), f_.source(), half); });
                std::memcpy(f_.out() + half, f_.source() + half, half);
                other.join();
            },
            [=, *this] { std::memcpy(f_.peer_out(), f_.source(), f_.pixels() * 4); });
        // The price of two threads' work that is none, against that of a thread.
        add(
            "pool/start", 4096,
            [] {
                vorel::TaskGroup group(vorel::kFrameThreads);
                for (int i = 0; i < 2; ++i) group.add([](void *nothing) { return nothing; }, nullptr);
            },
            [] { std::thread([] {}).join(); });
        pool_converter("pool/nv21-rgba", n * 11 / 2, _nv21_to_rgba8888_tps, _nv21_to_rgba8888_sg);
        pool_converter("pool/i420-bgra", n * 11 / 2, _yuv420_to_bgra8888_tps, _yuv420_to_bgra8888_sg);
        pool_converter("pool/rgba-nv12", n * 11 / 2, _rgba8888_to_nv12_tps, _rgba8888_to_nv12_sg);
        pool_converter("pool/i420-nv12", n * 3, _yuv420_to_nv12_tps, _yuv420_to_nv12_sg);
        pool_converter("pool/swap-pairs", n, _yuv_nv_reverse_tps, _yuv_nv_reverse_sg);
        pool_rotation("pool/rotate-i420-90", COLOR_YUV420, n * 3 / 2, 90, _vorel_rotate_90);
        pool_rotation("pool/rotate-rgba-90", COLOR_RGBA8888, n * 4, 90, _vorel_rotate_90);
        pool_rotation("pool/rotate-rgba-180", COLOR_RGBA8888, n * 4, 180, _vorel_rotate_180);
        pool_rotation("pool/rotate-nv21-270", COLOR_NV21, n * 3 / 2, 270, _vorel_rotate_270);
        pool_resizer("pool/resize-i420-1-2", n * 15 / 8, w_ / 2, h_ / 2, vorel_resize_yuv420_tps,
                     vorel_resize_yuv420_sg);
        pool_resizer("pool/resize-nv21-1-4", n * 51 / 32, w_ / 4, h_ / 4, vorel_resize_nv21_tps, vorel_resize_nv21_sg);
        pool_resizer("pool/resize-rgba-2-5", n * 4, w_ * 2 / 5, h_ * 2 / 5, vorel_resize_rgba8888_tps,
                     vorel_resize_rgba8888_sg);
    }

  private:
    UtilFrames &f_;
    int w_, h_;
    std::vector<UtilRow> &rows_;
};

}  // namespace

UtilFrames::UtilFrames(int width, int height) : width_(width), height_(height) {
    source_.resize(pixels() * 4);
    uint32_t state = 1;
    // Smooth with a little noise, as pictures are: clamping is neither rare nor the rule.
    for (size_t i = 0; i < source_.size(); ++i) {
        state = state * 1664525 + 1013904223;
        source_[i] = static_cast<uint8_t>(i / 64 + (state >> 28));
    }
    out_ = peer_out_ = source_;
}

std::vector<UtilRow> peer_rows(UtilFrames &frames) {
    std::vector<UtilRow> list;
    Rows rows(frames, list);
    rows.converters();
    rows.rotations();
    rows.resizers();
    return list;
}

std::vector<UtilRow> pool_rows(UtilFrames &frames) {
    std::vector<UtilRow> list;
    Rows(frames, list).pools();
    return list;
}

}  // namespace vorel_bench
