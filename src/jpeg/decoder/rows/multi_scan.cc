// Baseline frames whose components come in several scans: each further scan gets a reader of its own, over a second
// opening of the input that stands behind its SOS. All readers are pumped side by side, one iMCU row at a time.
#include <new>

#include "jpeg/decoder/setup.h"

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
    IoInfo *io = open_again(source);
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

// The next scan behind the header that was parsed last: its reader, or null. *position is where that header ends, and
// becomes where the scan's own does.
FurtherScan *open_next_scan(JpegInfo *info, int32_t *position) {
    FurtherScan *further = open_scan(info->scan.io);
    if (!further) return nullptr;
    info->header.sawSos = 0;
    const MarkerParser parser = {further->scan.streamBuffer, further->scan.io, &info->own_frame, &info->header,
                                 info->decInfo};
    int32_t status = kStepFailed;
    const bool there = further->cursor.ready() && further->cursor.start_at(*position) == *position;
    const int32_t marker = there ? parse_to_scan(parser, &status) : 0;
    if (status == kStepOk && marker == kSos && set_up_scan(info, &further->scan)) {
        *position = stream_position(further->scan.streamBuffer);
        return further;
    }
    close_scan(further);
    return nullptr;
}

}  // namespace

int32_t open_further_scans(JpegInfo *info) {
    if (!has_separate_scans(info)) return kStepOk;
    const uint32_t all = (1u << info->frame->numComponents) - 1;
    uint32_t covered = scan_mask(info->header.scan);
    int32_t position = stream_position(info->scan.streamBuffer);
    while (covered != all) {
        FurtherScan *further =
            info->further_scan_count < kMaxComponents - 1 ? open_next_scan(info, &position) : nullptr;
        if (!further) {
            VOREL_TRACE_AS(kTagJpeg, "BRIMJ_DecodeImage");
            return kStepFailed;
        }
        info->further_scans[info->further_scan_count++] = further;
        covered |= scan_mask(info->header.scan);
    }
    return kStepOk;
}

void close_further_scans(JpegInfo *info) {
    for (int32_t i = 0; i < info->further_scan_count; ++i) close_scan(info->further_scans[i]);
    info->further_scan_count = 0;
}

}  // namespace vorel
