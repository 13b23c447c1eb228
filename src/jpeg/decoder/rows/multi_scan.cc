// Frames whose coefficients come in several scans: each further scan gets a reader of its own, over a second opening of
// the input that stands behind its SOS. All readers are pumped side by side, one iMCU row at a time. In a baseline
// frame each has components of its own; in a progressive one each adds to what those before it gave.
#include <cstring>
#include <new>

#include "jpeg/decoder/entropy/progressive.h"
#include "jpeg/decoder/setup.h"
#include "jpeg/decoder/statistics/statistics.h"

namespace vorel {
namespace {

uint32_t scan_mask(const ScanHeader &scan) {
    uint32_t mask = 0;
    for (int i = 0; i < scan.compsInScan; ++i) mask |= 1u << scan.component[i];
    return mask;
}

void close_scan(FurtherScan *further) {
    if (!further) return;
    IoInfo *io = further->scan.io;
    release_scan(&further->scan);
    further->~FurtherScan();
    os_release(further);
    close_again(io);
}

FurtherScan *open_scan(const IoInfo *source) {
    IoInfo *io = share_input(source);
    void *memory = io ? os_allocate_zeroed(sizeof(FurtherScan)) : nullptr;
    if (!memory) {
        close_again(io);
        return nullptr;
    }
    FurtherScan *further = new (memory) FurtherScan(io);
    further->scan.io = io;
    further->scan.streamBuffer = further->cursor.stream();
    further->scan.readBuffer = further->cursor.block();
    return further;
}

// Raw Huffman tables put aside while the headers of a further scan are parsed: what these define anew counts against
// the tables of the decode, and slots that they leave empty get theirs back.
class TablesAside {
  public:
    explicit TablesAside(HeaderState *header) : header_(header) {
        std::memcpy(dc_, header->huffDc, sizeof dc_);
        std::memcpy(ac_, header->huffAc, sizeof ac_);
        std::memset(header->huffDc, 0, sizeof header->huffDc);
        std::memset(header->huffAc, 0, sizeof header->huffAc);
    }
    ~TablesAside() {
        for (int i = 0; i < 4; ++i) {
            take_back(&header_->huffDc[i], dc_[i]);
            take_back(&header_->huffAc[i], ac_[i]);
        }
    }
    TablesAside(const TablesAside &) = delete;
    TablesAside &operator=(const TablesAside &) = delete;

  private:
    static void take_back(RawHuffTable **slot, RawHuffTable *old) {
        if (*slot) {
            os_release(old);
        } else {
            *slot = old;
        }
    }

