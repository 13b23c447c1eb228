// The stream's headers, from SOI to SOS.
#include "jpeg/encoder/headers/markers.h"

#include <vorel/exif_writer.h>

#include "jpeg/encoder/sink.h"

namespace vorel {
namespace {

constexpr int32_t kAdobeColour = 1;  // a colourMode that no format has

}  // namespace

void write_marker(JEInfo *session, int32_t marker) {
    if (make_room(session, 2)) put_marker(session, marker);
}

void write_dqt(JEInfo *session, uint32_t table) {
    uint32_t *values = table < 4 ? session->quantSent[table] : nullptr;
    if (!values || values[64] || !make_room(session, 69)) return;
    put_marker(session, kDqt);
    put_short(session, 67);
    put_byte(session, table);
    for (int k = 0; k < kBlockCoefficients; ++k) put_byte(session, values[session->zigzag[k]]);
    values[64] = 1;
}

void write_dht(JEInfo *session, uint32_t number, bool is_ac) {
    RimEncHuffTable *table = number < 4 ? (is_ac ? session->acSpecs : session->dcSpecs)[number] : nullptr;
    if (!table || table->sent) return;
    uint32_t symbols = 0;
    for (int length = 1; length <= 16; ++length) symbols += table->counts[length];
    // A caller's table may claim more than there are symbols.
    if (symbols > 256) symbols = 256;
    if (!make_room(session, 21 + symbols)) return;
    put_marker(session, kDht);
    put_short(session, 19 + symbols);
    put_byte(session, number + (is_ac ? 16 : 0));
    put_bytes(session, table->counts + 1, 16);
    put_bytes(session, table->values, symbols);
    table->sent = 1;
}

void write_sof(JEInfo *session, int32_t marker) {
    if (!make_room(session, 10 + 3 * session->componentCount)) return;
    put_marker(session, marker);
    put_short(session, 8 + 3 * session->componentCount);
    put_byte(session, 8);
    put_short(session, static_cast<uint32_t>(session->height));
    put_short(session, session->width);
    put_byte(session, session->componentCount);
    for (uint32_t i = 0; i < session->componentCount; ++i) {
        const JEComponent &component = session->components[i];
        put_byte(session, component.id);
        put_byte(session, static_cast<uint32_t>(component.hSamp << 4 | component.vSamp));
        put_byte(session, component.quantTable);
    }
}

void write_dri(JEInfo *session, uint32_t interval) {
    if (!make_room(session, 6)) return;
    put_marker(session, kDri);
    put_short(session, 4);
    put_short(session, interval);
}

}  // namespace vorel

using namespace vorel;

extern "C" {

// JFIF 1.01, 59 dots a centimetre either way, no thumbnail.
void __rim_jpeg_enc_write_app0_marker(JEInfo *session) {
    static constexpr uint8_t kSegment[18] = {0xFF, kApp0, 0, 16, 'J',  'F', 'I',  'F', 0,
                                             1,    1,     2, 0,  0x3B, 0,   0x3B, 0,   0};
    if (make_room(session, sizeof kSegment)) put_bytes(session, kSegment, sizeof kSegment);
}

// Required: the scan parameters of a baseline session are all 0, Se too. Sequential decoders do not look at them.
void __rim_jpeg_enc_write_sos_marker(JEInfo *session) {
    if (!make_room(session, 8 + 2 * session->componentsInScan)) return;
    put_marker(session, kSos);
    put_short(session, 2u * (session->componentsInScan + 3u));
    put_byte(session, session->componentsInScan);
    for (uint32_t i = 0; i < session->componentsInScan; ++i) {
        const JEComponent *component = session->scanComponents[i];
        put_byte(session, component->id);
        put_byte(session, static_cast<uint32_t>(component->dcTable << 4 | component->acTable));
    }
    put_byte(session, session->ss);
    put_byte(session, session->se);
    put_byte(session, session->ah << 4 | session->al);
}

int32_t __rim_jpeg_enc_make_header(JEInfo *session) {
    const PresetHeader *preset = session->hasPresetHeader ? session->presetHeader : nullptr;
    write_marker(session, kSoi);
    if (session->colourMode != kAdobeColour) __rim_jpeg_enc_write_app0_marker(session);
    if (session->exif) __rim_jpeg_enc_write_app1_marker(session);
    if (session->colourMode == kAdobeColour) {
        __rim_jpeg_enc_write_com_marker(session);
        __rim_jpeg_enc_write_app14_marker(session);
    }
    const uint32_t colours = session->componentCount > 1 ? 2 : 1;
    const uint32_t quantisers = preset ? preset->quantTableCount : colours;
    for (uint32_t i = 0; i < quantisers; ++i) write_dqt(session, i);
    write_sof(session, kSof0);
    for (uint32_t i = 0; i < colours; ++i) {
        write_dht(session, i, false);
        write_dht(session, i, true);
    }
    // The column encoder, which sets no markers inside of its rows, has an interval for the whole stream all the same.
    const uint32_t interval = !preset ? session->restartInterval : preset->restart ? session->mcusPerRow : 0;
    if (interval) write_dri(session, interval);
    __rim_jpeg_enc_write_sos_marker(session);
    return !session->work->failed;
}

}  // extern "C"
