// Maker notes and private data.
#include "dng/parse/dng_file.h"

namespace vorel {

bool DngFile::parseMakerNote(VorelDngStream &, uint32_t, uint64_t, uint64_t, uint64_t, uint64_t) { return false; }

bool DngFile::parseMakerNoteIFD(VorelDngStream &, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, uint32_t) {
    return false;
}

void DngFile::parseDNGPrivateData(VorelDngStream &) {}

}  // namespace vorel
