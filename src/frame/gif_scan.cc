// Walks the blocks of a GIF (GIF89a, clauses 18 to 25) without decoding: size, images, length of the animation.
#include "core/core.h"
#include "frame/detect.h"

namespace vorel {
namespace {

constexpr int32_t kScreenBytes = 13;  // signature, version and logical screen descriptor
constexpr int32_t kImageBytes = 9;    // an image descriptor behind its separator
constexpr int32_t kControlBytes = 5;  // a graphic control behind its size byte, terminator included
constexpr int32_t kControlSize = 4;
constexpr uint32_t kMaxSide = 15000;
constexpr uint32_t kMsPerTick = 10;  // delays count hundredths of a second

constexpr int32_t kSeparator = 0x2C;
constexpr int32_t kTrailer = 0x3B;
constexpr int32_t kExtension = 0x21;
constexpr int32_t kLabelPlainText = 0x01;
constexpr int32_t kLabelControl = 0xF9;
constexpr int32_t kLabelComment = 0xFE;
constexpr int32_t kLabelApplication = 0xFF;

// What a step of the walk means for the walk.
enum class Step {
    kGoOn,
    kFinish,    // the images counted so far decide
    kInputEnd,  // the input is used up between blocks
    kRefuse,
};

class Scan {
  public:
    Scan(DecInfo *session, StreamBuffer *stream, uint32_t minimum_delay)
        : session_(session), stream_(stream), minimum_delay_(minimum_delay) {}

    // The image type; VOREL_IMAGE_NONE when it is refused.
    int32_t run() {
        if (!screen()) return VOREL_IMAGE_NONE;
        Step step = Step::kGoOn;
        while (step == Step::kGoOn) step = block();
        if (step == Step::kRefuse) return VOREL_IMAGE_NONE;
        // An input that runs out between two blocks must be used up to exactly its stated length.
        if (step == Step::kInputEnd && stream_->totalRead != stream_->totalSize) return VOREL_IMAGE_NONE;
        if (frames_ == 0) return VOREL_IMAGE_NONE;
        return frames_ == 1 ? VOREL_IMAGE_GIF : VOREL_IMAGE_ANIMATED_GIF;
    }

    uint32_t frames() const { return frames_; }

  private:
    bool screen() {
        if (!ensure_bytes(stream_, kScreenBytes)) return false;
        const HeaderBytes header = header_bytes(stream_);
        const uint32_t width = header.little_16(6), height = header.little_16(8);
        if (width == 0 || height == 0 || width > kMaxSide || height > kMaxSide) return false;
        session_->imageWidth = width;
        session_->imageHeight = height;
        const uint32_t flags = header.byte(10);
        consume(stream_, kScreenBytes);
        skip_colour_table(flags);
        return true;
    }

    // False at the end of the input.
    bool skip_colour_table(uint32_t flags) {
        return !(flags & 0x80) || skip_bytes(stream_, int64_t{3} << ((flags & 7) + 1));
    }

    // Data sub-blocks up to the block terminator. False at the end of the input.
    bool skip_sub_blocks() {
        for (;;) {
            const int32_t size = read_byte(stream_);
            if (size < 0) return false;
            if (size == 0) return true;
            if (!skip_bytes(stream_, size)) return false;
        }
    }

    // One block, or one byte of what stands between blocks: the walk picks itself up behind junk.
    Step block() {
        switch (read_byte(stream_)) {
            case -1:
                return Step::kInputEnd;
            case kSeparator:
                return image();
            case kTrailer:
                return Step::kFinish;
            case kExtension:
                return extension();
            default:
                return Step::kGoOn;
        }
    }

    // A picture that is cut off counts.
    Step image() {
        ++frames_;
        if (!ensure_bytes(stream_, kImageBytes)) return Step::kFinish;
        const uint32_t flags = unread(stream_)[kImageBytes - 1];
        consume(stream_, kImageBytes);
        if (!skip_colour_table(flags)) return Step::kFinish;
        if (read_byte(stream_) < 0) return Step::kFinish;  // LZW minimum code size
        return skip_sub_blocks() ? Step::kGoOn : Step::kFinish;
    }

    Step extension() {
        if (!ensure_bytes(stream_, 2)) return Step::kGoOn;
        const int32_t label = unread(stream_)[0];
        consume(stream_, 1);
        switch (label) {
            case kLabelControl:
                return control();
            case kLabelPlainText:
            case kLabelComment:
            case kLabelApplication:
                return skip_sub_blocks() ? Step::kGoOn : Step::kInputEnd;
            default:
                return Step::kGoOn;
        }
    }

    // A graphic control of another size is passed over like junk.
    Step control() {
        if (unread(stream_)[0] != kControlSize) return Step::kGoOn;
        consume(stream_, 1);
        if (!ensure_bytes(stream_, kControlBytes)) return Step::kRefuse;
        const uint32_t delay = header_bytes(stream_).little_16(1) * kMsPerTick;
        session_->totalDuration += delay > minimum_delay_ ? delay : minimum_delay_;
        consume(stream_, kControlBytes);
        return Step::kGoOn;
    }

    DecInfo *session_;
    StreamBuffer *stream_;
    uint32_t minimum_delay_;  // ms
    uint32_t frames_ = 0;
};

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" int32_t __BRIM_ParserGIF(DecInfo *session, StreamBuffer *stream, ImageInfo *imageInfo,
                                    uint32_t minimumDelay) {
    if (!session || !stream) return VOREL_IMAGE_NONE;
    Scan scan(session, stream, minimumDelay);
    const int32_t type = scan.run();
    if (imageInfo) imageInfo->frameCount = scan.frames();
    return type;
}
