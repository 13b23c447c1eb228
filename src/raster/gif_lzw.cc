// The indices of one GIF image from its codes (GIF89a, clause 22 and Appendix F).
//
// Two ways give the same indices. The plain one follows `prefix` through GifInfo.lzw and serves all codes, also those
// that no encoder writes: a code whose string is not known yet still has a place in the table, with whatever an earlier
// use left there. The fast one serves strings that are all made of known ones, as GifString pieces, and hands over
// when it meets anything else, until the next clear code.
#include <algorithm>

#include "raster/gif.h"

namespace vorel {
namespace {

constexpr uint32_t kMaxMinCodeSize = 11;
constexpr uint32_t kLastCode = kGifCodes - 1;

enum class Step {
    kGoOn,
    kUnusual,  // a code for the plain way
    kRows,     // the line holds a row
    kEnd,      // end code
    kInputEnd,
    kDamaged,
};

class ImageDecoder {
  public:
    ImageDecoder(DecInfo *session, GifInfo *info)
        : session_(session), info_(info), codes_(info->work->codes), strings_(info->work->strings.of) {
        limit_ = info->width + kGifLineSpare;
        clear_ = 1u << info->minCodeSize;
        for (uint32_t code = 0; code < clear_; ++code) {
            const uint8_t index = static_cast<uint8_t>(code);
            strings_[code] = {index, 0, 1, index};
        }
    }

    Step run() {
        codes_.start(info_->input);
        info_->lineFill = 0;
        info_->rowsDone = 0;
        Step step = restart();
        while (step == Step::kGoOn && info_->rowsDone < info_->frameHeight) {
            step = fill_row();
            if (step == Step::kRows) step = write_rows();
        }
        if (step == Step::kInputEnd || step == Step::kDamaged) return step;
        // The end code may have a sub-block of its own.
        if (step == Step::kGoOn && codes_.ensure_before_terminator(size_) && codes_.now.peek(size_) == end_code()) {
            codes_.now.drop(size_);
        }
        codes_.finish();
        return step;
    }

  private:
    uint32_t end_code() const { return clear_ + 1; }

    // Behind a clear code, and at the start: an empty table, and the first code, which stands for one index.
    Step restart() {
        size_ = info_->minCodeSize + 1;
        uint32_t code;
        do {
            if (!codes_.ensure(size_)) return Step::kInputEnd;
            code = codes_.now.peek(size_);
            codes_.now.drop(size_);
        } while (code == clear_);
        if (code == end_code()) return Step::kEnd;
        if (info_->lineFill >= limit_) return Step::kDamaged;
        info_->lineBuffer[info_->lineFill++] = static_cast<uint8_t>(code);
        next_ = clear_ + 2;
        previous_ = code;
        known_ = code < clear_;
        return Step::kGoOn;
    }

    Step fill_row() {
        Step step = Step::kGoOn;
        while (step == Step::kGoOn && info_->lineFill < info_->frameWidth) {
            if (known_) step = known_codes();
            if (step == Step::kUnusual || (step == Step::kGoOn && !known_)) step = any_code();
        }
        return step == Step::kGoOn ? Step::kRows : step;
    }

    // One code by the table as it stands.
    Step any_code() {
        if (!codes_.ensure(size_)) return Step::kInputEnd;
        const uint32_t code = codes_.now.peek(size_);
        codes_.now.drop(size_);
        if (code == clear_) return restart();
        if (code == end_code()) return Step::kEnd;
        uint8_t first;
        if (code < next_) {
            if (!BRIMI_TranslateCode(info_, code, &first)) return Step::kDamaged;
        } else {
            // Required: code 0 stands in for a previous one that has no string.
            if (!BRIMI_TranslateCode(info_, previous_ < next_ ? previous_ : 0, &first)) return Step::kDamaged;
            if (info_->lineFill >= limit_) return Step::kDamaged;
            info_->lineBuffer[info_->lineFill++] = first;
            known_ = false;
        }
        if (next_ < kGifCodes) {
            GifTranslation *table = info_->lzw;
            table->prefix[next_] = previous_;
            table->suffix[next_] = first;
            table->length[next_] = table->length[previous_] + 1;
            ++next_;
        }
        previous_ = code;
        grow();
        return Step::kGoOn;
    }

    // Required: compared for equality, so codes of a minimum size below 2 never grow.
    void grow() {
        if (size_ < kGifMaxCodeBits && next_ == 1u << size_) ++size_;
    }