    HeaderState *header_;
    RawHuffTable *dc_[4], *ac_[4];
};

enum class Next : uint8_t { kScan, kNone, kFailed };

// T.81 G.1.1.1.1, and the point transforms of 8-bit samples.
bool allowed_in_progression(const ScanHeader &scan) {
    if (scan.Ss == 0 ? scan.Se != 0 : scan.Se < scan.Ss || scan.Se >= kBlockCoefficients || scan.compsInScan > 1)
        return false;
    return (scan.Ah == 0 || scan.Ah == scan.Al + 1) && scan.Al <= kMaxPointTransform;
}

// The headers up to the next SOS. A progressive frame has as many scans as its headers are whole.
Next parse_next_scan(JpegInfo *info, const MarkerParser &parser) {
    int32_t status = kStepFailed;
    info->header.sawSos = 0;
    if (is_baseline(info))
        return parse_to_scan(parser, &status) == kSos && status == kStepOk ? Next::kScan : Next::kFailed;
    const TablesAside aside(&info->header);
    while (parse_to_scan(parser, &status) != kSos && status == kStepOk) {
    }
    if (info->header.out_of_memory || !allowed_in_progression(info->header.scan)) return Next::kFailed;
    return status == kStepOk ? Next::kScan : Next::kNone;
}

// The next scan behind the header that was parsed last, with its reader. *position is where that header ends, and
// becomes where the scan's own does.
Next open_next_scan(JpegInfo *info, int32_t *position) {
    const StepScope scope(JPEG_STAT_HEADERS);
    FurtherScan *further = open_scan(info->scan.io);
    if (!further) return Next::kFailed;
    const MarkerParser parser = {further->scan.streamBuffer, further->scan.io, &info->own_frame, &info->header,
                                 info->decInfo};
    const bool there = further->cursor.ready() && further->cursor.start_at(*position) == *position;
    Next next = there ? parse_next_scan(info, parser) : Next::kFailed;
    if (next == Next::kScan && !set_up_scan(info, &further->scan)) next = Next::kFailed;
    if (next != Next::kScan) {
        close_scan(further);
        return next;
    }
    *position = stream_position(further->scan.streamBuffer);
    info->further_scans[info->further_scan_count++] = further;
    return Next::kScan;
}

void close_last_scan(JpegInfo *info) { close_scan(info->further_scans[--info->further_scan_count]); }

int32_t open_baseline_scans(JpegInfo *info) {
    const uint32_t all = (1u << info->frame->numComponents) - 1;
    uint32_t covered = scan_mask(info->header.scan);
    int32_t position = stream_position(info->scan.streamBuffer);
    while (covered != all) {
        const bool slots_left = info->further_scan_count < kMaxComponents - 1;
        if (!slots_left || open_next_scan(info, &position) != Next::kScan) return kStepFailed;
        covered |= scan_mask(info->header.scan);
    }
    return kStepOk;
}

// ---- Progressive frames

// Required: a picture of an eighth goes through the scans of the first DC bits, a window of one without a map through
// all.
bool looks_at_dc_alone(const JpegInfo *info) {
    return info->plan.scaleIndex == 3 && (info->lender || (!info->decInfo->partialDecode && !info->isRegion));
}

// Notes the components whose scans so far hold all that the scale looks at: at 1/2 and 1/4 the first AC scan that
// reaches that far is the last one, at 1/8 the DC. Refinements behind it are left out.
void note_coverage(JpegInfo *info, const ScanReader *scan) {
    const int32_t step = info->plan.scaleIndex, end = scan->sos.Se;
    if (!looks_at_dc_alone(info) && !(step == 1 && end > 18) && !(step == 2 && end >= 5)) return;
    for (int i = 0; i < scan->compsInScan; ++i) info->progressive.covered |= 1u << scan->components[i].component->index;
}

bool is_covered(const JpegInfo *info) {
    const uint32_t components = info->frame->numComponents;
    // Required: of more components than one the first three count at 1/2 and 1/4, so that two are never whole.
    const uint32_t looked_at = looks_at_dc_alone(info) ? (1u << components) - 1 : components == 1 ? 1 : 7;
    return (info->progressive.covered & looked_at) == looked_at;
}

bool is_dc_first(const ScanReader *scan) { return pass_of(scan) == Pass::kDcFirst; }

FurtherScan *last_scan(const JpegInfo *info) { return info->further_scans[info->further_scan_count - 1]; }

bool has_all(const ScanReader *scan, DerivedTable *const *tables) {
    for (int b = 0; b < scan->blocksInMcu; ++b) {
        if (!tables[b]) return false;
    }
    return true;
}

// How many scans are gone through, and which components they are worth showing of: a scan that lacks a table ends the
// row, and with it chroma, or all.
void find_usable_scans(JpegInfo *info) {
    ProgressiveState &state = info->progressive;
    state.scans = 0;
    state.shown_components = info->frame->numComponents;
    for (; state.scans <= info->further_scan_count; ++state.scans) {
        const ScanReader *scan = progressive_scan(info, state.scans);
        const Pass pass = pass_of(scan);
        const bool ac = scan->sos.Ss != 0;
        if (ac && !has_all(scan, scan->entropy.blockAc)) {
            state.shown_components = 1;
            return;
        }
        if (pass == Pass::kDcFirst && !has_all(scan, scan->entropy.blockDc)) {
            state.shown_components = 0;
            return;
        }
    }
}

// The end of the search: what there is has to do.
int32_t finish_scan_search(JpegInfo *info) {
    const ScanReader *last = progressive_scan(info, info->further_scan_count);
    const bool has_tables = has_all(last, last->entropy.blockDc) && has_all(last, last->entropy.blockAc);
    if (!looks_at_dc_alone(info) && !has_tables) return kStepFailed;
    find_usable_scans(info);
    info->progressive.scans_found = true;
    return kStepOk;
}

bool share_next_scan(JpegInfo *info, const ScanReader &from) {
    FurtherScan *further = open_scan(info->scan.io);
    if (!further) return false;
    if (!further->cursor.ready() || !share_scan(&further->scan, from)) {
        close_scan(further);
        return false;
    }
    info->further_scans[info->further_scan_count++] = further;
    return true;
}

// The lender has the scans of its whole size; of these as many are gone through as by a decode of its own.
bool share_needed_scans(JpegInfo *info) {
    const JpegInfo *lender = info->lender;
    const bool dc_only = looks_at_dc_alone(info);
    if (dc_only && !is_dc_first(&info->scan)) return false;
    note_coverage(info, &info->scan);
    for (int32_t i = 0; i < lender->further_scan_count && !is_covered(info); ++i) {
        const ScanReader &from = lender->further_scans[i]->scan;
        if (dc_only && !is_dc_first(&from)) break;
        if (!share_next_scan(info, from)) return false;
        note_coverage(info, &last_scan(info)->scan);
    }
    find_usable_scans(info);
    info->progressive.scans_found = true;
    return allocate_coefficient_rows(info);
}

}  // namespace

bool begin_scan_search(JpegInfo *info) {
    if (!allowed_in_progression(info->header.scan) || (looks_at_dc_alone(info) && !is_dc_first(&info->scan)))
        return false;
    ProgressiveState &state = info->progressive;
    state.covered = 0;
    state.scans_found = false;
    note_coverage(info, &info->scan);
    state.search_position = stream_position(info->scan.streamBuffer);
    return allocate_coefficient_rows(info);
}

int32_t search_scans(JpegInfo *info, int32_t until) {
    ProgressiveState &state = info->progressive;
    if (state.scans_found) return kStepOk;
    while (!is_covered(info) && info->further_scan_count < kMaxScans - 1) {
        if (info->further_scan_count + 1 >= until) return kStepMoreRows;
        const Next next = open_next_scan(info, &state.search_position);
        if (next == Next::kFailed) return kStepFailed;
        if (next == Next::kNone) break;
        const ScanReader *scan = &last_scan(info)->scan;
        if (looks_at_dc_alone(info) && !is_dc_first(scan)) {
            close_last_scan(info);
            break;
        }
        note_coverage(info, scan);
    }
    return finish_scan_search(info);
}

int32_t share_further_scans(JpegInfo *info) {
    if (share_needed_scans(info)) return kStepOk;
    close_further_scans(info);
    return kStepFailed;
}

void close_further_inputs(JpegInfo *info) {
    for (int32_t i = 0; i < info->further_scan_count; ++i) {
        FurtherScan *further = info->further_scans[i];
        IoInfo *io = further->scan.io;
        const ScanReader scan = further->scan;
        further->~FurtherScan();
        close_again(io);
        further = new (further) FurtherScan(nullptr);
        further->scan = scan;
        further->scan.io = nullptr;
        further->scan.streamBuffer = nullptr;
        further->scan.readBuffer = nullptr;
    }
}

int32_t open_further_scans(JpegInfo *info) {
    int32_t result = kStepOk;
    if (!is_baseline(info)) {
        result = begin_scan_search(info) ? search_scans(info, INT32_MAX) : kStepFailed;
    } else if (has_separate_scans(info)) {
        result = open_baseline_scans(info);
    }
    if (result != kStepOk) {
        close_further_scans(info);
        VOREL_TRACE_AS(kTagJpeg, "BRIMJ_DecodeImage");
    }
    return result;
}

void close_further_scans(JpegInfo *info) {
    while (info->further_scan_count > 0) close_last_scan(info);
}

}  // namespace vorel
