#include "jpeg/decoder/threads/bands.h"

#include <algorithm>
#include <new>

#include "core/session.h"
#include "jpeg/decoder/driver.h"
#include "jpeg/decoder/output/output.h"
#include "jpeg/decoder/rows/imcu.h"
#include "jpeg/decoder/statistics/statistics.h"
#include "jpeg/decoder/threads/threads.h"

namespace vorel {
namespace {

// Bands for each thread: few enough to be worth their starts, many enough that nobody waits long for the last.
constexpr uint32_t kBandsPerThread = 10;
constexpr uint32_t kMostBands = 128;
// A reduction to a quarter takes little longer than the walk: below so many pixels of the source the start of a thread
// (some 0.1 ms in all) eats up what is gained.
constexpr uint64_t kLeastQuarteredPixels = 3000000;

// A decode that can be placed at one band after another.
struct BandReader {
    BandReader *next_free;
    JpegInfo *info;
};

// A thread's: over the same output, by a session and an input of its own.
struct OwnReader : BandReader {
    DecInfo *session;
    StreamCursor cursor;

    explicit OwnReader(DecInfo *s) : BandReader{nullptr, nullptr}, session(s), cursor(s->ioInfo) {}
};

void close_session(DecInfo *session) {
    if (!session) return;
    close_again(session->ioInfo);
    pthread_mutex_destroy(&session->jobMutex);
    os_release(session);
}

void close_reader(OwnReader *reader) {
    close_decode(reader->info);
    DecInfo *session = reader->session;
    reader->~OwnReader();
    os_release(reader);
    close_session(session);
}

enum class BandState : uint8_t { kWaiting, kDone, kFailed, kNotOpened };

struct BandRun;

// From iMCU row `first` on, output rows up to end_row.
struct Band {
    BandRun *run;
    uint32_t first, end_row;
    EntropyPosition position;
    BandState state;
};

// What the threads share. Nobody changes the settings of the session while a run lasts.
struct BandRun {
    BandReader caller;
    pthread_t caller_thread;
    DecInfo *session;
    VorelCheckFn check;
    FrameRequest request;
    Band *bands;
    uint32_t band_count;
    uint32_t threads;
    uint32_t end_imcu;  // the first iMCU row that the window does not need
    uint32_t stop;
    pthread_mutex_t lock;
    // Under the lock.
    uint32_t rows_decoded;  // iMCU rows of bands
    uint32_t output_rows;
    BandReader *readers;