    // Codes of known strings until the line holds a row. All state is in registers, and put back at the end.
    Step known_codes() {
        GifTranslation *table = info_->lzw;
        GifString *strings = strings_;
        uint8_t *line = info_->lineBuffer;
        const int32_t width = info_->frameWidth, limit = limit_;
        const uint32_t clear = clear_;
        int32_t fill = info_->lineFill;
        uint32_t size = size_, next = next_, previous = previous_;
        GifString before = strings[previous];
        GifBits now = codes_.now;
        Step step = Step::kGoOn;
        while (fill < width) {
            if (now.count < size) {
                if (now.end - now.at >= 8) {
                    now.refill();
                } else {
                    codes_.now = now;
                    const bool more = codes_.ensure_from_input(size);
                    now = codes_.now;
                    if (!more) {
                        step = Step::kInputEnd;
                        break;
                    }
                }
            }
            const uint32_t code = now.peek(size);
            if (code - clear < 2 || code > next) {
                step = Step::kUnusual;
                break;
            }
            // The string that the table gets: the previous one and the first index of this one.
            const uint8_t first = code < next ? strings[code].first : before.first;
            if (next < kGifCodes) {
                table->prefix[next] = previous;
                table->suffix[next] = first;
                table->length[next] = before.length + 1u;
                GifString &made = strings[next];
                const uint32_t at = before.length & 7;
                made.piece = at ? before.piece | uint64_t{first} << (8 * at) : first;
                made.before = at ? before.before : static_cast<uint16_t>(previous);
                made.length = static_cast<uint16_t>(before.length + 1);
                made.first = before.first;
            }
            const GifString string = strings[code];
            if (fill + string.length > limit) {
                step = Step::kDamaged;
                break;
            }
            now.drop(size);
            // The last piece may write seven bytes too many, which the line has space for.
            uint8_t *to = line + fill + ((string.length - 1) & ~7);
            uint64_t piece = string.piece;
            for (uint32_t at = string.before;; at = strings[at].before) {
                std::memcpy(to, &piece, sizeof piece);
                if (to == line + fill) break;
                to -= 8;
                piece = strings[at].piece;
            }
            fill += string.length;
            before = string;
            previous = code;
            if (next < kGifCodes) ++next;
            if (size < kGifMaxCodeBits && next == 1u << size) ++size;
        }
        codes_.now = now;
        info_->lineFill = fill;
        size_ = size;
        next_ = next;
        previous_ = previous;
        return step;
    }

    // Writes the rows that the line holds and moves the rest to its front.
    Step write_rows() {
        uint8_t *line = info_->lineBuffer;
        const int32_t width = info_->frameWidth;
        int32_t rows = 0;
        // The row is looked for at the line's start.
        for (; info_->lineFill >= width && info_->rowsDone < info_->frameHeight; ++rows) {
            info_->lineBuffer = line + int64_t{rows} * width;
            info_->lineFill -= width;
            if (info_->animated) BRIMI_MakeFrameLineBuffer(info_);
            BRIMI_WriteTheLine(session_, info_);
            ++info_->rowsDone;
        }
        info_->lineBuffer = line;
        std::memmove(line, line + int64_t{rows} * width, static_cast<size_t>(info_->lineFill));
        return Step::kGoOn;
    }

    DecInfo *session_;
    GifInfo *info_;
    GifCodes &codes_;
    GifString *strings_;
    int32_t limit_;
    uint32_t clear_;
    uint32_t size_ = 0, next_ = 0, previous_ = 0;
    bool known_ = false;  // all strings below next_, and that of previous_, stand in strings_
};

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t BRIMI_InitializeTransTBL(GifTranslation *table, uint32_t minCodeSize) {
    if (!table || minCodeSize > kMaxMinCodeSize) return 0;
    const uint32_t codes = (1u << minCodeSize) + 2;
    for (uint32_t code = 0; code < codes; ++code) {
        table->prefix[code] = 0;
        table->suffix[code] = static_cast<uint8_t>(code);
        table->length[code] = 1;
    }
    return 1;
}

// The length drives the walk, not a root: prefixes that were never set may stand in a circle.
int32_t BRIMI_TranslateCode(GifInfo *info, uint32_t code, uint8_t *outFirst) {
    if (!info || !info->lzw || !info->lineBuffer || code > kLastCode || info->lineFill < 0) return 0;
    const GifTranslation *table = info->lzw;
    const uint32_t length = table->length[code];
    const uint64_t filled = uint64_t{static_cast<uint32_t>(info->lineFill)} + length;
    if (length < 1 || filled > static_cast<uint64_t>(info->width) + kGifLineSpare) return 0;
    uint8_t *start = info->lineBuffer + info->lineFill;
    for (uint8_t *to = start + length; to > start; code = table->prefix[code]) {
        if (code > kLastCode) return 0;
        *--to = table->suffix[code];
    }
    if (outFirst) *outFirst = *start;
    info->lineFill += static_cast<int32_t>(length);
    return 1;
}

int32_t BRIMI_DecodeGIFImage(DecInfo *session, GifInfo *info) {
    if (!info || !info->work || !info->lineBuffer || !info->input) return 0;
    if (!gif_prepare_frame(info) || !BRIMI_InitializeTransTBL(info->lzw, info->minCodeSize)) return 0;
    const Step step = ImageDecoder(session, info).run();
    if (step == Step::kDamaged) return 0;
    if (step == Step::kEnd) info->rowsDone = info->frameHeight;
    // Required: data that is cut off by the end of the input is a success.
    if (step == Step::kInputEnd) return info->input->stream->position == info->input->stream->size;
    return 1;
}

}  // extern "C"
