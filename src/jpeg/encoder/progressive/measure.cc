// Sessions that count symbols in place of writing them, and the tables that come of it.
#include <vorel/jpeg_encoder_progressive.h>

#include <bit>
#include <cstdlib>

#include "jpeg/encoder/progressive/progressive.h"
#include "jpeg/encoder/sink.h"
#include "jpeg/encoder/strip_layout.h"
#include "util/util.h"

namespace vorel {
namespace {

constexpr uint32_t kZeroRunSymbol = 0xF0, kEndOfBlock = 0;
constexpr int32_t kStrips = 4;

// By table number.
struct Counts {
    uint32_t dc[2][kSymbolCounts], ac[2][kSymbolCounts];
};

bool count_block(uint32_t *dc, uint32_t *ac, const CodingBlock &block, int32_t difference) {
    const uint32_t dc_size = size_of(difference);
    if (dc_size > kMostDcBits) return false;
    ++dc[dc_size];
    int last = 0;
    for (uint64_t rest = block.nonzero & ~uint64_t{1}; rest; rest &= rest - 1) {
        const int at = std::countr_zero(rest);
        uint32_t run = static_cast<uint32_t>(at - last - 1);
        for (; run > 15; run -= 16) ++ac[kZeroRunSymbol];
        const uint32_t size = size_of(block.zigzag[at]);
        if (size > kMostAcBits) return false;
        ++ac[run << 4 | size];
        last = at;
    }
    if (last != kBlockCoefficients - 1) ++ac[kEndOfBlock];
    return true;
}

// A baseline session that writes nowhere.
JEInfo *counting_session(const RawInfo &raw, int32_t quality) {
    RawInfo input = raw;
    input.progressive = input.optimizeHuffman = 0;
    HuffmanSpec spec = {};
    spec.quality = quality > 0 ? static_cast<uint32_t>(quality) : 0;
    RimEncSink nowhere = {};
    nowhere.mode = kSinkFile;
    return __rim_jpeg_enc_initiaize(&input, &nowhere, &spec, nullptr);
}

// Counts of the tables that the scan uses.
bool has_counts(const JEInfo *session) {
    for (uint32_t i = 0; i < session->componentsInScan; ++i) {
        const JEComponent *component = session->scanComponents[i];
        if (!session->dcCounts[component->dcTable] || !session->acCounts[component->acTable]) return false;
    }
    return true;
}

bool count_rows(JEInfo *session, uint32_t *const *dc, uint32_t *const *ac, const char *entry) {
    session->gathering = 1;
    for (int i = 0; i < 2; ++i) {
        session->dcCounts[i] = dc[i];
        session->acCounts[i] = ac[i];
    }
    if (!has_counts(session)) return false;
    while (session->nextRow < session->height && !session->work->failed) __rim_jpeg_enc_process_image_data(session);
    if (!session->work->failed) return true;
    VOREL_LOG(kTagJpegStat, "[%s : __rim_jpeg_enc_process_image_data fail!!(%d)]\n", entry, __LINE__);
    return false;
}

void make_tables(JEInfo *session, Counts *counts, HuffmanSpec *spec) {
    bool done[2] = {};
    for (uint32_t i = 0; i < session->componentsInScan; ++i) {
        const uint32_t table = session->scanComponents[i]->dcTable;
        if (done[table]) continue;
        done[table] = true;
        brim_jpeg_gen_optimal_table(session, &spec->dcSlots[table], counts->dc[table]);
        brim_jpeg_gen_optimal_table(session, &spec->acSlots[table], counts->ac[table]);
    }
}

// Required: NV21 and NV12 are not measured in strips, and 16, which has no reader, is.
int32_t measured_pixel_bytes(uint32_t format) {
    if (format == COLOR_NV21 || format == COLOR_NV12) return -1;
    return format == 16 ? 0 : strip_pixel_bytes(format);
}

// The jobs of a picture, each on a thread of its own, or here where none can be had. False where one failed.
bool run_jobs(ScanJob *jobs, int32_t count) {
    pthread_t threads[kStrips] = {};
    bool running[kStrips] = {}, good = true;
    for (int32_t i = 0; i < count; ++i) {
        running[i] = VORELBRIM_OsThreadCreate(_rim_thread_scan_huffman, &jobs[i], &threads[i]) == 1;
        if (!running[i]) _rim_thread_scan_huffman(&jobs[i]);
    }
    for (int32_t i = 0; i < count; ++i) {
        if (running[i]) VORELBRIM_OsThreadWait(threads[i], nullptr);
        good = good && jobs[i].result == 1;
    }
    return good;
}

void fill_jobs(const RawInfo &raw, int32_t rows, int32_t quality, HuffmanSpec *spec, ScanJob *jobs, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        ScanJob &job = jobs[i];
        job.raw = strip_of(raw, i, rows, count);
        job.quality = static_cast<uint32_t>(quality);
        job.huffmanSpec = spec;
    }
}

void add_counts(const ScanJob &job, Counts *sum) {
    for (uint32_t i = 0; i < kSymbolCounts; ++i) {
        sum->dc[0][i] += job.dc0[i];
        sum->dc[1][i] += job.dc1[i];
        sum->ac[0][i] += job.ac0[i];
        sum->ac[1][i] += job.ac1[i];
    }
}

}  // namespace

