// Lossless frames (T.81 annex H): differences through the entropy reader, and the samples that they were made of.
#include <vorel/jpeg_decoder.h>

#include <cstring>
#include <utility>

#include "core/core.h"
#include "jpeg/decoder/entropy/entropy_window.h"
#include "jpeg/decoder/entropy/huffman_tables.h"
#include "jpeg/decoder/lossless/header.h"

namespace vorel {
namespace {

// The data of a scan in memory, through a window.
class Differences {
  public:
    Differences(const LosslessPlan &plan, EntropyWindow *window, const uint8_t *data, const uint8_t *end)
        : plan_(plan), window_(window), end_(end) {
        open(data, 0);
    }

    // A row of groups. False at the end of the data.
    bool row(int32_t count, uint16_t *out) {
        while (count > 0) {
            RunStop stop;
            const int32_t done = run_table().lossless(plan_, window_, count, out, &stop);
            count -= done;
            out += ptrdiff_t{done} * plan_.count;
            if (stop == RunStop::kOutOfBits) return false;
            if (stop == RunStop::kWindowLow) {
                const ptrdiff_t bits = (window_->next - window_->data) * 8 - window_->bits;
                open(raw_position(window_, bits / 8), static_cast<uint32_t>(bits % 8));
            }
        }
        return !beyond_data();
    }

    // Goes on behind the next restart marker. False where another marker, or none, stands in front of it.
    bool restart() {
        const uint8_t *at = raw_position(window_, window_->end - window_->data);
        if (window_->end_kind == WindowEnd::kMore) at = find_marker();
        while (end_ - at >= 2 && at[0] == 0xFF && at[1] == 0xFF) ++at;
        if (end_ - at < 2 || at[0] != 0xFF || (at[1] & 0xF8) != 0xD0) return false;
        open(at + 2, 0);
        return true;
    }

  private:
    // used: bits of the first byte that have been read.
    void open(const uint8_t *from, uint32_t used) {
        const uint8_t *limit = end_ - from > kWindowRawBytes ? from + kWindowRawBytes : end_;
        unstuff(window_, from, limit, end_);
        // Fill bytes, an FF that ends the data, and the end of the data are all the end of the scan's data.
        if (window_->end_kind == WindowEnd::kOdd || (window_->end_kind == WindowEnd::kMore && limit == end_)) {
            window_->end_kind = WindowEnd::kMarker;
            std::memset(window_->data + (window_->end - window_->data), 0, kPadding);
        }
        window_->raw = window_->raw_mark = from;
        window_->data_mark = 0;
        window_->next = window_->data;
        window_->bits = 0;
        window_->reservoir = 0;
        if (used) {
            window_->reservoir = static_cast<uint64_t>(*window_->next++) << (56 + used);
            window_->bits = static_cast<int32_t>(8 - used);
        }
    }

    // More bits were read than there are.
    bool beyond_data() const {
        return window_->end_kind == WindowEnd::kMarker && (window_->next - window_->end) * 8 > window_->bits;
    }

    // Behind the window's data, which no marker ended.
    const uint8_t *find_marker() const {
        const uint8_t *at = raw_position(window_, window_->end - window_->data);
        while (end_ - at >= 2 && !(at[0] == 0xFF && at[1] != 0)) ++at;
        return at;
    }

    // The window has room for more than that behind its data.
    static constexpr int32_t kPadding = lossless_bytes_ahead(kMostLosslessComponents) + 8;

