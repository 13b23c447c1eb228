// Memory of a session: zeroed blocks of its table of 100, freed with it.
#pragma once

#include "jpeg/encoder/session.h"

namespace vorel {

// Null without memory, with a full table, and for more than 2^31 - 1 bytes.
void *allocate_bytes(JEInfo *session, uint64_t bytes);
template <typename Record>
Record *allocate(JEInfo *session, uint64_t count = 1) {
    return count > INT32_MAX ? nullptr : static_cast<Record *>(allocate_bytes(session, count * sizeof(Record)));
}
// `count` records at *slot, which may be there already.
template <typename Record>
bool ensure_block(JEInfo *session, Record **slot, uint64_t count) {
    if (!*slot) *slot = allocate<Record>(session, count);
    return *slot != nullptr;
}

}  // namespace vorel
