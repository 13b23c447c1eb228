// GIF rows: files of several kinds, made here and written by giflib; our decoder; giflib and a plain composition.
#include "gif_rows.h"

#include <gif_lib.h>
#include <vorel/raster.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>

namespace vorel_bench {
namespace {

using Bytes = std::vector<uint8_t>;

[[noreturn]] void give_up(const std::string &what) {
    std::fprintf(stderr, "vorel_raster_bench: %s\n", what.c_str());
    std::exit(1);
}

// ---- files ---------------------------------------------------------------------------------------------------------

struct Frame {
    int left, top, width, height;
    int disposal = 0, transparent = NO_TRANSPARENT_COLOR;
    Bytes indices;
};

struct Animation {
    int width, height;
    std::vector<Frame> frames;
};

// 6 x 6 x 6 steps of colour and grays.
std::vector<GifColorType> web_colours() {
    std::vector<GifColorType> colours(256);
    for (int i = 0; i < 256; ++i) {
        const auto gray = static_cast<uint8_t>((i - 216) * 6);
        colours[static_cast<size_t>(i)] = {gray, gray, gray};
        if (i < 216)
            colours[static_cast<size_t>(i)] = {static_cast<uint8_t>(i / 36 * 51), static_cast<uint8_t>(i / 6 % 6 * 51),
                                               static_cast<uint8_t>(i % 6 * 51)};
    }
    return colours;
}

int append(GifFileType *gif, const GifByteType *bytes, int count) {
    auto *out = static_cast<Bytes *>(gif->UserData);
    out->insert(out->end(), bytes, bytes + count);
    return count;
}

Bytes encode(const Animation &animation) {
    Bytes out;
    int error;
    GifFileType *gif = EGifOpen(&out, append, &error);
    const std::vector<GifColorType> colours = web_colours();
    ColorMapObject *map = GifMakeMapObject(256, colours.data());
    if (!gif || !map) give_up("giflib makes no file");
    EGifSetGifVersion(gif, true);
    EGifPutScreenDesc(gif, animation.width, animation.height, 8, 0, map);
    for (const Frame &frame : animation.frames) {
        GraphicsControlBlock control = {frame.disposal, false, 4, frame.transparent};
        GifByteType block[4];
        EGifGCBToExtension(&control, block);
        EGifPutExtension(gif, GRAPHICS_EXT_FUNC_CODE, sizeof block, block);
        EGifPutImageDesc(gif, frame.left, frame.top, frame.width, frame.height, false, nullptr);
        Bytes indices = frame.indices;
        if (EGifPutLine(gif, indices.data(), static_cast<int>(indices.size())) == GIF_ERROR) give_up("EGifPutLine");
    }
    GifFreeMapObject(map);
    EGifCloseFile(gif, &error);
    return out;
}

template <typename IndexAt>
Frame draw(int left, int top, int width, int height, const IndexAt &index_at) {
    Frame frame = {left, top, width, height, 0, NO_TRANSPARENT_COLOR, {}};
    for (int y = top; y < top + height; ++y)
        for (int x = left; x < left + width; ++x) frame.indices.push_back(static_cast<uint8_t>(index_at(x, y)));
    return frame;
}

int web_index(int r, int g, int b) { return std::clamp(r, 0, 5) * 36 + std::clamp(g, 0, 5) * 6 + std::clamp(b, 0, 5); }

// Smooth colours, dithered by noise, that move.
Frame photo(int width, int height, int at, std::mt19937 &random) {
    return draw(0, 0, width, height, [&](int x, int y) {
        const auto level = [&](int value) {
            value = std::abs(value % 512 - 256);
            return (value * 5 + static_cast<int>(random() & 255)) >> 8;
        };
        return web_index(level(x + 7 * at), level(x / 2 + y - 5 * at), level(2 * y + 3 * at));
    });
}

// Flat boxes with lines of text that scroll.
Frame screen_shot(int width, int height, int at) {
    return draw(0, 0, width, height, [&](int x, int y) {
        if (y < 24) return web_index(0, 1, 3);
        if (x < 90) return (y / 20 + at) % 9 == 0 ? web_index(1, 3, 5) : web_index(4, 4, 4);
        const int line = y + 3 * at, column = x - 100;
        const bool ink = line % 14 < 8 && (column * 2654435761u ^ static_cast<unsigned>(line / 14 * 40503)) % 97 < 30 &&
                         (column / 3 + line) % 3 == 0;
        return ink ? web_index(0, 0, 0) : web_index(5, 5, 5);
    });
}

// A sprite over a photo: what does not change is transparent.
Frame sprite(int width, int height, int at, bool whole) {
    constexpr int kHole = 255;
    const int cx = 40 + 18 * at, cy = height / 2, radius = 60;
    const auto index_at = [&](int x, int y) {
        const int dx = x - cx, dy = y - cy, square = dx * dx + dy * dy;
        return square > radius * radius ? kHole : web_index(5 - square / 900, (x ^ y) & 4 ? 2 : 3, 1);
    };
    const int left = std::max(cx - radius, 0), right = std::min(cx + radius, width);
    Frame frame =
        whole ? draw(0, 0, width, height, index_at) : draw(left, cy - radius, right - left, 2 * radius, index_at);
    frame.transparent = kHole;
    return frame;
}

Animation make(const std::string &kind, int width, int height, int frames) {
    std::mt19937 random(1);
    Animation animation = {width, height, {}};
    for (int i = 0; i < frames; ++i) {
        if (kind == "screen") {
            animation.frames.push_back(screen_shot(width, height, i));
        } else if (kind == "photo" || i == 0) {
            animation.frames.push_back(photo(width, height, i, random));
        } else {
            animation.frames.push_back(sprite(width, height, i, kind != "sprite"));
            if (kind == "sprite-background") animation.frames.back().disposal = DISPOSE_BACKGROUND;
        }
    }
    return animation;
}

// ---- the two decoders ----------------------------------------------------------------------------------------------

// What is done with a composed picture.
using Sink = std::function<void(const Bytes &pixels)>;

void decode_ours(Bytes &file, Bytes &out, int width, int height, bool still, const Sink &sink) {
    DecInfo *session = VORELBRIM_CreateDecInfo(1, file.data(), static_cast<int32_t>(file.size()), COLOR_RGBA8888, 0);
    int32_t result = 1;
    if (still) {
        if (VORELBRIMI_DecodeGIF(session, out.data(), width, height) != 1) give_up("ours fails");
        sink(out);
        result = 3;
    }
    while (result == 1) {
        result = VORELBRIMI_DecodeAGIF(session, out.data(), width, height);
        sink(out);
    }
    if (result != 3) give_up("ours fails");
    VORELBRIMI_DeleteGIFInfo(session);
    VORELBRIM_DestroyDecInfo(session);
}

struct Reader {
    const Bytes &bytes;
    size_t at;
};

int read(GifFileType *gif, GifByteType *out, int count) {
    auto *reader = static_cast<Reader *>(gif->UserData);
    const size_t taken = std::min(static_cast<size_t>(count), reader->bytes.size() - reader->at);
    std::memcpy(out, &reader->bytes[reader->at], taken);
    reader->at += taken;
    return static_cast<int>(taken);
}

constexpr uint32_t kHoleWord = 0xFFFFFFFF, kGoneWord = 0x00FFFFFF;

// One frame of giflib's onto the canvas and into the output.
class PlainComposition {
  public:
    PlainComposition(int width, int height)
        : width_(static_cast<size_t>(width)), height_(static_cast<size_t>(height)) {}

