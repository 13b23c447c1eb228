// The choice of a decode method by size, reduction and restart interval.
#include "jpeg/decoder/threads/method.h"

#include <vorel/jpeg_decoder.h>

namespace vorel {
namespace {

// Pictures and outputs below these do not gain from threads.
constexpr int32_t kLeastSourceSide = 512;
constexpr int32_t kLeastTargetSide = 140;
constexpr int32_t kLeastHalvedSide = 257;
// From this input size on, reductions without restart markers get the walk-ahead.
constexpr int64_t kWalkAheadBytes = 0x180000;
constexpr int32_t kDefaultBandRows = 128;
// The pool is worth its threads from more bands than this.
constexpr int32_t kFewBands = 3;

bool is_candidate(const DecodeRequest &r) {
    if (r.progressive || r.width > r.source_width || r.height > r.source_height) return false;
    if (r.source_width < kLeastSourceSide || r.source_height < kLeastSourceSide) return false;
    if (r.width < kLeastTargetSide || r.height < kLeastTargetSide) return false;
    return !(r.sample_size == 2 && (r.width < kLeastHalvedSide || r.height < kLeastHalvedSide));
}

int32_t rows_for_sample(int32_t sample) { return sample == 4 ? 8 : sample == 2 ? 16 : kDefaultBandRows; }

int32_t round_up(int64_t value, int64_t step) { return static_cast<int32_t>((value + step - 1) / step * step); }

// Bands of a frame with restart markers start at a restart that begins an MCU row.
int32_t restart_band(const DecodeRequest &r, int64_t rows) {
    const int32_t mcu_height = r.mcu_height > 0 ? r.mcu_height : 8;
    const int32_t across = r.mcu_width > 0 ? (r.source_width + r.mcu_width - 1) / r.mcu_width : 1;
    const int32_t mcu_rows = round_up(rows, mcu_height) / mcu_height;
    const int32_t step = LCM(across, r.restart_interval) / across;
    const int64_t band = int64_t{step > 0 ? round_up(mcu_rows, step) : mcu_rows} * mcu_height;
    return band > 0 && band <= INT32_MAX ? static_cast<int32_t>(band) : kDefaultBandRows;
}

}  // namespace

DecodeSplit choose_method(const DecodeRequest &r) {
    const int32_t threads = r.walk_ahead ? 5 : 6;
    DecodeSplit split = {DecodeMethod::kPlain, r.sample_size, 0, 0, 1, r.walk_ahead};
    if (!is_candidate(r)) return split;

    int32_t sample = getSampleSize(r.source_width, r.source_height, r.width, r.height);
    const bool exact = checkOneToOne(r.source_width, r.source_height, r.width, r.height);
    if (exact) {
        if (r.sample_size > sample) sample = r.sample_size;
    } else if (int64_t{r.source_width} < int64_t{r.width} * sample) {
        sample /= 2;
    }
    split.sample_size = sample;
    split.threads = threads;

    const bool halved = sample == 2 || sample == 4;
    if (r.restart_interval == 0) {
        if (sample > 4) {
            split.threads = 1;
            return split;
        }
        int32_t rows = rows_for_sample(sample);
        if (halved && r.input_bytes < kWalkAheadBytes) {
            rows = kDefaultBandRows;
        } else if (halved) {
            split.walk_ahead = true;
            split.threads = 5;
        }
        split.band_rows = sample * rows;
    } else {
        const int64_t rows =
            sample >= 5 ? (r.source_height + 15) / 16 / threads : int64_t{sample} * rows_for_sample(sample);
        split.band_rows = restart_band(r, rows);
    }
    if (split.band_rows == 0) split.band_rows = kDefaultBandRows;
    split.bands = (r.source_height - sample) / split.band_rows + (split.walk_ahead ? 1 : 0);
    if (split.bands > kFewBands && r.components == 3 && exact && !r.has_window) {
        split.method = DecodeMethod::kPool;
    } else {
        split.method = r.restart_interval ? DecodeMethod::kRestart : DecodeMethod::kTwoSessions;
    }
    return split;
}

}  // namespace vorel