    bool stopped() const { return load_relaxed(&stop) || is_cancelled(session); }
};

// A session that decodes the same picture to the same place.
DecInfo *open_session(const BandRun *run) {
    DecInfo *session = new_session();
    if (!session) return nullptr;
    const DecInfo &from = *run->session;
    session->outColorFormat = from.outColorFormat;
    session->decOption = from.decOption & ~uint32_t{VOREL_OPTION_EXIF_ORIENTATION};
    session->decMode = from.decMode;
    session->checkFn = nullptr;
    session->imageType = from.imageType;
    session->streamOffset = from.streamOffset;
    session->sampleSize = from.sampleSize;
    session->partialDecode = from.partialDecode;
    session->partialX = from.partialX;
    session->partialY = from.partialY;
    session->partialWidth = from.partialWidth;
    session->partialHeight = from.partialHeight;
    session->partialToBuffer = from.partialToBuffer;
    session->noMidpointTaking = 1;
    // For the cancel word alone: the parent does not know of it.
    session->parent = run->session;
    session->ioInfo = open_again(from.ioInfo);
    if (session->ioInfo) return session;
    close_session(session);
    return nullptr;
}

OwnReader *open_reader(const BandRun *run) {
    DecInfo *session = open_session(run);
    void *memory = session ? os_allocate_zeroed(sizeof(OwnReader)) : nullptr;
    if (!memory) {
        close_session(session);
        return nullptr;
    }
    auto *reader = new (memory) OwnReader(session);
    const int32_t start = static_cast<int32_t>(session->streamOffset);
    FrameRequest request = run->request;
    if (reader->cursor.ready() && reader->cursor.start_at(start) >= 0)
        reader->info = open_decode(session, reader->cursor.stream(), &request);
    if (reader->info) return reader;
    close_reader(reader);
    return nullptr;
}

// Between two steps: the caller's thread asks the check function, once for each iMCU row, about what all have done.
bool may_go_on(BandRun *run) {
    if (run->stopped()) return false;
    if (!run->check || !pthread_equal(pthread_self(), run->caller_thread)) return true;
    uint32_t rows;
    {
        const MutexLock lock(&run->lock);
        rows = run->output_rows;
    }
    if (run->check(run->session, std::min(rows, run->session->outHeight))) return true;
    store_relaxed(&run->stop, 1u);
    VOREL_TRACE_AS(kTagJpeg, "BRIMJ_ProcessData");
    return false;
}

// Rows up to end_row. Those of bands count as decoded.
bool decode_rows(BandRun *run, JpegInfo *info, uint32_t end_row, bool of_band) {
    while (info->out.outputRow < end_row) {
        if (!may_go_on(run)) return false;
        const uint32_t imcu = info->pump.imcu_row, row = info->out.outputRow;
        const int32_t step = step_decode(info, end_row);
        if (step == kStepFailed) return false;
        {
            const MutexLock lock(&run->lock);
            if (of_band) run->rows_decoded += info->pump.imcu_row - imcu;
            run->output_rows += info->out.outputRow - row;
        }
        if (step == kStepEnd) break;
    }
    return true;
}

void decode_band(JpegInfo *info, Band *band) {
    const bool done =
        start_at_row(info, band->first, band->position) && decode_rows(band->run, info, band->end_row, true);
    band->state = done ? BandState::kDone : BandState::kFailed;
    if (!done) VOREL_TRACE_AS(kTagJpegStat, "decode_jpeg");
}

void *run_band(void *argument) {
    auto *band = static_cast<Band *>(argument);
    BandRun *run = band->run;
    if (run->stopped()) return nullptr;
    BandReader *reader;
    {
        const MutexLock lock(&run->lock);
        reader = run->readers;
        if (reader) run->readers = reader->next_free;
    }
    if (!reader) reader = open_reader(run);
    if (!reader) {
        band->state = BandState::kNotOpened;
        return nullptr;
    }
    decode_band(reader->info, band);
    const MutexLock lock(&run->lock);
    reader->next_free = run->readers;
    run->readers = reader;
    return nullptr;
}

// Passes over iMCU rows up to one, whole restart intervals by their markers alone.
bool walk_to(BandRun *run, uint32_t imcu_row) {
    JpegInfo *info = run->caller.info;
    ScanReader *scan = &info->scan;
    uint8_t **rows[kMaxComponents] = {};
    if (scan->restartInterval) scan->mcus_to_pass = mcus_above(scan, imcu_row);
    while (info->pump.imcu_row < imcu_row) {
        if (!may_go_on(run) || decode_imcu(info, McuMode::kSkip, rows) == kStepBadMcu) return false;
        pass_rows(info, info->pump.rows_ready);
    }
    scan->mcus_to_pass = 0;
    return true;
}

// Output rows that begin above an iMCU row.
uint32_t output_rows_above(JpegInfo *info, uint32_t imcu_row) {
    const OutputState kept = info->out;
    const uint32_t at = info->pump.imcu_row;
    aim_at_row(info, imcu_row);
    const uint32_t rows = info->out.outputRow;
    info->out = kept;
    info->pump.imcu_row = at;
    return rows;
}

// Whether the rest is the caller's: the threads have as much left as it would have.
bool keeps_rest(BandRun *run, uint32_t first_imcu) {
    const uint32_t at = run->caller.info->pump.imcu_row;
    const MutexLock lock(&run->lock);
    const uint64_t handed_out = at - first_imcu;
    const uint64_t outstanding = handed_out > run->rows_decoded ? handed_out - run->rows_decoded : 0;
    return uint64_t{run->end_imcu - at} * run->threads <= outstanding;
}

bool pays(const JpegInfo *info) {
    const uint64_t pixels = uint64_t{info->frame->imageWidth} * info->frame->imageHeight;
    return info->scan.restartInterval != 0 || info->plan.scaleIndex < 2 || pixels >= kLeastQuarteredPixels ||
           tests_run_pools();
}

// Hands out bands until the rest is the caller's. False when the walk failed.
bool hand_out(BandRun *run, vorel_threadpool *pool) {
    JpegInfo *info = run->caller.info;
    const OutputPlan &plan = info->plan;
    const auto first = static_cast<uint32_t>(plan.rows.first / plan.imcu_output_rows);
    const uint32_t each = std::max(1u, (run->end_imcu - first) / (kBandsPerThread * (run->threads + 1)));
    if (!walk_to(run, first)) return false;
    while (info->pump.imcu_row < run->end_imcu && run->band_count < kMostBands && !keeps_rest(run, first)) {
        const uint32_t at = info->pump.imcu_row, end = std::min(at + each, run->end_imcu);
        const uint32_t end_row = end == run->end_imcu ? last_row(info) : output_rows_above(info, end);
        Band *band = &run->bands[run->band_count++];
        *band = {run, at, end_row, tell(&info->scan), BandState::kWaiting};
        if (vorel_threadpool_add_task(pool, run_band, band, 0) != 1) band->state = BandState::kNotOpened;
        if (!walk_to(run, end)) return false;
    }
    aim_at_row(info, info->pump.imcu_row);
    return true;
}

// Without a pool the caller decodes everything.
int32_t run_bands(JpegInfo *info, const FrameRequest &request, DecodeMethod method, vorel_threadpool *pool, Band *bands,
                  int32_t threads) {
    BandRun run = {};
    run.caller = {nullptr, info};
    run.caller_thread = pthread_self();
    run.session = info->decInfo;
    run.check = info->checkFn;
    run.request = request;
    run.bands = bands;
    run.threads = static_cast<uint32_t>(threads);
    pthread_mutex_init(&run.lock, nullptr);
    info->checkFn = nullptr;
    bool own = true;
    if (pool) {
        const auto needed = static_cast<uint32_t>(ceil_div(info->plan.rows.end, info->plan.imcu_output_rows));
        run.end_imcu = std::min(info->frame->imcu_rows, needed);
        own = hand_out(&run, pool);
    }
    if (own && !(pool && info->pump.imcu_row >= run.end_imcu)) own = decode_rows(&run, info, last_row(info), false);
    {
        // The caller's decode is there for what is left.
        const MutexLock lock(&run.lock);
        run.caller.next_free = run.readers;
        run.readers = &run.caller;
    }
    {
        const StepScope scope(JPEG_STAT_WAIT);
        finish_pool(pool);
    }
    for (uint32_t i = 0; i < run.band_count && !run.stopped(); ++i) {
        if (bands[i].state == BandState::kNotOpened) decode_band(info, &bands[i]);
    }
    while (BandReader *reader = run.readers) {
        run.readers = reader->next_free;
        if (reader != &run.caller) close_reader(static_cast<OwnReader *>(reader));
    }
    pthread_mutex_destroy(&run.lock);
    const bool failed = !own || std::any_of(bands, bands + run.band_count,
                                            [](const Band &band) { return band.state == BandState::kFailed; });
    if (method == DecodeMethod::kPlain) return !failed && !run.stopped();
    if (failed) set_error(kErrorJpegDecoder);
    // Required: bands that fail on the threads of the pool, or of the other two methods, are no failure.
    return run.stopped() ? 0 : method != DecodeMethod::kPool || own;
}

// Where a thread could not be started.
int32_t give_up(JpegInfo *info, DecodeMethod method) {
    // Required: of two sessions the first decodes its part all the same.
    if (method == DecodeMethod::kTwoSessions) {
        const uint32_t top = static_cast<uint32_t>(info->plan.window.height) * 6 / 10 / 16 * 16;
        const uint32_t end = static_cast<uint32_t>(info->plan.window.y) + top;
        while (info->out.outputRow < end && step_decode(info, end) == kStepMoreRows) {
        }
    }
    cancel_with_children(info->decInfo);
    return 0;
}

}  // namespace

int32_t decode_in_bands(DecInfo *session, StreamBuffer *stream, void *output, int32_t width, int32_t height,
                        const DecodeSplit &split) {
    FrameRequest request = {0, 0, output, width, height};
    const FrameRequest asked = request;
    JpegInfo *info = open_decode(session, stream, &request);
    int32_t result = 0;
    if (info && (info->isRegion || !is_baseline(info))) {
        result = decode_all(info) != kStepFailed;
    } else if (info) {
        const bool splits = info->further_scan_count == 0 && info->plan.imcu_output_rows > 0 &&
                            session->midpointCount == 0 && !session->threadBandStart && can_share(session->ioInfo) &&
                            pays(info);
        const int32_t threads = splits ? threads_to_start(split.threads - 1) : 0;
        OsBlock bands(threads > 0 ? os_allocate_array<Band>(kMostBands) : nullptr);
        vorel_threadpool *pool = bands ? start_pool(threads) : nullptr;
        session->dualBusy = split.method == DecodeMethod::kPool;
        const bool needs_threads = split.method == DecodeMethod::kRestart || split.method == DecodeMethod::kTwoSessions;
        result = bands && !pool && needs_threads
                     ? give_up(info, split.method)
                     : run_bands(info, asked, split.method, pool, bands.as<Band>(), threads);
        session->dualBusy = 0;
    }
    close_decode(info);
    if (!result) VOREL_TRACE_AS(kTagJpeg, "BRIMJ_DecodeFrame");
    return result;
}

}  // namespace vorel
