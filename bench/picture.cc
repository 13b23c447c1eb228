// Synthetic pictures that a JPEG coder takes for photographs. A photograph's spectrum falls like 1/f, it has shapes
// with sharp edges, textured and flat parts, and a little noise everywhere; chroma is softer than luma.
#include "picture.h"

#include <stdio.h>
#include <unistd.h>

#include <jpeglib.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>

namespace vorel_bench {
namespace {

// xorshift64*: the same picture on every machine.
class Random {
  public:
    explicit Random(uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15u + 1) {}
    // -1 to 1, evenly.
    float even() {
        state_ ^= state_ >> 12;
        state_ ^= state_ << 25;
        state_ ^= state_ >> 27;
        return static_cast<float>(static_cast<int32_t>((state_ * 0x2545F4914F6CDD1Du) >> 32)) * (1.0f / 2147483648.0f);
    }
    float between(float low, float high) { return low + (high - low) * (even() * 0.5f + 0.5f); }

  private:
    uint64_t state_;
};

struct Plane {
    int width, height;
    std::vector<float> samples;

    Plane(int w, int h) : width(w), height(h), samples(static_cast<size_t>(w) * static_cast<size_t>(h)) {}
    float *row(int y) { return &samples[static_cast<size_t>(y) * static_cast<size_t>(width)]; }
    const float *row(int y) const { return &samples[static_cast<size_t>(y) * static_cast<size_t>(width)]; }
};

// Doubles the plane to the wanted size and adds noise of that amplitude.
Plane refine(const Plane &coarse, int width, int height, float amplitude, Random &random) {
    Plane fine(width, height);
    for (int y = 0; y < height; ++y) {
        const float *a = coarse.row(std::min(y / 2, coarse.height - 1));
        const float *b = coarse.row(std::min(y / 2 + y % 2, coarse.height - 1));
        float *out = fine.row(y);
        for (int x = 0; x < width; ++x) {
            const int left = std::min(x / 2, coarse.width - 1), right = std::min(x / 2 + x % 2, coarse.width - 1);
            out[x] = 0.25f * (a[left] + a[right] + b[left] + b[right]) + amplitude * random.even();
        }
    }
    return fine;
}

// Noise from a few samples up to the full size, each octave `falloff` times the one before; the last `smooth` octaves
// get none.
Plane cloud(int width, int height, float amplitude, float falloff, int smooth, Random &random) {
    int octaves = 0;
    while (std::min(width, height) >> octaves > 3) ++octaves;
    const auto side = [&](int full, int octave) { return (full + (1 << octave) - 1) >> octave; };
    Plane plane(side(width, octaves), side(height, octaves));
    for (float &sample : plane.samples) sample = amplitude * random.even();
    for (int octave = octaves - 1; octave >= 0; --octave) {
        amplitude *= falloff;
        plane = refine(plane, side(width, octave), side(height, octave), octave < smooth ? 0.0f : amplitude, random);
    }
    return plane;
}

struct Scene {
    Plane y, cb, cr;
};

// Ellipses with an offset, a slope across them and a texture of their own, some hardly visible, some stark.
void draw_shapes(Scene &scene, int count, Random &random) {
    const float size = static_cast<float>(std::max(scene.y.width, scene.y.height));
    for (int i = 0; i < count; ++i) {
        const float cx = random.between(0, static_cast<float>(scene.y.width));
        const float cy = random.between(0, static_cast<float>(scene.y.height));
        const float rx = size * random.between(0.01f, 0.15f), ry = size * random.between(0.01f, 0.15f);
        const float step = random.between(-70, 70), slope = random.between(-30, 30) / rx;
        const float texture = i % 3 == 0 ? random.between(2, 14) : 0;
        const float blue = random.between(-18, 18), red = random.between(-18, 18);
        const int top = std::max(0, static_cast<int>(cy - ry));
        const int bottom = std::min(scene.y.height, static_cast<int>(cy + ry) + 1);
        for (int y = top; y < bottom; ++y) {
            const float t = (static_cast<float>(y) - cy) / ry;
            if (t * t >= 1) continue;
            const float half = rx * std::sqrt(1 - t * t);
            const int left = std::max(0, static_cast<int>(cx - half));
            const int right = std::min(scene.y.width, static_cast<int>(cx + half));
            float *luma = scene.y.row(y), *cb = scene.cb.row(y), *cr = scene.cr.row(y);
            for (int x = left; x < right; ++x) {
                luma[x] += step + slope * (static_cast<float>(x) - cx) + texture * random.even();
                cb[x] += blue;
                cr[x] += red;
            }
        }
    }
}

// Interleaved Y, Cb, Cr with a little noise, as from a sensor.
Bytes to_samples(const Scene &scene, Random &random) {
    Bytes bytes;
    bytes.reserve(scene.y.samples.size() * 3);
    const auto put = [&](float value) { bytes.push_back(static_cast<uint8_t>(std::clamp(value, 0.0f, 255.0f))); };
    for (size_t i = 0; i < scene.y.samples.size(); ++i) {
        put(scene.y.samples[i] + 3.0f * random.even());
        put(scene.cb.samples[i] + 1.5f * random.even());
        put(scene.cr.samples[i] + 1.5f * random.even());
    }
    return bytes;
}

struct Size {
    int width, height;
};

// Sides are multiples of 16, so that eighths are whole and every decoder rounds alike.
Size size_of(int megapixels) {
    switch (megapixels) {
        case 1:
            return {1152, 864};
        case 12:
            return {4000, 3008};
        default:
            return {7296, 5472};
    }
}

// The picture of one size, Y, Cb, Cr interleaved; only the last one is kept, since the largest takes 120 MB.
const Bytes &samples_of(int megapixels) {
    static int kept = 0;
    static Bytes samples;
    if (kept == megapixels) return samples;
    const Size size = size_of(megapixels);
    Random random(static_cast<uint64_t>(megapixels));
    samples.clear();
    Scene scene = {cloud(size.width, size.height, 90, 0.62f, 0, random),
                   cloud(size.width, size.height, 30, 0.55f, 2, random),
                   cloud(size.width, size.height, 30, 0.55f, 2, random)};
    for (float &sample : scene.y.samples) sample += 118;
    for (Plane *plane : {&scene.cb, &scene.cr})
        for (float &sample : plane->samples) sample += 128;
    draw_shapes(scene, 150, random);
    samples = to_samples(scene, random);
    kept = megapixels;
    return samples;
}

void set_sampling(jpeg_compress_struct &jpeg, Sampling sampling) {
    for (int i = 0; i < jpeg.num_components; ++i) jpeg.comp_info[i].h_samp_factor = jpeg.comp_info[i].v_samp_factor = 1;
    if (sampling == Sampling::k420 || sampling == Sampling::k422) jpeg.comp_info[0].h_samp_factor = 2;
    if (sampling == Sampling::k420) jpeg.comp_info[0].v_samp_factor = 2;
}

// The samples that a gray picture takes are luma.
Bytes compress(const Row &row) {
    const Size size = size_of(row.megapixels);
    const Bytes &samples = samples_of(row.megapixels);
    Bytes gray(row.sampling == Sampling::kGray ? static_cast<size_t>(size.width) : 0);
    return compressed(row, size.width, size.height, [&](int y) {
        const uint8_t *source = &samples[static_cast<size_t>(y) * static_cast<size_t>(size.width) * 3];
        for (size_t x = 0; x < gray.size(); ++x) gray[x] = source[3 * x];
        return gray.empty() ? source : gray.data();
    });
}

// A folder for the files, removed at the end of the process.
class Folder {
  public:
    Folder() {
        std::string name = (std::filesystem::temp_directory_path() / "vorel_bench.XXXXXX").string();
        if (!mkdtemp(name.data())) throw std::runtime_error("no folder for the pictures");
        path_ = name;
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    std::string file(const std::string &name) const { return (path_ / name).string(); }

  private:
    std::filesystem::path path_;
};

}  // namespace

Bytes compressed(const Row &row, int width, int height, const std::function<const uint8_t *(int)> &samples) {
    const bool gray = row.sampling == Sampling::kGray;
    jpeg_compress_struct jpeg;
    jpeg_error_mgr errors;
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    unsigned char *stream = nullptr;
    unsigned long bytes = 0;
    jpeg_mem_dest(&jpeg, &stream, &bytes);
    jpeg.image_width = static_cast<JDIMENSION>(width);
    jpeg.image_height = static_cast<JDIMENSION>(height);
    jpeg.input_components = gray ? 1 : 3;
    jpeg.in_color_space = gray ? JCS_GRAYSCALE : JCS_YCbCr;
    jpeg_set_defaults(&jpeg);
    jpeg_set_quality(&jpeg, row.quality, TRUE);
    set_sampling(jpeg, row.sampling);
    if (row.restarts) jpeg.restart_in_rows = 1;
    if (row.progressive) jpeg_simple_progression(&jpeg);
    jpeg_start_compress(&jpeg, TRUE);
    for (int y = 0; y < height; ++y) {
        JSAMPROW line = const_cast<JSAMPROW>(samples(y));
        jpeg_write_scanlines(&jpeg, &line, 1);
    }
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);
    Bytes out(stream, stream + bytes);
    std::free(stream);
    return out;
}

Samples samples_for(int megapixels) {
    const Size size = size_of(megapixels);
    return {size.width, size.height, samples_of(megapixels)};
}

const Jpeg &jpeg_for(const Row &row) {
    static const Folder folder;
    static std::map<std::string, Jpeg> kept;
    Row plain = row;
    plain.scale = Scale::kFull;
    plain.format = Format::kRgba;
    plain.source = Source::kMemory;
    const std::string name = name_of(plain);
    const auto found = kept.find(name);
    if (found != kept.end()) return found->second;
    const Size size = size_of(row.megapixels);
    Jpeg jpeg = {size.width, size.height, compress(row), folder.file(std::to_string(kept.size()) + ".jpg")};
    std::ofstream file(jpeg.path, std::ios::binary);
    file.write(reinterpret_cast<const char *>(jpeg.bytes.data()), static_cast<std::streamsize>(jpeg.bytes.size()));
    file.close();
    if (!file) throw std::runtime_error("a picture could not be written to " + jpeg.path);
    return kept.emplace(name, std::move(jpeg)).first->second;
}

}  // namespace vorel_bench
