// Pictures to JPEG streams: baseline ones in strips on several threads, progressive ones pass by pass.
#include "jpeg_writer.h"

#include <vorel/jpeg_encoder.h>
#include <vorel/jpeg_encoder_progressive.h>
#include <vorel/util.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <memory>
#include <system_error>
#include <thread>
#include <utility>

#include "failure.h"
#include "progress.h"

namespace vorel_tool {
namespace {

constexpr int32_t kMostSide = 49999;
constexpr int32_t kStripRows = 128;     // a multiple of every MCU's height
constexpr size_t kMostSegment = 65535;  // its length counts itself

// Memory that a stream grows in.
struct Stream {
    explicit Stream(uint32_t capacity)
        : bytes(static_cast<uint8_t *>(VORELBRIM_OsMalloc(static_cast<int32_t>(capacity)))), size(capacity) {
        if (!bytes) throw std::bad_alloc();
    }
    Stream(Stream &&other) noexcept : bytes(std::exchange(other.bytes, nullptr)), size(other.size) {}
    ~Stream() { VORELBRIM_OsFree(bytes); }

    uint8_t *bytes;
    uint32_t size;
};

uint32_t first_capacity(const RawInfo &raw) { return 4096 + raw.width * static_cast<uint32_t>(raw.height) / 8; }

bool is_read(int32_t format) {
    return format != COLOR_ARGB8888 && format != COLOR_BGR565A && format != COLOR_RGB565_ALT;
}

// The encoder takes each Cb of NV12 from the pair behind, so such a frame goes in as NV21.
Picture to_nv21(const Picture &picture) {
    Picture out = picture;
    out.format = find_format("nv21");
    yuv_nv_reverse(picture.width, picture.height, picture.bytes.data(), out.bytes.data());
    return out;
}

RawInfo record_of(const Picture &picture) {
    RawInfo raw = {};
    raw.width = static_cast<uint32_t>(picture.width);
    raw.height = picture.height;
    raw.pixels = const_cast<uint8_t *>(picture.bytes.data());
    raw.format = raw.formatTag = static_cast<uint32_t>(picture.format->code);
    raw.fullHeight = static_cast<uint32_t>(picture.height);
    return raw;
}

// Strip i of a picture. The encoder finds a strip's rows in planes, but wants the first of packed pixels.
RawInfo strip_of(const Picture &picture, int32_t i) {
    RawInfo raw = record_of(picture);
    const int32_t first = i * kStripRows;
    raw.stripMode = 1;
    raw.notFirstStrip = i > 0;
    raw.height = std::min(kStripRows, picture.height - first);
    raw.notLastStrip = first + raw.height < picture.height;
    raw.stripStartRow = static_cast<uint32_t>(first);
    const size_t pixel_bytes = picture.format->layout == Layout::kGray ? 1 : picture.format->pixel_bytes;
    raw.pixels += static_cast<size_t>(first) * static_cast<size_t>(picture.width) * pixel_bytes;
    return raw;
}

// Makes strips until none is left; several threads may. False: one failed, or a signal came.
class StripMaker {
  public:
    StripMaker(const Picture &picture, const HuffmanSpec &spec)
        : picture_(picture), spec_(spec), count_((picture.height + kStripRows - 1) / kStripRows) {
        for (int32_t i = 0; i < count_; ++i) streams_.emplace_back(first_capacity(strip_of(picture, i)));
    }
    int32_t count() const { return count_; }
    const std::vector<Stream> &streams() const { return streams_; }

    void work(ProgressBar *bar) {
        HuffmanSpec spec = spec_;
        for (int32_t i; !failed_ && (i = next_++) < count_;) {
            RawInfo raw = strip_of(picture_, i);
            Stream &stream = streams_[static_cast<size_t>(i)];
            if (cancelled() || rim_enc_jpeg_to_buffer_ex(&raw, &stream.bytes, &stream.size, &spec) != 1) failed_ = true;
            ++done_;
            if (bar) bar->draw(done_, count_);
        }
    }
    bool run(const std::string &title) {
        std::vector<std::thread> threads;
        const int32_t helpers = std::min(count_, static_cast<int32_t>(std::thread::hardware_concurrency())) - 1;
        try {
            for (int32_t i = 0; i < helpers; ++i) threads.emplace_back([this] { work(nullptr); });
        } catch (const std::system_error &) {
            // Fewer threads do.
        }
        ProgressBar bar(title);
        work(&bar);
        for (std::thread &thread : threads) thread.join();
        return !failed_;
    }

