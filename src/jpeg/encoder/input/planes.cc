// Readers of samples that need no conversion: planes, chroma in pairs, packed 4:2:2.
#include <vorel/jpeg_encoder_input.h>

#include "jpeg/encoder/input/sample_rows.h"

namespace vorel {
namespace {

// Rows that need neither padding nor repeating stay where they are.
bool take_in_place(JEInfo *session, uint32_t index) {
    const JEComponent &component = session->components[index];
    const uint32_t width = component.sampledWidth, count = component.rowsThisMcu;
    if (!session->work->mayPoint || width != component.paddedWidth || count != component.rowsPerMcu ||
        count > JEWork::kMostRows)
        return false;
    uint8_t *&cursor = session->planeCursor[index];
    for (uint32_t y = 0; y < count; ++y, cursor += width) session->work->inPlace[index][y] = cursor;
    session->work->rows[index] = session->work->inPlace[index];
    return true;
}

void read_plane(JEInfo *session, uint32_t index) {
    const JEComponent &component = session->components[index];
    uint8_t **rows = session->sampling->rows[index];
    uint8_t *&cursor = session->planeCursor[index];
    if (!cursor || take_in_place(session, index)) return;
    for (uint32_t y = 0; y < component.rowsThisMcu; ++y) {
        std::memcpy(rows[y], cursor, component.sampledWidth);
        cursor += component.sampledWidth;
        pad_row(rows[y], component.sampledWidth, component.paddedWidth);
    }
    repeat_rows(rows, component.rowsThisMcu, component);
}

// Packed rows without padding between them. Chroma of every row, or of the even ones, whose padding ends at
// `chroma_padded`.
struct PackedRows {
    const uint8_t *src;
    bool halved;
    uint32_t chroma_padded;
};
const uint8_t *read_packed(JEInfo *session, const PackedRows &packed) {
    const JEComponent *components = session->components;
    uint8_t **const *rows = session->sampling->rows;
    const uint32_t width = session->width, pairs = yuyv_pairs(width), count = components[0].rowsThisMcu;
    const uint32_t step = packed.halved ? 2 : 1;
    const uint8_t *src = packed.src;
    for (uint32_t y = 0; y < count; ++y, src += yuyv_row_bytes(width)) {
        if (y % step == 0) {
            uint8_t *u = rows[1][y / step], *v = rows[2][y / step];
            session->work->kernels->split_yuyv(src, static_cast<int32_t>(pairs), rows[0][y], u, v);
            pad_row(u, pairs, packed.chroma_padded);
            pad_row(v, pairs, packed.chroma_padded);
        } else {
            for (uint32_t x = 0; x < width; ++x) rows[0][y][x] = src[2 * size_t{x}];
        }
        pad_row(rows[0][y], width, components[0].paddedWidth);
    }
    repeat_rows(rows[0], count, components[0]);
    for (int i = 1; i < 3; ++i) repeat_rows(rows[i], (count + step - 1) / step, components[i]);
    return src;
}

int32_t read_camera(JEInfo *session, bool halved) {
    if (!takes_samples(session, session->inputBase)) return 1;
    session->inputBase =
        const_cast<uint8_t *>(read_packed(session, {session->inputBase, halved, session->components[1].paddedWidth}));
    return 1;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t __rim_jpeg_enc_get_raw_data(JEInfo *session) {
    for (uint32_t i = 0; i < session->componentCount; ++i) read_plane(session, i);
    return 1;
}

// Chroma pairs are read as Cr, Cb. Of Cb first the cursor stands a byte further on, so each Cr comes with the Cb of the
// next pair; behind the picture's last one there is none, and its own is taken.
int32_t __rim_jpeg_enc_get_raw_yuv420_nv21_data(JEInfo *session) {
    read_plane(session, 0);
    uint8_t *&cursor = session->planeCursor[2];
    if (!takes_samples(session, cursor)) return 1;
    const JEComponent &component = session->components[1];
    const uint32_t width = component.sampledWidth;
    uint8_t **cb = session->sampling->rows[1], **cr = session->sampling->rows[2];
    for (uint32_t y = 0; y < component.rowsThisMcu; ++y) {
        const bool cut = cursor + 2 * size_t{width} > session->work->pairsEnd;
        session->work->kernels->split_pairs(cursor, static_cast<int32_t>(width - cut), cr[y], cb[y]);
        cursor += 2 * size_t{width};
        if (cut) cr[y][width - 1] = cursor[-2], cb[y][width - 1] = cursor[-3];
        pad_row(cb[y], width, component.paddedWidth);
        pad_row(cr[y], width, component.paddedWidth);
    }
    repeat_rows(cb, component.rowsThisMcu, component);
    repeat_rows(cr, component.rowsThisMcu, session->components[2]);
    return 1;
}

int32_t __rim_jpeg_enc_get_raw_yuyv_data(JEInfo *session) {
    // Chroma is padded to half of what luma is; where that has an odd number of blocks, the rest of the last chroma
    // block stays at the middle.
    const PackedRows packed = {session->planeCursor[0], false, session->components[0].paddedWidth / 2};
    if (takes_samples(session, packed.src))
        session->planeCursor[0] = const_cast<uint8_t *>(read_packed(session, packed));
    return 1;
}

int32_t __rim_jpeg_enc_get_raw_magiceye422_data(JEInfo *session) { return read_camera(session, true); }
int32_t __rim_jpeg_enc_get_raw_magiceye422_data_for_yuv422(JEInfo *session) { return read_camera(session, false); }

}  // extern "C"