    void compose(const GifFileType *gif, const GraphicsControlBlock &control, const Bytes &indices, uint32_t *out) {
        const GifImageDesc &image = gif->Image;
        const ColorMapObject *map = image.ColorMap ? image.ColorMap : gif->SColorMap;
        uint32_t words[256] = {};
        for (int i = 0; i < map->ColorCount; ++i)
            words[i] = 0xFF000000 | static_cast<uint32_t>(map->Colors[i].Blue) << 16 |
                       static_cast<uint32_t>(map->Colors[i].Green) << 8 | (map->Colors[i].Red & 254u);
        const bool holes = control.TransparentColor != NO_TRANSPARENT_COLOR;
        if (canvas_.empty()) canvas_.assign(width_ * height_, holes ? kHoleWord : kGoneWord);
        const auto each = [&](const auto &work) {
            const uint8_t *index = indices.data();
            for (size_t y = static_cast<size_t>(image.Top); y < static_cast<size_t>(image.Top + image.Height); ++y) {
                uint32_t *row = canvas_.data() + y * width_ + image.Left;
                for (int x = 0; x < image.Width; ++x) work(row[x], *index++);
            }
        };
        if (control.DisposalMode == DISPOSE_BACKGROUND) {
            const std::vector<uint32_t> before = canvas_;
            lay(each, words, control.TransparentColor);
            deliver(out);
            canvas_ = before;
            each([&](uint32_t &pixel, uint8_t) { pixel = holes ? kHoleWord : kGoneWord; });
            return;
        }
        lay(each, words, control.TransparentColor);
        deliver(out);
    }

