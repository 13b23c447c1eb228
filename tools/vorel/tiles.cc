// vorel tiles: a picture as a pyramid of PNG tiles for viewers that load what they show.
//
//     DIR/pyramid.json            what there is
//     DIR/SAMPLE/COLUMN_ROW.png   tiles of the picture at 1/1, 1/2, 1/4, ... until one tile holds it
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "commands.h"
#include "output_file.h"
#include "output_folder.h"
#include "progress.h"
#include "regions.h"
#include "writers.h"

namespace vorel_tool {
namespace {

struct TilesOptions {
    std::string in, out;
    int32_t tile = 512;
};

struct Level {
    int32_t sample;
    int32_t width, height;  // pixels
    int32_t columns, rows;  // tiles
};

std::vector<Level> levels_of(int32_t width, int32_t height, int32_t tile) {
    std::vector<Level> levels;
    for (int32_t sample = 1;; sample *= 2) {
        const Level level = {sample, width / sample, height / sample, (width / sample + tile - 1) / tile,
                             (height / sample + tile - 1) / tile};
        if (level.width == 0 || level.height == 0) return levels;
        levels.push_back(level);
        if (level.columns == 1 && level.rows == 1) return levels;
    }
}

Picture cut(const Picture &band, int32_t left, int32_t width) {
    Picture tile = make_picture(*band.format, width, band.height);
    const size_t pixel = band.format->pixel_bytes;
    for (int32_t y = 0; y < band.height; ++y) {
        const size_t from = static_cast<size_t>(y) * static_cast<size_t>(band.width) + static_cast<size_t>(left);
        const size_t row = static_cast<size_t>(width) * pixel;
        std::memcpy(tile.bytes.data() + static_cast<size_t>(y) * row, band.bytes.data() + from * pixel, row);
    }
    return tile;
}

class PyramidWriter {
  public:
    PyramidWriter(const TilesOptions &options, RegionSource &source, OutputFolder &folder, ProgressBar &bar)
        : options_(options), source_(source), folder_(folder), bar_(bar) {}

    void write(const std::vector<Level> &levels) {
        for (const Level &level : levels) all_ += int64_t{level.columns} * level.rows;
        for (const Level &level : levels) {
            folder_.add_folder(std::to_string(level.sample));
            if (source_.serves_threads()) {
                write_level(level);
            } else {
                for (int32_t row = 0; row < level.rows; ++row) write_row(level, row);
            }
        }
    }

  private:
    // The tiles of a level, by as many threads as there are processors. The first failure ends them all.
    void write_level(const Level &level) {
        std::atomic<int32_t> next{0};
        std::exception_ptr failure;
        std::mutex mutex;
        const auto work = [&] {
            try {
                for (int32_t i; (i = next++) < level.columns * level.rows;) {
                    if (cancelled()) throw Failure(options_.in + ": cancelled");
                    write_tile(level, i % level.columns, i / level.columns);
                    const std::lock_guard<std::mutex> lock(mutex);
                    bar_.draw(++done_, all_);
                }
            } catch (...) {
                next = level.columns * level.rows;
                const std::lock_guard<std::mutex> lock(mutex);
                if (!failure) failure = std::current_exception();
            }
        };
        std::vector<std::thread> threads;
        const auto most = static_cast<int32_t>(std::clamp(std::thread::hardware_concurrency(), 1u, 8u));
        for (int32_t i = 1; i < std::min(most, level.columns * level.rows); ++i) threads.emplace_back(work);
        work();
        for (std::thread &thread : threads) thread.join();
        if (failure) std::rethrow_exception(failure);
    }

    void write_tile(const Level &level, int32_t column, int32_t row) {
        const int32_t tile = options_.tile, x = column * tile, y = row * tile;
        const Rect rect = {x * level.sample, y * level.sample, std::min(tile, level.width - x) * level.sample,
                           std::min(tile, level.height - y) * level.sample};
        write_picture(source_.decode(rect, level.sample), name_of(level, column, row), cancelled);
    }

    std::string name_of(const Level &level, int32_t column, int32_t row) const {
        return folder_.file(std::to_string(level.sample) + "/" + std::to_string(column) + "_" + std::to_string(row) +
                            ".png");
    }

    // Tiles side by side are decoded together, as far as they take little memory: a region costs its rows' whole width.
    void write_row(const Level &level, int32_t row) {
        constexpr int64_t kBandBytes = 64 << 20;
        const int32_t tile = options_.tile;
        const auto most = static_cast<int32_t>(std::clamp<int64_t>(kBandBytes / 4 / tile / tile, 1, level.columns));
        for (int32_t column = 0; column < level.columns; column += most) {
            const int32_t x = column * tile, y = row * tile;
            const int32_t width = static_cast<int32_t>(std::min<int64_t>(int64_t{most} * tile, level.width - x));
            const int32_t height = std::min(tile, level.height - y);
            const Picture band = source_.decode(
                {x * level.sample, y * level.sample, width * level.sample, height * level.sample}, level.sample);
            for (int32_t left = 0; left < width; left += tile) {
                write_picture(cut(band, left, std::min(tile, width - left)), name_of(level, (x + left) / tile, row),
                              cancelled);
                bar_.draw(++done_, all_);
            }
        }
    }

    const TilesOptions &options_;
    RegionSource &source_;
    OutputFolder &folder_;
    ProgressBar &bar_;
    int64_t done_ = 0, all_ = 0;
};

void write_description(const TilesOptions &options, const RegionSource &source, const std::vector<Level> &levels,
                       const std::string &path) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const Level &level : levels) {
        list.push_back({{"sample", level.sample},
                        {"width", level.width},
                        {"height", level.height},
                        {"columns", level.columns},
                        {"rows", level.rows}});
    }
    const nlohmann::ordered_json description = {{"width", source.width()},
                                                {"height", source.height()},
                                                {"tile", options.tile},
                                                {"path", "{sample}/{column}_{row}.png"},
                                                {"levels", list}};
    const std::string text = description.dump(2) + "\n";
    OutputFile file(path);
    file.write(text.data(), text.size());
    file.commit();
}

int tiles(const TilesOptions &options) {
    catch_signals();
    const std::unique_ptr<RegionSource> opened = open_regions(options.in);
    RegionSource &source = *opened;
    OutputFolder folder(options.out);
    const std::vector<Level> levels = levels_of(source.width(), source.height(), options.tile);
    {
        ProgressBar bar(options.in);
        bar.draw(0, 1);
        try {
            PyramidWriter(options, source, folder, bar).write(levels);
        } catch (const Failure &) {
            if (cancelled()) throw Failure(options.in + ": cancelled");
            throw;
        }
    }
    write_description(options, source, levels, folder.file("pyramid.json"));
    folder.commit();
    std::printf("%s: %d x %d, %zu level%s of tiles of %d\n", options.out.c_str(), source.width(), source.height(),
                levels.size(), levels.size() == 1 ? "" : "s", options.tile);
    return kExitOk;
}

}  // namespace

void register_tiles(CLI::App &app, Action &action) {
    auto options = std::make_shared<TilesOptions>();
    CLI::App *command = app.add_subcommand("tiles", "Cuts a JPEG or PNG into a pyramid of PNG tiles");
    command->add_option("IN", options->in, "The picture")->required();
    command->add_option("DIR", options->out, "A folder that is not there yet, or empty")->required();
    command->add_option("--tile", options->tile, "Side of a tile in pixels")
        ->check(CLI::Range(16, 8192))
        ->capture_default_str();
    command->callback([options, &action] { action = [options] { return tiles(*options); }; });
}

}  // namespace vorel_tool
