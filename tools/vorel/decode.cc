// vorel decode: one picture to a raw buffer, a PNG, a PPM or a JPEG.
#include <vorel/jpeg_decoder.h>
#include <vorel/raster.h>
#include <vorel/util.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <climits>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "commands.h"
#include "exif_copy.h"
#include "failure.h"
#include "jpeg_coding.h"
#include "pixels.h"
#include "png_picture.h"
#include "progress.h"
#include "session.h"
#include "sizes.h"
#include "statistics.h"
#include "strips.h"
#include "writers.h"

namespace vorel_tool {
namespace {

struct DecodeOptions {
    std::string in, out;
    int32_t sample = 1;
    std::string size;
    std::string fit;
    std::string format = "rgba8888";
    int rotate = 0;
    bool orient = false, no_orient = false;
    bool mirror = false;  // behind the turn
    std::string from = "memory";
    StripOptions strips;
    bool log = false;
    std::string stats;  // "", "table" or "json"
    JpegOptions jpeg;
    bool strip = false;
};

struct NamedBits {
    const char *name;
    uint32_t bits;
};
constexpr NamedBits kFits[] = {{"center", VOREL_OPTION_FIT_CENTER},
                               {"packed", VOREL_OPTION_FIT_PACKED},
                               {"topleft", VOREL_OPTION_FIT_TOP_LEFT},
                               {"cover", VOREL_OPTION_FIT_COVER},
                               {"stretch", VOREL_OPTION_FIT_STRETCH}};
constexpr NamedBits kSources[] = {{"memory", static_cast<uint32_t>(Source::kMemory)},
                                  {"file", static_cast<uint32_t>(Source::kFile)},
                                  {"stream", static_cast<uint32_t>(Source::kStream)}};

template <size_t count>
std::vector<std::string> names_of(const NamedBits (&table)[count]) {
    std::vector<std::string> names;
    for (const NamedBits &row : table) names.emplace_back(row.name);
    return names;
}

// The name is one of the table: the command line was checked against it.
template <size_t count>
uint32_t bits_of(const NamedBits (&table)[count], const std::string &name) {
    return std::find_if(table, table + count, [&](const NamedBits &row) { return name == row.name; })->bits;
}

bool turns_sideways(const DecodeOptions &options) { return options.rotate == 90 || options.rotate == 270; }

uint32_t option_bits(const DecodeOptions &options) {
    const uint32_t rotation = options.rotate == 90    ? VOREL_OPTION_ROTATE_90
                              : options.rotate == 180 ? VOREL_OPTION_ROTATE_180
                              : options.rotate == 270 ? VOREL_OPTION_ROTATE_270
                                                      : 0;
    return bits_of(kFits, options.fit) | rotation;
}

// Pictures for people stand upright unless they are not to; raw pixels stay as they are stored unless they are.
bool wants_orientation(const DecodeOptions &options, const PixelFormat &format) {
    const bool for_people = kind_of_file(options.out) != FileKind::kRaw && format.rotates && format.pixel_bytes != 3;
    return !options.no_orient && (options.orient || for_people);
}

// The options with what makes a picture upright added to the turn asked for (Exif 2.3, tag 274): a turn and, for 2, 4,
// 5 and 7, a reflection behind it, so that the turn asked for counts backwards.
DecodeOptions upright(Session &session, const DecodeOptions &options) {
    constexpr int kTurns[9] = {0, 0, 0, 180, 180, 90, 90, 270, 270};
    DecodeOptions out = options;
    const int32_t orientation = exif_orientation(session);
    const int turn = orientation >= 1 && orientation <= 8 ? kTurns[orientation] : 0;
    out.mirror = is_mirrored(orientation);
    out.rotate = (turn + (out.mirror ? 360 - options.rotate : options.rotate)) % 360;
    return out;
}

// Left and right change places, in a rectangle's corner those of the columns that the picture has there.
void mirror(Picture *picture, Session &session, const DecodeOptions &options) {
    const auto width = static_cast<uint32_t>(picture->width);
    const size_t columns = options.fit == "topleft" ? std::min(width, session.get()->outWidth) : width;
    const size_t bytes = picture->format->pixel_bytes, row_bytes = width * bytes;
    for (size_t row = 0; row < picture->bytes.size(); row += row_bytes) {
        uint8_t *left = &picture->bytes[row], *right = left + columns * bytes;
        for (; right - left > static_cast<ptrdiff_t>(bytes); left += bytes) {
            right -= bytes;
            std::swap_ranges(left, left + bytes, right);
        }
    }
}

// What the command line alone gives away.
void check_usage(const DecodeOptions &options, const PixelFormat &format) {
    check_output_name(options.out);
    if (options.strip && kind_of_file(options.out) != FileKind::kJpeg)
        throw BadUsage("--strip: only a .jpg has camera data");
    if (options.rotate != 0 && !format.rotates)
        throw BadUsage("--rotate: pictures in " + options.format + " cannot be turned");
    if (options.orient && !format.rotates)
        throw BadUsage("--orient: pictures in " + options.format + " cannot be turned");
    check_strip_usage(options.strips, format);
    if (options.strips.wanted() && !options.size.empty())
        throw BadUsage("--strips and --checkpoints: the picture at --sample of its size, not in a --size");
    const int32_t n = options.sample;
    if (!options.strips.checkpoints.empty() && n != 1 && n != 2 && n != 4 && n != 8)
        throw BadUsage("--checkpoints: goes with --sample 1, 2, 4 and 8");
}

// What is decoded, as far as it matters for the layouts; bit 0 for what is not.
struct Kind {
    uint8_t bit;
    const char *name;
};

Kind kind_of(const Session &session, const ImageInfo &info) {
    switch (session.type()) {
        case VOREL_IMAGE_JPEG:
            return info.numComponents == 1 ? Kind{kGrayJpeg, "a gray JPEG"} : Kind{kColorJpeg, "a colour JPEG"};
        case VOREL_IMAGE_WBMP:
            return {kWbmp, "a WBMP"};
        case VOREL_IMAGE_GIF:
        case VOREL_IMAGE_ANIMATED_GIF:
            return {kGif, "a GIF"};
        case VOREL_IMAGE_BMP:
            return {kBmp, "a BMP"};
        case VOREL_IMAGE_PNG:
            return {kPngFile, "a PNG"};
        default:
            return {0, ""};
    }
}

// PNG and PPM hold RGB whatever was decoded to, so a GIF or PNG, which have few layouts, take one that they have.
const PixelFormat &layout_for(const Session &session, const ImageInfo &info, const PixelFormat &asked,
                              const std::string &out) {
    const uint8_t kind = kind_of(session, info).bit;
    if ((kind != kGif && kind != kPngFile) || (asked.written_for & kind) || kind_of_file(out) == FileKind::kRaw)
        return asked;
    return *find_format("rgba8888");
}

// What the decoder of this picture does not do. One that does not know the layout leaves the buffer as it is and
// reports success, so that is said here too.
void check_support(const Session &session, const ImageInfo &info, const PixelFormat &format,
                   const DecodeOptions &options) {
    const Kind kind = kind_of(session, info);
    if (kind.bit == 0) throw Failure(options.in + ": " + type_name(session.type()) + " pictures cannot be decoded");
    const std::string picture = options.in + ": " + kind.name;
    if (!(format.written_for & kind.bit)) throw Failure(picture + " is not decoded to " + format.name);
    const bool wbmp = kind.bit == kWbmp;
    const bool png = kind.bit == kPngFile;
    if ((wbmp || kind.bit == kGif) && options.rotate != 0) throw Failure(picture + " cannot be turned");
    if (options.rotate != 0 && kind.bit != kBmp && format.pixel_bytes == 3)
        throw Failure(picture + " cannot be turned in " + format.name);
    if ((wbmp || png) && options.from == "stream") throw Failure(picture + " cannot be decoded from a stream");
}

// The rectangle that is decoded into, in output coordinates.
Size target_size(const DecodeOptions &options, const ImageInfo &info, const std::string &path) {
    if (!options.size.empty()) return parse_size("--size", options.size);
    Size size = {static_cast<int32_t>(info.width) / options.sample, static_cast<int32_t>(info.height) / options.sample};
    if (size.width == 0 || size.height == 0)
        throw Failure(path + ": " + std::to_string(info.width) + " x " + std::to_string(info.height) +
                      " pixels are too few for --sample " + std::to_string(options.sample));
    if (turns_sideways(options)) std::swap(size.width, size.height);
    return size;
}

Picture decode_png_of(Session &session, const ImageInfo &info, const DecodeOptions &options, const Picture &asked) {
    PngRequest request;
    request.path = options.in;
    request.memory = options.from == "memory" ? session.get()->ioInfo : nullptr;
    request.size = {static_cast<int32_t>(info.width), static_cast<int32_t>(info.height)};
    request.sample = options.sample;
    request.sized = !options.size.empty();
    request.target = {asked.width, asked.height};
    request.fit = options.fit;
    request.rotate = options.rotate;
    return decode_png(request, *asked.format);
}

bool run_decoder(Session &session, const ImageInfo &info, const DecodeOptions &options, Picture &picture) {
    void *output = picture.bytes.data();
    switch (session.type()) {
        case VOREL_IMAGE_WBMP:
            return VORELBRIMI_DecodeWBMP(session.get(), output, picture.width, picture.height) == 1;
        case VOREL_IMAGE_GIF:
        case VOREL_IMAGE_ANIMATED_GIF:
            return VORELBRIMI_DecodeGIF(session.get(), output, picture.width, picture.height) == 1;
        case VOREL_IMAGE_BMP:
            return VORELBRIMI_DecodeBMP(session.get(), output, picture.width, picture.height) == 1;
        case VOREL_IMAGE_PNG:
            picture = decode_png_of(session, info, options, picture);
            return true;
        default:
            // Threads whose part of the picture failed show in the error word alone.
            return VORELBRIM_PDecodeJPEG(session.get(), output, picture.width, picture.height, options.sample) == 1 &&
                   gVORELBRIM_Error == 0;
    }
}

// Strips come as the picture is stored: it is turned when it is whole.
bool run_strips(Session &session, const DecodeOptions &options, Picture &picture) {
    if (turns_sideways(options)) std::swap(picture.width, picture.height);
    session.get()->decOption &= ~static_cast<uint32_t>(VOREL_OPTION_ROTATE_270);
    if (!decode_in_strips(session, options.strips, &picture)) return false;
    if (options.rotate == 0) return true;
    const bool turned =
        vorel_rotate(picture.bytes.data(), picture.width, picture.height, picture.format->code, options.rotate) == 1;
    if (turns_sideways(options)) std::swap(picture.width, picture.height);
    return turned;
}

void decode_into(Session &session, const ImageInfo &info, Picture &picture, const DecodeOptions &options) {
    DecodeWatch watch(session.get(), options.in);
    const bool decoded =
        options.strips.wanted() ? run_strips(session, options, picture) : run_decoder(session, info, options, picture);
    watch.end();
    if (cancelled()) throw Failure(options.in + ": cancelled");
    if (decoded) return;
    std::string reason = session.type() == VOREL_IMAGE_JPEG ? unsupported_coding(options.in) : "";
    if (reason.empty()) reason = last_error();
    throw Failure(options.in + ": cannot be decoded" + (reason.empty() ? "" : ": " + reason));
}

// Decoders that know no way to store a picture succeed with the buffer as it was. True when it is still black, and
// white before a second decode stays white.
bool nothing_was_stored(Session &session, const ImageInfo &info, const DecodeOptions &options, const Picture &picture) {
    const auto all_are = [](const Picture &in, uint8_t value) {
        return std::all_of(in.bytes.begin(), in.bytes.end(), [=](uint8_t byte) { return byte == value; });
    };
    if (!all_are(picture, 0)) return false;
    constexpr uint8_t kWhite = 255;
    Picture white = picture;
    std::fill(white.bytes.begin(), white.bytes.end(), kWhite);
    return run_decoder(session, info, options, white) && all_are(white, kWhite);
}

std::string why_nothing(Session &session, Picture *picture) {
    if (session.type() != VOREL_IMAGE_BMP) return "it has no pixels";
    const std::unique_ptr<BmpInfo, void (*)(BmpInfo *)> bmp(
        BRIMI_BMP_Initialize(session.get(), picture->width, picture->height, picture->bytes.data()),
        BRIMI_BMP_DeleteDecInfo);
    if (!bmp) return "its header cannot be read again";
    const std::initializer_list<int> depths = {1, 4, 8, 16, 24, 32};
    if (std::find(depths.begin(), depths.end(), bmp->bitCount) == depths.end())
        return std::to_string(bmp->bitCount) + " bits a pixel are not supported";
    if (bmp->dataOffset >= static_cast<uint32_t>(session.get()->ioInfo->size)) return "its pixels begin behind its end";
    if (bmp->isRle8) return std::string("run lengths are not decoded to ") + picture->format->name;
    return "it has no whole row of pixels";
}

// The session has the size as it stands in the buffer.
void set_size_from(Session &session, const DecodeOptions &options, Picture *picture) {
    const Size size = {static_cast<int32_t>(session.get()->outWidth), static_cast<int32_t>(session.get()->outHeight)};
    if (size.width < 1 || size.height < 1 || size.width > picture->width || size.height > picture->height)
        throw Failure(options.in + ": the decoded size is not inside the rectangle");
    set_size(picture, size.width, size.height);
}

// The camera data of a JPEG for one with these pixels. `wanted` is what the command line says, `done` what was done.
std::vector<uint8_t> kept_exif(Session &session, const DecodeOptions &wanted, const DecodeOptions &done,
                               const Picture &picture) {
    std::vector<uint8_t> exif = exif_block_of(session);
    if (exif.empty()) return exif;
    const bool upright = wants_orientation(wanted, *picture.format);
    const bool whole = wanted.fit == "center" || wanted.fit == "packed";
    make_true(&exif, {picture.width, picture.height,
                      upright ? 1 : orientation_behind(exif_orientation(session), wanted.rotate),
                      done.rotate == 0 && !done.mirror && whole});
    return exif;
}

int decode(const DecodeOptions &asked_for) {
    DecodeOptions wanted = asked_for;
    // A JPEG has no bars around it that nobody asked for.
    if (wanted.fit.empty()) wanted.fit = kind_of_file(wanted.out) == FileKind::kJpeg ? "packed" : "center";
    DecodeOptions options = wanted;
    const PixelFormat &asked = *find_format(options.format);
    check_usage(options, asked);
    if (!options.size.empty()) parse_size("--size", options.size);
    if (options.log) show_diagnostics();

    Session session(options.in, static_cast<Source>(bits_of(kSources, options.from)), asked.code, option_bits(options));
    std::optional<DecodeStatistics> statistics;
    if (!options.stats.empty()) statistics.emplace();
    if (statistics) statistics->start();
    const ImageInfo info = session.parse();
    if (statistics) statistics->stop();
    if (statistics && session.type() != VOREL_IMAGE_JPEG)
        throw Failure(options.in + ": --stats counts the steps of JPEG decodes");
    const PixelFormat &format = layout_for(session, info, asked, options.out);
    session.get()->outColorFormat = format.code;
    if (session.type() == VOREL_IMAGE_JPEG && wants_orientation(options, format)) {
        options = upright(session, options);
        session.get()->decOption = option_bits(options);
    }
    check_support(session, info, format, options);
    if (options.strips.wanted() && session.type() != VOREL_IMAGE_JPEG)
        throw Failure(options.in + ": only JPEG pictures are decoded in strips");
    const Size size = target_size(options, info, options.in);
    if (picture_bytes(format, size.width, size.height) > INT32_MAX)
        throw Failure(options.in + ": " + std::to_string(size.width) + " x " + std::to_string(size.height) +
                      " pixels of " + options.format + " are more than 2 GiB");
    // A JPEG or GIF may be packed: rows as long as the picture, which is known only when it is decoded. WBMP is always
    // centred.
    const bool packed =
        options.fit == "packed" && session.type() != VOREL_IMAGE_WBMP && session.type() != VOREL_IMAGE_PNG;
    Picture picture =
        packed ? make_unsized_picture(format, size.width, size.height) : make_picture(format, size.width, size.height);
    if (statistics) statistics->start();
    decode_into(session, info, picture, options);
    if (statistics) statistics->stop();
    if (session.type() != VOREL_IMAGE_JPEG && session.type() != VOREL_IMAGE_PNG &&
        nothing_was_stored(session, info, options, picture))
        throw Failure(options.in + ": cannot be decoded: " + why_nothing(session, &picture));
    if (packed) set_size_from(session, options, &picture);
    if (options.mirror) mirror(&picture, session, options);
    picture.alpha = session.get()->gifFlag && format.code == COLOR_RGBA8888;
    if (kind_of_file(options.out) == FileKind::kJpeg) {
        const bool gray = kind_of(session, info).bit == kGrayJpeg;
        if (session.type() == VOREL_IMAGE_JPEG && !options.strip) {
            options.jpeg.exif = kept_exif(session, wanted, options, picture);
            options.jpeg.profile = colour_profile(options.in, gray);
        }
        if (gray) picture = to_gray(picture);
    }
    write_picture(picture, options.out, cancelled, options.jpeg);
    if (options.stats == "json") {
        std::printf("%s\n", statistics->record().dump(2).c_str());
        return kExitOk;
    }
    std::printf("%s: %d x %d, %s\n", options.out.c_str(), picture.width, picture.height, format.name);
    if (statistics) std::printf("%s", statistics->table().c_str());
    return kExitOk;
}

}  // namespace

void register_decode(CLI::App &app, Action &action) {
    auto options = std::make_shared<DecodeOptions>();
    CLI::App *command = app.add_subcommand("decode", "Decodes a picture to .raw, .png, .ppm or .jpg");
    command->add_option("IN", options->in, "The picture")->required();
    command
        ->add_option("OUT", options->out,
                     "Where to: .raw holds the bytes of the chosen format, .png and .ppm hold RGB; or .jpg")
        ->required();
    command->add_option("--sample", options->sample, "Decode at 1/N of the size")->check(CLI::Range(1, 65535));
    command->add_option("--size", options->size, "Decode into a rectangle of WIDTHxHEIGHT pixels");
    command->add_option("--fit", options->fit, "How the picture is laid into the rectangle")
        ->check(CLI::IsMember(names_of(kFits)))
        ->default_str("center, packed for .jpg");
    command->add_option("--format", options->format, "Pixel layout that is decoded to")
        ->check(CLI::IsMember(format_names()))
        ->capture_default_str();
    command->add_option("--rotate", options->rotate, "Turn clockwise by 90, 180 or 270 degrees")
        ->check(CLI::IsMember({90, 180, 270}));
    command->add_flag("--orient", options->orient, "Turn upright, as the Exif data say; pictures but .raw are anyway");
    command->add_flag("--no-orient", options->no_orient, "Leave as stored")->excludes("--orient");
    command->add_option("--from", options->from, "How the library reads the file")
        ->check(CLI::IsMember(names_of(kSources)))
        ->capture_default_str();
    command->add_option("--strips", options->strips.rows, "Decode a JPEG in strips of so many rows")
        ->check(CLI::Range(1, 65535));
    command->add_option("--checkpoints", options->strips.checkpoints,
                        "Decode from the places of a file that vorel checkpoints made, on a thread each");
    add_jpeg_options(command, &options->jpeg);
    command->add_flag("--strip", options->strip, "A .jpg without the camera data of the picture");
    command
        ->add_flag(
            "--stats{table}", options->stats,
            "What the decode of a JPEG spent its time on, as a table; --stats=json as JSON in place of other text")
        ->check(CLI::IsMember({"table", "json"}));
    command->add_flag("--log", options->log, "The library's diagnostics on standard error");
    command->callback([options, &action] { action = [options] { return decode(*options); }; });
}

}  // namespace vorel_tool