  private:
    template <typename Each>
    void lay(const Each &each, const uint32_t *words, int transparent) {
        if (transparent == NO_TRANSPARENT_COLOR) {
            each([&](uint32_t &pixel, uint8_t index) { pixel = words[index]; });
        } else {
            each([&](uint32_t &pixel, uint8_t index) {
                if (index != transparent) pixel = words[index];
            });
        }
    }
    void deliver(uint32_t *out) const {
        for (size_t i = 0; i < canvas_.size(); ++i) out[i] = canvas_[i] == kHoleWord ? 0 : canvas_[i];
    }

    size_t width_, height_;
    std::vector<uint32_t> canvas_;
};

void decode_peer(const Bytes &file, Bytes &out, Bytes &indices, bool still, const Sink &sink) {
    Reader reader = {file, 0};
    int error;
    GifFileType *gif = DGifOpen(&reader, read, &error);
    if (!gif) give_up("giflib fails");
    PlainComposition composition(gif->SWidth, gif->SHeight);
    GraphicsControlBlock control = {0, false, 0, NO_TRANSPARENT_COLOR};
    bool more = true;
    while (more) {
        GifRecordType type;
        if (DGifGetRecordType(gif, &type) == GIF_ERROR) give_up("giflib fails");
        if (type == IMAGE_DESC_RECORD_TYPE) {
            if (DGifGetImageDesc(gif) == GIF_ERROR) give_up("giflib fails");
            indices.resize(static_cast<size_t>(gif->Image.Width) * static_cast<size_t>(gif->Image.Height));
            if (DGifGetLine(gif, indices.data(), static_cast<int>(indices.size())) == GIF_ERROR)
                give_up("giflib fails");
            composition.compose(gif, control, indices, reinterpret_cast<uint32_t *>(out.data()));
            sink(out);
            more = !still;
        } else if (type == EXTENSION_RECORD_TYPE) {
            int code;
            GifByteType *block;
            if (DGifGetExtension(gif, &code, &block) == GIF_ERROR) give_up("giflib fails");
            if (code == GRAPHICS_EXT_FUNC_CODE && block) DGifExtensionToGCB(block[0], block + 1, &control);
            while (block)
                if (DGifGetExtensionNext(gif, &block) == GIF_ERROR) give_up("giflib fails");
        } else {
            more = false;
        }
    }
    DGifCloseFile(gif, &error);
}

void check_equal(Bytes &file, const std::string &name, int width, int height, bool still) {
    std::vector<Bytes> ours, peer;
    Bytes out(static_cast<size_t>(width) * static_cast<size_t>(height) * 4), indices;
    decode_ours(file, out, width, height, still, [&](const Bytes &pixels) { ours.push_back(pixels); });
    decode_peer(file, out, indices, still, [&](const Bytes &pixels) { peer.push_back(pixels); });
    if (ours != peer) give_up(name + ": the outputs differ");
}

}  // namespace

void gif_rows(const Filter &filter, Table &table) {
    const struct {
        const char *kind;
        int width, height, frames;
    } cases[] = {
        {"photo", 480, 320, 20},
        {"screen", 480, 320, 20},
        {"sprite", 480, 320, 20},
        {"sprite-screen", 480, 320, 20},
        {"sprite-background", 480, 320, 20},
        {"photo", 1600, 1200, 1},
        {"screen", 1600, 1200, 1},
    };
    for (const auto &c : cases) {
        const bool still = c.frames == 1;
        const std::string name = std::string(still ? "gif/still/" : "gif/animation/") + c.kind + "/" +
                                 std::to_string(c.width) + "x" + std::to_string(c.height);
        if (!filter.wants(name)) continue;
        Bytes file = encode(make(c.kind, c.width, c.height, c.frames));
        check_equal(file, name, c.width, c.height, still);
        const size_t pixels = static_cast<size_t>(c.width) * static_cast<size_t>(c.height);
        Bytes out(pixels * 4), indices, copy(out.size());
        const Sink nothing = [](const Bytes &) {};
        Turns turns = measure_in_turns([&] { decode_ours(file, out, c.width, c.height, still, nothing); },
                                       [&] { decode_peer(file, out, indices, still, nothing); },
                                       [&] { std::memcpy(copy.data(), out.data(), copy.size()); }, false);
        // A frame's pixels are copied in one go; what the file has beside them hardly counts.
        table.emit(line_of(name, &turns, turns.third.median() * c.frames / 2));
    }
}

}  // namespace vorel_bench
