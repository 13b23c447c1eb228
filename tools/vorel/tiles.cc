// vorel tiles: a picture in the Deep Zoom layout, for viewers that load what they show.
//
//     DIR/NAME.dzi                            sizes, as XML
//     DIR/NAME_files/LEVEL/COLUMN_ROW.jpg     tiles; level 0 is one pixel, each level is twice the one before
//     DIR/index.html                          a viewer
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "commands.h"
#include "failure.h"
#include "jpeg_coding.h"
#include "output_file.h"
#include "output_folder.h"
#include "progress.h"
#include "pyramid.h"
#include "row_source.h"
#include "tile_writer.h"
#include "tiles_viewer.h"
#include "work_queue.h"

namespace vorel_tool {
namespace {

struct TilesOptions {
    std::string in, out;
    TileGrid grid = {254, 1};
    TileFormat format;
    int32_t threads = static_cast<int32_t>(std::clamp(std::thread::hardware_concurrency(), 1u, 64u));
    bool no_orient = false;
};

std::string stem_of(const std::string &path) { return std::filesystem::path(path).stem().string(); }

void write_text(const std::string &path, const std::string &text) {
    OutputFile file(path);
    file.write(text.data(), text.size());
    file.commit();
}

std::string description(const TilesOptions &options, const PyramidLevel &whole) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<Image xmlns=\"http://schemas.microsoft.com/deepzoom/2008\" TileSize=\"" +
           std::to_string(options.grid.side) + "\" Overlap=\"" + std::to_string(options.grid.overlap) + "\" Format=\"" +
           options.format.name + "\">\n  <Size Width=\"" + std::to_string(whole.width) + "\" Height=\"" +
           std::to_string(whole.height) + "\"/>\n</Image>\n";
}

// RFC 3986, 2.1. What is left can stand in a script too.
std::string percent_encoded(const std::string &bytes) {
    std::string out;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        const bool plain = (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
                           (byte >= 'a' && byte <= 'z') || byte == '-' || byte == '_' || byte == '.';
        char text[4];
        std::snprintf(text, sizeof text, plain ? "%c" : "%%%02X", plain ? byte : value);
        out += text;
    }
    return out;
}

// The viewer with the picture's numbers: a page that is opened from disk may not read the .dzi beside it.
std::string viewer_page(const TilesOptions &options, const PyramidLevel &whole) {
    constexpr std::string_view kPlace = "{/* picture */}";
    const nlohmann::ordered_json picture = {{"tiles", percent_encoded(stem_of(options.in)) + "_files"},
                                            {"format", options.format.name},
                                            {"width", whole.width},
                                            {"height", whole.height},
                                            {"tile", options.grid.side},
                                            {"overlap", options.grid.overlap}};
    std::string page = kTilesViewer;
    return page.replace(page.find(kPlace), kPlace.size(), picture.dump());
}

int64_t make_tiles(const TilesOptions &options, RowSource &source, const std::vector<PyramidLevel> &levels,
                   OutputFolder &folder) {
    const std::string files = stem_of(options.in) + "_files/";
    folder.add_folder(files);
    int64_t all = 0;
    for (const PyramidLevel &level : levels) {
        folder.add_folder(files + std::to_string(level.number));
        all += int64_t{level.columns} * level.rows;
    }
    const auto name_of = [&](const PyramidLevel &level, int32_t column, int32_t row) {
        return folder.file(files + std::to_string(level.number) + "/" + std::to_string(column) + "_" +
                           std::to_string(row) + "." + options.format.name);
    };
    TileWriter writer(options.grid, options.format, name_of);
    WorkQueue queue(options.threads);
    Pyramid pyramid(levels, options.grid, TileWriter::strip_rows(options.grid, options.format),
                    [&](const Strip &strip) { writer.add(strip, &queue); });
    // Enough for the other threads while this one decodes a strip, and no more: what waits is in memory.
    const auto waiting = static_cast<size_t>(std::max(2 * levels.front().columns, 4 * options.threads));
    ProgressBar bar(options.in);
    for (int32_t y = 0; y < source.height();) {
        bar.draw(writer.tiles_done(), all);
        if (cancelled()) throw Failure(options.in + ": cancelled");
        int32_t rows;
        uint8_t *place = pyramid.place(&rows);
        source.read(place, rows);
        pyramid.filled(rows);
        y += rows;
        queue.work_until(waiting);
    }
    for (size_t left = waiting; left-- > 0;) {
        queue.work_until(left);
        bar.draw(writer.tiles_done(), all);
        if (cancelled()) throw Failure(options.in + ": cancelled");
    }
    return all;
}

int tiles(TilesOptions options) {
    if (options.grid.overlap >= options.grid.side) throw BadUsage("--overlap: has to be less than --tile");
    catch_signals();
    const std::unique_ptr<RowSource> source = open_rows(options.in, !options.no_orient);
    options.format.gray = source->gray();
    options.format.profile = colour_profile(options.in, source->gray());
    OutputFolder folder(options.out);
    const std::vector<PyramidLevel> levels = pyramid_levels(source->width(), source->height(), options.grid);
    const int64_t count = make_tiles(options, *source, levels, folder);
    write_text(folder.file(stem_of(options.in) + ".dzi"), description(options, levels.front()));
    write_text(folder.file("index.html"), viewer_page(options, levels.front()));
    if (cancelled()) throw Failure(options.in + ": cancelled");
    folder.commit();
    std::printf("%s: %d x %d, %zu level%s, %lld tile%s\n", options.out.c_str(), source->width(), source->height(),
                levels.size(), levels.size() == 1 ? "" : "s", static_cast<long long>(count), count == 1 ? "" : "s");
    return kExitOk;
}

}  // namespace

void register_tiles(CLI::App &app, Action &action) {
    auto options = std::make_shared<TilesOptions>();
    CLI::App *command = app.add_subcommand(
        "tiles",
        "Cuts a picture into tiles of all sizes in the Deep Zoom layout, with a page that shows them. JPEG, and PNG "
        "that is not interlaced, take the memory of some rows; other pictures are decoded whole first.");
    command->add_option("IN", options->in, "The picture: JPEG, PNG, GIF, BMP, WBMP or DNG")->required();
    command->add_option("DIR", options->out, "A folder that is not there yet, or empty")->required();
    command->add_option("--tile", options->grid.side, "Side of a tile in pixels, without what overlaps")
        ->check(CLI::Range(16, 8192))
        ->capture_default_str();
    command->add_option("--overlap", options->grid.overlap, "Pixels by which a tile reaches over into its neighbours")
        ->check(CLI::Range(0, 8191))
        ->capture_default_str();
    command->add_option("--tile-format", options->format.name, "What the tiles are")
        ->check(CLI::IsMember({"jpg", "png"}))
        ->capture_default_str();
    command->add_option("--quality", options->format.quality, "Of jpg tiles: 1 to 100")
        ->check(CLI::Range(1, 100))
        ->capture_default_str();
    command->add_option("--threads", options->threads, "How many work on it")
        ->check(CLI::Range(1, 64))
        ->default_str("one a processor");
    command->add_flag("--no-orient", options->no_orient, "Leaves the picture as it is stored");
    command->callback([options, &action] { action = [options] { return tiles(*options); }; });
}

}  // namespace vorel_tool
