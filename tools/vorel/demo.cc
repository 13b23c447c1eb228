// vorel demo: a photograph made by code goes through the library and back, and a table says how long it took.
#include <vorel/jpeg_decoder.h>

#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <string>

#include "commands.h"
#include "failure.h"
#include "progress.h"
#include "regions.h"
#include "session.h"
#include "writers.h"

namespace vorel_tool {
namespace {

constexpr int32_t kWidth = 4000, kHeight = 3000;

uint32_t hash(uint32_t x, uint32_t y) {
    uint32_t value = x * 0x9E3779B1u ^ y * 0x85EBCA77u;
    value = (value ^ value >> 15) * 0x2C1B3C6Du;
    return value ^ value >> 13;
}
// From 0 to 1, smooth over `step` pixels.
float smooth_noise(int32_t x, int32_t step, uint32_t seed) {
    const float at = static_cast<float>(x % step) / static_cast<float>(step), weight = at * at * (3 - 2 * at);
    const auto corner = [&](int32_t i) {
        return static_cast<float>(hash(static_cast<uint32_t>(i), seed) & 1023) / 1023;
    };
    return corner(x / step) * (1 - weight) + corner(x / step + 1) * weight;
}

struct Colour {
    float r, g, b;
};
Colour mix(Colour a, Colour b, float share) {
    const auto between = [share](float from, float to) { return from + (to - from) * share; };
    return {between(a.r, b.r), between(a.g, b.g), between(a.b, b.b)};
}

// A sun between clouds over four ranges of hills, the nearest of them wooded, and all of it again in a lake.
class Landscape {
  public:
    Landscape() {
        for (int32_t x = 0; x < kWidth; ++x) {
            for (uint32_t range = 0; range < kRanges; ++range) {
                float ridge = 0, part = 300;
                for (int32_t step = 1024; step >= 8; step /= 2, part *= 0.52f)
                    ridge += part * smooth_noise(x, step, range + 1);
                ridges_[range][x] = 950 + 230 * static_cast<float>(range) - ridge;
            }
        }
    }
    Colour at(int32_t x, int32_t y) const {
        if (y <= kShore) return above(x, static_cast<float>(y), y);
        const float depth = static_cast<float>(y - kShore);
        const float ripple = (smooth_noise(x * 3 + y * 40, 64, static_cast<uint32_t>(y) / 3) - 0.5f) * depth / 12;
        const int32_t mirrored = std::clamp(static_cast<int32_t>(kShore - depth * 1.2f + ripple), 0, kShore);
        const Colour water = {18, 38, 60};
        return mix(above(x, static_cast<float>(mirrored), mirrored), water, 0.25f + depth / 2600);
    }

  private:
    static constexpr uint32_t kRanges = 4;
    static constexpr int32_t kShore = 1750;

    Colour above(int32_t x, float y, int32_t row) const {
        for (uint32_t range = kRanges; range-- > 0;) {
            if (y < ridges_[range][x]) continue;
            const Colour far = {150, 150, 175}, near = {28, 46, 30};
            const float grain =
                static_cast<float>(hash(static_cast<uint32_t>(x) / 3, static_cast<uint32_t>(row) / 3) & 31);
            const float share = static_cast<float>(range) / (kRanges - 1);
            const Colour hill = mix(far, near, share);
            const float light = grain * share - (y - ridges_[range][x]) / 30;
            return {hill.r + light, hill.g + light * 1.3f, hill.b + light * 0.8f};
        }
        const Colour zenith = {58, 105, 182}, horizon = {250, 190, 130}, sun = {255, 244, 214};
        const Colour sky = mix(zenith, horizon, std::min(y / 1300, 1.0f));
        const float distance = std::hypot(static_cast<float>(x) - 2650, y - 560);
        const float cloud =
            0.2f * (smooth_noise(x + 2 * row, 700, 90) + smooth_noise(row + x / 4, 230, 91) * smooth_noise(x, 150, 92));
        return mix(mix(sky, {255, 236, 220}, cloud), sun, distance < 110 ? 1 : std::exp(-distance / 420));
    }

