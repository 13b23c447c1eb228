// Settings and leftovers of the session that belong to the JPEG decoder but need no decode.
#include <vorel/jpeg_decoder.h>

extern "C" {

void vjpeg_set_multiscan_interval(DecInfo *session, uint32_t value) {
    if (session) session->multiscanInterval = value;
}

uint32_t vjpeg_get_multiscan_interval(DecInfo *session) { return session ? session->multiscanInterval : 0; }

int32_t VORELBRIM_DestroyJpegInfo(DecInfo *session) { return BRIMJ_DestroyJpegInfo(session); }

// Required: thumbnails are not looked for; the record stays as it is and that counts as success.
int32_t BRIMJ_GetThumbInfo(DecInfo *, ImageInfo *) { return 1; }

}  // extern "C"