  private:
    const Picture &picture_;
    const HuffmanSpec spec_;
    const int32_t count_;
    std::vector<Stream> streams_;
    std::atomic<int32_t> next_{0}, done_{0};
    std::atomic<bool> failed_{false};
};

std::vector<uint8_t> encode_baseline(const Picture &picture, HuffmanSpec spec, bool optimize, const std::string &path) {
    RawInfo whole = record_of(picture);
    // The threads' one does not measure all layouts.
    if (optimize && (rim_multi_scanning_huffman(&whole, static_cast<int32_t>(spec.quality), &spec) ||
                     rim_get_scanning_huffman(&whole, static_cast<int32_t>(spec.quality), &spec)))
        spec.valid = 1;
    StripMaker strips(picture, spec);
    if (!strips.run(path)) return {};
    std::vector<uint8_t> out;
    for (const Stream &stream : strips.streams()) out.insert(out.end(), stream.bytes, stream.bytes + stream.size);
    return out;
}

// All passes over the session's picture. False: something failed, or a signal came.
bool run_passes(JEInfo *session, ProgressBar *bar) {
    while (session->nextRow < session->height) {
        if (cancelled() || !__rim_jpeg_enc_process_image_data(session)) return false;
    }
    if (!vjpeg_init_c_master_control(session)) return false;
    for (;;) {
        vjpeg_finish_pass_master(session);
        if (session->master->isLastPass) return true;
        if (!vjpeg_prepare_for_pass(session)) return false;
        bar->draw(session->master->passNumber, session->master->totalPasses);
        for (uint32_t row = 0; row < session->mcuRowTotal; ++row)
            if (cancelled() || !__rim_jpeg_enc_compress_output(session)) return false;
    }
}

std::vector<uint8_t> encode_progressive(const Picture &picture, HuffmanSpec spec, const std::string &path) {
    constexpr uint32_t kToMemory = 1;
    RawInfo raw = record_of(picture);
    raw.progressive = 1;
    Stream stream(first_capacity(raw));
    RimEncSink output = {};
    output.mode = kToMemory;
    output.buffer = stream.bytes;
    output.capacity = stream.size;
    JEInfo *session = __rim_jpeg_enc_initiaize(&raw, &output, &spec, nullptr);
    if (!session) return {};
    ProgressBar bar(path);
    __rim_jpeg_enc_write_app0_marker(session);
    const bool good = run_passes(session, &bar) && __rim_jpeg_enc_make_end_mark(session) == 1;
    stream.bytes = session->sink->buffer;
    std::vector<uint8_t> out = {0xFF, 0xD8};
    if (good) out.insert(out.end(), stream.bytes, stream.bytes + session->sink->total);
    vjpeg_enc_release_prog_info(session);
    __rim_jpeg_enc_release_mem(session);
    VORELBRIM_OsFree(session);
    return good ? out : std::vector<uint8_t>();
}

}  // namespace

void add_jpeg_options(CLI::App *command, JpegOptions *options) {
    command->add_option("--quality", options->quality, "Of a .jpg: 1 to 100")
        ->check(CLI::Range(1, 100))
        ->capture_default_str();
    command->add_flag("--progressive", options->progressive, "A .jpg that shows the whole picture early");
    command->add_flag("--optimize", options->optimize, "A smaller .jpg: its code tables are made for the picture");
}

std::vector<uint8_t> encode_jpeg(const Picture &picture, const JpegOptions &options, const std::string &path) {
    if (!is_read(picture.format->code)) return encode_jpeg(to_rgb888(picture), options, path);
    if (picture.format->code == COLOR_NV12) return encode_jpeg(to_nv21(picture), options, path);
    if (picture.width > kMostSide || picture.height > kMostSide)
        throw Failure(path + ": a JPEG has no more than 49999 pixels either way");
    HuffmanSpec spec = {};
    spec.quality = static_cast<uint32_t>(options.quality);
    std::vector<uint8_t> out = options.progressive ? encode_progressive(picture, spec, path)
                                                   : encode_baseline(picture, spec, options.optimize, path);
    if (cancelled()) throw Failure(path + ": cancelled, not written");
    if (out.empty()) throw Failure(path + ": cannot be encoded");
    out.insert(out.begin() + kPrefixBytes, options.profile.begin(), options.profile.end());
    if (options.exif.empty()) return out;
    const size_t length = 8 + options.exif.size();
    if (length > kMostSegment) throw Failure(path + ": the Exif data are too long for a JPEG");
    std::vector<uint8_t> segment = {
        0xFF, 0xE1, static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length), 'E', 'x', 'i', 'f', 0, 0};
    segment.insert(segment.end(), options.exif.begin(), options.exif.end());
    out.insert(out.begin() + kPrefixBytes, segment.begin(), segment.end());
    return out;
}

}  // namespace vorel_tool
