#include "jpeg/decoder/iterative/midpoint.h"

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "jpeg/decoder/driver.h"
#include "jpeg/decoder/entropy/stored_position.h"

namespace vorel {
namespace {

// Where applications find the fields in the stored record.
static_assert(sizeof(Midpoint) == kMidpointBytes);
static_assert(offsetof(Midpoint, streamPosition) == 8 && offsetof(Midpoint, bufferBytesLeft) == 24);
static_assert(offsetof(Midpoint, insufficientData) == 28 && offsetof(Midpoint, nextRestartNumber) == 30);
static_assert(offsetof(Midpoint, bitCount) == 32 && offsetof(Midpoint, lastDc) == 38);
static_assert(offsetof(Midpoint, outputRow) == 48 && offsetof(Midpoint, pumpRow) == 60);

// Output rows that a pump which keeps rows back for upsampling has behind it in front of an iMCU row: at full size the
// vertical sampling is missing.
uint32_t output_rows_before(const JpegInfo *info, uint32_t imcu_row) {
    const DecInfo *session = info->decInfo;
    const uint32_t lag = info->frame->maxV;
    const uint32_t rows = imcu_row * static_cast<uint32_t>(info->plan.imcu_output_rows);
    const bool walks_ahead = session->dualBusy && session->dualTargetWidth != 0;
    if (!walks_ahead) return info->plan.scaleIndex == 0 ? rows - lag : rows;
    // The walk at 1/8 speaks of the rows of the decode that it is for.
    return session->sampleSize == 4 ? 2 * rows : session->sampleSize == 2 ? 4 * rows : 8 * rows - lag;
}

Midpoint *new_midpoint() { return static_cast<Midpoint *>(os_allocate_zeroed(sizeof(Midpoint))); }

void replace(Midpoint **slot, const Midpoint *record) {
    Midpoint *copy = record ? new_midpoint() : nullptr;
    if (copy) *copy = *record;
    os_release(*slot);
    // Threads may wait for it to be whole.
    store_release(slot, copy);
}

void put_16(uint8_t *out, uint32_t value) {
    out[0] = static_cast<uint8_t>(value);
    out[1] = static_cast<uint8_t>(value >> 8);
}
void put_32(uint8_t *out, uint32_t value) {
    put_16(out, value);
    put_16(out + 2, value >> 16);
}

// Calls visit(offset, field) for every field of the stored record.
template <typename Record, typename Visit16, typename Visit32>
void for_fields(Record &m, const Visit16 &visit16, const Visit32 &visit32) {
    visit32(0, m.streamSize);
    visit16(4, m.width);
    visit16(6, m.height);
    visit32(8, m.streamPosition);
    visit32(12, m.unreadMarker);
    visit32(16, m.bitBuffer);
    visit32(20, m.eobRun);
    visit16(24, m.bufferBytesLeft);
    visit16(26, m.restartsToGo);
    visit16(30, m.nextRestartNumber);
    visit32(32, m.bitCount);
    for (int c = 0; c < kMaxComponents; ++c) visit16(38 + 2 * c, m.lastDc[c]);
    visit32(48, m.outputRow);
    visit32(52, m.iMcuRow);
    visit32(56, m.iMcuRowCount);
    visit32(60, m.pumpRow);
}

void write_record(const Midpoint &midpoint, uint8_t *out) {
    std::memset(out, 0, kMidpointBytes);
    for_fields(
        midpoint, [out](int at, auto value) { put_16(out + at, static_cast<uint16_t>(value)); },
        [out](int at, uint32_t value) { put_32(out + at, value); });
    out[28] = midpoint.insufficientData;
}

Midpoint read_record(const uint8_t *bytes) {
    Midpoint out = {};
    for_fields(
        out,
        [bytes](int at, auto &field) {
            field = static_cast<std::remove_reference_t<decltype(field)>>(little_endian_16(bytes + at));
        },
        [bytes](int at, uint32_t &field) { field = little_endian_32(bytes + at); });
    out.insufficientData = bytes[28];
    return out;
}

int32_t stored_count(const DecInfo *session) {
    const int32_t count = session->midpointCount;
    return count < 0 ? 0 : count > kMaxMidpoints ? kMaxMidpoints : count;
}

}  // namespace

bool save_midpoint(JpegInfo *info, Midpoint *out) {
    *out = {};
    if (!is_baseline(info) || info->further_scan_count != 0 || info->plan.imcu_output_rows == 0) return false;
    const DecInfo *session = info->decInfo;
    if (!begin_mcu(&info->scan)) return false;
    const EntropyPosition position = tell(&info->scan);
    store_position(position, session, out);
    out->insufficientData = position.out_of_data;
    out->streamSize = static_cast<uint32_t>(session->ioInfo->size);
    out->width = info->frame->imageWidth;
    out->height = info->frame->imageHeight;
    out->outputRow = output_rows_before(info, info->pump.imcu_row);
    out->iMcuRow = out->iMcuRowCount = out->pumpRow = info->pump.imcu_row;
    return true;
}

bool is_midpoint_of(const JpegInfo *info, const Midpoint &m) {
    const uint32_t size = static_cast<uint32_t>(info->decInfo->ioInfo->size);
    if (m.streamSize != size || m.width != info->frame->imageWidth || m.height != info->frame->imageHeight)
        return false;
    if (m.iMcuRow == 0 || m.iMcuRow >= info->frame->imcu_rows) return false;
    return m.streamPosition <= size && m.bufferBytesLeft <= m.streamPosition && m.bufferBytesLeft <= kBlockBytes &&
           m.bitCount <= kReservoirBits;
}

bool load_midpoint(JpegInfo *info, const Midpoint &midpoint) {
    EntropyPosition position;
    return is_midpoint_of(info, midpoint) && load_position(midpoint, midpoint.insufficientData != 0, &position) &&
           start_at_row(info, midpoint.iMcuRow, position);
}

void take_due_midpoint(JpegInfo *info) {
    DecInfo *session = info->decInfo;
    const int32_t count = stored_count(session);
    if (session->midpointPhase != 1 || session->noMidpointTaking || session->midpointIndex >= count) return;
    const uint32_t spacing = info->frame->imcu_rows / static_cast<uint32_t>(count + 1);
    if (info->pump.imcu_row <= static_cast<uint32_t>(session->midpointIndex + 1) * spacing) return;
    // Rows between the boundaries of 8 pixels have none; no frame has such.
    if (info->pump.imcu_row * info->frame->mcuHeight % kBlockSide == 0) {
        SAVE_MID_POINT(info);
        if (session->midpointIndex == count - 1) session->midpointPhase = 2;
    }
    ++session->midpointIndex;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

void SAVE_MID_POINT(JpegInfo *info) {
    Midpoint midpoint;
    if (!save_midpoint(info, &midpoint)) return;
    DecInfo *session = info->decInfo;
    // Each place owns its copy.
    replace(&session->midpointState, &midpoint);
    if (session->midpointCount != 0 && session->midpointIndex >= 0 && session->midpointIndex < kMaxMidpoints)
        replace(&session->midpoints[session->midpointIndex], &midpoint);
}

void LOAD_MID_POINT(JpegInfo *info) {
    Midpoint **state = &info->decInfo->midpointState;
    if (!*state) return;
    if (!load_midpoint(info, **state)) VOREL_TRACE(kTagJpeg);
    replace(state, nullptr);
}

void SetMidPoint(void) {}

int32_t vorel_write_midpoints(const DecInfo *session, uint8_t *blob, int32_t size) {
    if (!session) return 0;
    const int32_t count = stored_count(session), needed = 4 + count * kMidpointBytes;
    if (!blob || size < needed) return needed;
    put_32(blob, static_cast<uint32_t>(count));
    for (int32_t i = 0; i < count; ++i) {
        const Midpoint *midpoint = session->midpoints[i];
        write_record(midpoint ? *midpoint : Midpoint{}, blob + 4 + i * kMidpointBytes);
    }
    return needed;
}

int32_t vorel_read_midpoints(DecInfo *session, const uint8_t *blob, int32_t size) {
    if (!session || !blob || size < 4) return 0;
    const uint32_t count = little_endian_32(blob);
    if (count > kMaxMidpoints || (static_cast<uint32_t>(size) - 4) / kMidpointBytes < count) return 0;
    for (Midpoint *&midpoint : session->midpoints) replace(&midpoint, nullptr);
    for (uint32_t i = 0; i < count; ++i) {
        const Midpoint midpoint = read_record(blob + 4 + i * kMidpointBytes);
        if (midpoint.iMcuRow != 0) replace(&session->midpoints[i], &midpoint);
    }
    session->midpointCount = static_cast<int32_t>(count);
    return 1;
}

}  // extern "C"
