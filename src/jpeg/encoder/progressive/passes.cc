// The passes of a progressive session: a scan is gathered and written, one after another.
#include <vorel/jpeg_encoder_progressive.h>

#include "jpeg/encoder/headers/markers.h"
#include "jpeg/encoder/progressive/progressive.h"
#include "jpeg/encoder/progressive/scan_coder.h"
#include "jpeg/encoder/sink.h"

namespace vorel {
namespace {

constexpr uint32_t kMainPass = 0, kGatherPass = 1, kOutputPass = 2;

bool is_dc_first(const JEInfo *session) { return session->ss == 0 && session->ah == 0; }
bool is_dc_refinement(const JEInfo *session) { return session->ss == 0 && session->ah > 0; }

int32_t select_scan(JEInfo *session) {
    vjpeg_select_scan_parameters(session);
    return vjpeg_per_scan_setup(session);
}

int32_t start_pass(JEInfo *session, bool gather) {
    if (!session->phuff->startPass(session, gather)) return 0;
    session->coefState->mcuRow = 0;
    __rim_jpeg_enc_setup_imcu(session);
    return 1;
}

// T.81 B.2.3: tables that the scan does not use are 0.
void write_progressive_sos(JEInfo *session) {
    const uint32_t components = session->componentsInScan;
    if (!make_room(session, 8 + 2 * components)) return;
    put_marker(session, kSos);
    put_short(session, 2 * components + 6);
    put_byte(session, components);
    for (uint32_t i = 0; i < components; ++i) {
        const JEComponent *component = session->scanComponents[i];
        const uint32_t dc = is_dc_first(session) ? component->dcTable : 0, ac = session->ss ? component->acTable : 0;
        put_byte(session, component->id);
        put_byte(session, dc << 4 | ac);
    }
    put_byte(session, session->ss);
    put_byte(session, session->se);
    put_byte(session, session->ah << 4 | session->al);
}

bool read_picture(JEInfo *session) {
    while (session->nextRow < session->height) {
        if (!__rim_jpeg_enc_process_image_data(session) || session->work->failed) return false;
    }
    return true;
}

bool run_pass(JEInfo *session) {
    for (uint32_t row = 0; row < session->mcuRowTotal; ++row) {
        if (!__rim_jpeg_enc_compress_output(session)) return false;
    }
    return true;
}

}  // namespace

bool encode_progressive(JEInfo *session) {
    if (!read_picture(session) || !vjpeg_init_c_master_control(session)) return false;
    for (;;) {
        vjpeg_finish_pass_master(session);
        if (session->work->failed) return false;
        if (session->master->isLastPass) return true;
        if (!vjpeg_prepare_for_pass(session) || !run_pass(session)) return false;
    }
}

}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t vjpeg_init_c_master_control(JEInfo *session) {
    if (!has_scans(session)) return 0;
    *session->master = {};
    session->master->passType = kMainPass;
    session->master->totalPasses = session->gathering ? 2 * session->scanCount : session->scanCount;
    return 1;
}

int32_t vjpeg_prepare_for_pass(JEInfo *session) {
    if (!has_scans(session)) return 0;
    JEMaster *master = session->master;
    if (master->passType == kGatherPass) {
        if (!select_scan(session)) return 0;
        if (!is_dc_refinement(session)) {
            if (!start_pass(session, true)) return 0;
            master->isLastPass = master->passNumber == master->totalPasses - 1;
            return 1;
        }
        // Its bits have no codes, so there is nothing to gather.
        master->passType = kOutputPass;
        ++master->passNumber;
    }
    if (!session->gathering && !select_scan(session)) return 0;
    if (!start_pass(session, false)) return 0;
    if (master->scanNumber == 0) vjpeg_write_frame_header(session);
    vjpeg_wirte_scan_header(session);
    master->isLastPass = master->passNumber == master->totalPasses - 1;
    return !session->work->failed;
}

void vjpeg_finish_pass_master(JEInfo *session) {
    if (!has_scans(session)) return;
    JEMaster *master = session->master;
    session->phuff->finishPass(session);
    if (master->passType == kMainPass) {
        master->passType = kOutputPass;
        if (!session->gathering) ++master->scanNumber;
    } else if (master->passType == kGatherPass) {
        master->passType = kOutputPass;
    } else {
        if (session->gathering) master->passType = kGatherPass;
        ++master->scanNumber;
    }
    ++master->passNumber;
}

void vjpeg_write_frame_header(JEInfo *session) {
    for (uint32_t i = 0; i < session->componentCount; ++i) write_dqt(session, session->components[i].quantTable);
    write_sof(session, kSof2);
}

void vjpeg_wirte_scan_header(JEInfo *session) {
    if (!has_scans(session)) return;
    for (uint32_t i = 0; i < session->componentsInScan; ++i) {
        const JEComponent *component = session->scanComponents[i];
        if (is_dc_first(session)) write_dht(session, component->dcTable, false);
        if (session->se) write_dht(session, component->acTable, true);
    }
    ScanCoder *coder = coder_of(session);
    if (session->restartInterval != coder->last_interval) {
        write_dri(session, session->restartInterval);
        coder->last_interval = session->restartInterval;
    }
    write_progressive_sos(session);
}

}  // extern "C"