bool count_mcu(JEInfo *session, const CodingBlock *blocks) {
    __rim_jpeg_write_restart_marker(session);
    int32_t *last_dc = session->entropy->lastDc;
    for (uint32_t i = 0; i < session->blocksInMcu; ++i) {
        const uint32_t member = session->mcuMembership[i];
        const JEComponent *component = session->scanComponents[member];
        uint32_t *dc = session->dcCounts[component->dcTable], *ac = session->acCounts[component->acTable];
        if (!dc || !ac || !count_block(dc, ac, blocks[i], blocks[i].dc - last_dc[member])) return false;
        last_dc[member] = blocks[i].dc;
    }
    return true;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t __rim_jpeg_enc_encode_htest_one_block(JEInfo *session, int16_t **blocks, void *) {
    if (!has_counts(session)) return 0;
    alignas(64) int16_t zigzag[kMaxBlocksInMcu][kBlockCoefficients];
    CodingBlock counted[kMaxBlocksInMcu];
    for (uint32_t i = 0; i < session->blocksInMcu; ++i)
        counted[i] = {zigzag[i], session->work->kernels->zigzag(blocks[i], zigzag[i]), blocks[i][0]};
    return count_mcu(session, counted);
}

int32_t encode_mcu_gather(JEInfo *session, int16_t **blocks) {
    return __rim_jpeg_enc_encode_htest_one_block(session, blocks, nullptr);
}

int32_t rim_get_scanning_huffman_with_ptr(RawInfo *raw, int32_t quality, uint32_t *dcCounts0, uint32_t *dcCounts1,
                                          uint32_t *acCounts0, uint32_t *acCounts1, HuffmanSpec *) {
    // Rows are counted from the picture's first one, and nextRow has 16 bits.
    if (!raw || (raw->stripMode && int64_t{raw->stripStartRow} + raw->height > kMostSide)) return 0;
    JEInfo *session = counting_session(*raw, quality);
    if (!session) return 0;
    if (raw->stripMode) {
        session->nextRow = static_cast<uint16_t>(raw->stripStartRow);
        session->height += static_cast<int32_t>(raw->stripStartRow);
    }
    uint32_t *const dc[2] = {dcCounts0, dcCounts1}, *const ac[2] = {acCounts0, acCounts1};
    const bool good = count_rows(session, dc, ac, __func__);
    destroy_session(session);
    return good;
}

int32_t rim_get_scanning_huffman(RawInfo *raw, int32_t quality, HuffmanSpec *spec) {
    if (!raw || !spec) return 0;
    JEInfo *session = counting_session(*raw, quality);
    if (!session) return 0;
    Counts counts = {};
    uint32_t *const dc[2] = {counts.dc[0], counts.dc[1]}, *const ac[2] = {counts.ac[0], counts.ac[1]};
    const bool good = count_rows(session, dc, ac, __func__);
    if (good) make_tables(session, &counts, spec);
    destroy_session(session);
    return good;
}

int32_t rim_multi_scanning_huffman(RawInfo *raw, int32_t quality, HuffmanSpec *spec) {
    if (!raw || !spec || raw->height < 1 || raw->height > kMostSide) return 0;
    const int32_t rows = strip_height(raw->height, kStrips);
    if (raw->height < kLeastStripsHeight || raw->height < rows) return rim_get_scanning_huffman(raw, quality, spec);
    if (raw->width > kMostSide) return 0;
    if (measured_pixel_bytes(raw->format) < 0) {
        VOREL_TRACE(kTagJpegStat);
        return 0;
    }
    OsBlock block(os_allocate_array<ScanJob>(kStrips));
    if (!block) {
        VOREL_TRACE(kTagJpegStat);
        // Required: tables without a symbol are said to be ready. The encode that uses them fails.
        return 1;
    }
    auto *jobs = block.as<ScanJob>();
    const int32_t count = (raw->height + rows - 1) / rows;
    fill_jobs(*raw, rows, quality, spec, jobs, count);
    if (!run_jobs(jobs, count)) return 0;
    Counts sum = {};
    for (int32_t i = 0; i < count; ++i) add_counts(jobs[i], &sum);
    JEInfo *session = counting_session(*raw, quality);
    if (!session) return 0;
    make_tables(session, &sum, spec);
    destroy_session(session);
    return 1;
}

void *_rim_thread_scan_huffman(void *scanJob) {
    auto *job = static_cast<ScanJob *>(scanJob);
    job->result = static_cast<uint32_t>(rim_get_scanning_huffman_with_ptr(
        &job->raw, static_cast<int32_t>(job->quality), job->dc0, job->dc1, job->ac0, job->ac1, job->huffmanSpec));
    store_release(&job->finished, 1u);
    return nullptr;
}

}  // extern "C"
