// Marker segments of a session's stream (T.81 B.2). Each makes room for itself.
#pragma once

#include "jpeg/encoder/session.h"

namespace vorel {

void write_marker(JEInfo *session, int32_t marker);
void write_dqt(JEInfo *session, uint32_t table);  // unless it is written already
void write_dht(JEInfo *session, uint32_t number, bool is_ac);
void write_sof(JEInfo *session, int32_t marker);
void write_dri(JEInfo *session, uint32_t interval);

}  // namespace vorel