    float ridges_[kRanges][kWidth];
};

Picture photograph() {
    const auto land = std::make_unique<Landscape>();
    Picture picture = make_picture(*find_format("rgba8888"), kWidth, kHeight);
    uint8_t *out = picture.bytes.data();
    for (int32_t y = 0; y < kHeight; ++y) {
        for (int32_t x = 0; x < kWidth; ++x) {
            const Colour colour = land->at(x, y);
            // What a sensor adds.
            const float noise =
                static_cast<float>(hash(static_cast<uint32_t>(x), static_cast<uint32_t>(y)) & 15) - 7.5f;
            for (const float channel : {colour.r, colour.g, colour.b})
                *out++ = static_cast<uint8_t>(std::clamp(channel + noise, 0.0f, 255.0f));
            *out++ = 255;
        }
    }
    return picture;
}

// The best of three.
double ms_of(const std::function<void()> &work) {
    double best = 1e9;
    for (int i = 0; i < 3; ++i) {
        const auto start = std::chrono::steady_clock::now();
        work();
        best =
            std::min(best, std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
    }
    return best;
}

Picture decoded(const std::string &path, int32_t sample) {
    Session session(path, Source::kMemory, COLOR_RGBA8888, 0);
    session.parse();
    Picture picture = make_picture(*find_format("rgba8888"), kWidth / sample, kHeight / sample);
    if (VORELBRIM_PDecodeJPEG(session.get(), picture.bytes.data(), picture.width, picture.height, sample) != 1)
        throw Failure(path + ": cannot be decoded");
    return picture;
}

void print_row(const char *what, double ms, const Picture &picture, const std::string &path) {
    std::printf("  %-34s %8.1f ms   %4d x %-4d  %s\n", what, ms, picture.width, picture.height, path.c_str());
}

int demo(const std::string &folder) {
    if (mkdir(folder.c_str(), 0777) != 0 && errno != EEXIST) throw Failure(folder + ": " + std::strerror(errno));
    const std::string photo = folder + "/photo.jpg", whole = folder + "/whole.png", eighth = folder + "/eighth.png",
                      part = folder + "/part.png";
    catch_signals();
    const Picture picture = photograph();
    std::printf("A photograph of 12 megapixels, made by code:\n\n");

    double ms = ms_of([&] { encode_jpeg(picture, {}, photo); });
    write_picture(picture, photo, cancelled);
    print_row("encoded to JPEG, quality 90", ms, picture, photo);
    Picture out;
    ms = ms_of([&] { out = decoded(photo, 1); });
    write_picture(out, whole, cancelled);
    print_row("decoded whole", ms, out, whole);
    ms = ms_of([&] { out = decoded(photo, 8); });
    write_picture(out, eighth, cancelled);
    print_row("decoded at 1/8 of its size", ms, out, eighth);
    const std::unique_ptr<RegionSource> regions = open_regions(photo);
    ms = ms_of([&] { out = regions->decode({2400, 560, 512, 512}, 1); });
    write_picture(out, part, cancelled);
    print_row("a part of it, of an opened picture", ms, out, part);

    struct stat status = {};
    stat(photo.c_str(), &status);
    std::printf("\nThe JPEG has %.1f MB, the pixels have %.1f MB. Times are the best of three, without files.\n",
                static_cast<double>(status.st_size) / 1e6, static_cast<double>(picture.bytes.size()) / 1e6);
    return kExitOk;
}

}  // namespace

void register_demo(CLI::App &app, Action &action) {
    auto folder = std::make_shared<std::string>();
    CLI::App *command =
        app.add_subcommand("demo", "Makes a photograph, encodes it, decodes it, and says how long it took");
    command->add_option("FOLDER", *folder, "Where the pictures go; is made where it is missing")->required();
    command->callback([folder, &action] { action = [folder] { return demo(*folder); }; });
}

}  // namespace vorel_tool
