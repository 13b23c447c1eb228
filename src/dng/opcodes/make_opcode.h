// Opcodes by their numbers.
#pragma once

#include <cstdint>

#include "dng/opcodes/opcode.h"

namespace vorel {

// Reads what stands behind an opcode's id; the caller owns the result. Of an unknown id it has no effect.
VorelDngOpcode *makeDngOpcode(uint32_t id, VorelDngStream &stream);

}  // namespace vorel