    const LosslessPlan &plan_;
    EntropyWindow *window_;
    const uint8_t *end_;
};

// T.81 table H.1, from the samples to the left, above, and above left; modulo 2^16.
template <int kPredictor>
inline int32_t predict(int32_t a, int32_t b, int32_t c) {
    switch (kPredictor) {
        case 1:
            return a;
        case 2:
            return b;
        case 3:
            return c;
        case 4:
            return a + b - c;
        case 5:
            return a + ((b - c) >> 1);
        case 6:
            return b + ((a - c) >> 1);
        default:
            return (a + b) >> 1;
    }
}

// A row behind its first group. step: components.
template <int kPredictor>
void predict_row(uint16_t *row, const uint16_t *above, int32_t count, int32_t step) {
    for (int32_t i = step; i < count; ++i) {
        row[i] = static_cast<uint16_t>(row[i] + predict<kPredictor>(row[i - step], above[i], above[i - step]));
    }
}

using PredictRow = void (*)(uint16_t *row, const uint16_t *above, int32_t count, int32_t step);
constexpr PredictRow kPredictRows[8] = {nullptr,        predict_row<1>, predict_row<2>, predict_row<3>,
                                        predict_row<4>, predict_row<5>, predict_row<6>, predict_row<7>};

// H.1.1: the first row of an interval begins with half of the range and goes on with predictor 1; other rows begin with
// the sample above.
void undo_differences(const LosslessHeader &header, bool first, uint16_t *row, const uint16_t *above) {
    const int32_t step = header.frame.components, count = header.frame.width * step;
    const uint16_t start = static_cast<uint16_t>(1u << (header.frame.precision - header.point_transform - 1));
    for (int32_t i = 0; i < step; ++i) row[i] = static_cast<uint16_t>(row[i] + (first ? start : above[i]));
    first ? predict_row<1>(row, row, count, step) : kPredictRows[header.predictor](row, above, count, step);
}

// The tables and buffers of a decode.
struct Work {
    DerivedTable *tables[kMostLosslessComponents] = {};
    ~Work() {
        for (DerivedTable *table : tables) release_table(table);
    }
    bool plan(const LosslessHeader &header, LosslessPlan *plan) {
        plan->count = header.frame.components;
        for (int32_t i = 0; i < plan->count; ++i) {
            // Most files have one table for all components: it is looked up in one place.
            int32_t same = 0;
            while (same < i && std::memcmp(&header.tables[same], &header.tables[i], sizeof header.tables[i]) != 0)
                ++same;
            if (same == i && !derive_lossless_table(header.tables[i], &tables[i])) return false;
            plan->components[i] = {fast_entries(tables[same]), tables[same]};
            if (!plan->components[i].entries) return false;
        }
        return true;
    }
};

int32_t decode_rows(const LosslessHeader &header, const uint8_t *end, VorelLosslessRow receive, void *user) {
    Work work;
    LosslessPlan plan = {};
    const int32_t count = header.frame.width * header.frame.components;
    const OsBlock window(os_allocate(sizeof(EntropyWindow)));
    // The row, the one above, and the samples with their low bits back.
    const OsBlock rows(os_allocate_array<uint16_t>(uint64_t{3} * static_cast<uint32_t>(count)));
    if (!window || !rows || !work.plan(header, &plan)) return 0;
    Differences differences(plan, window.as<EntropyWindow>(), header.scan, end);
    uint16_t *row = rows.as<uint16_t>(), *above = row + count, *const whole = above + count;
    for (int32_t y = 0; y < header.frame.height; ++y) {
        const bool first = y == 0 || (header.interval_rows && y % header.interval_rows == 0);
        if (first && y != 0 && !differences.restart()) return y;
        if (!differences.row(header.frame.width, row)) return y;
        undo_differences(header, first, row, above);
        const uint16_t *samples = row;
        if (header.point_transform) {
            for (int32_t i = 0; i < count; ++i) whole[i] = static_cast<uint16_t>(row[i] << header.point_transform);
            samples = whole;
        }
        if (receive(user, y, samples)) return y + 1;
        std::swap(row, above);
    }
    return header.frame.height;
}

}  // namespace
}  // namespace vorel

extern "C" {

int32_t vorel_jpeg_lossless_frame(const uint8_t *data, int32_t length, VorelLosslessFrame *frame) {
    vorel::LosslessHeader header;
    if (length < 0 || !frame || !vorel::read_lossless_header(data, static_cast<size_t>(length), &header)) return 0;
    *frame = header.frame;
    return 1;
}

int32_t vorel_jpeg_decode_lossless(const uint8_t *data, int32_t length, VorelLosslessRow receive, void *user) {
    vorel::LosslessHeader header;
    if (length < 0 || !receive || !vorel::read_lossless_header(data, static_cast<size_t>(length), &header)) return 0;
    return vorel::decode_rows(header, data + length, receive, user);
}

}  // extern "C"
