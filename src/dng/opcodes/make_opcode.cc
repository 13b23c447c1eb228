#include "dng/opcodes/make_opcode.h"

#include "dng/opcodes/bad_pixels.h"
#include "dng/opcodes/gain_map.h"
#include "dng/opcodes/map_opcodes.h"
#include "dng/opcodes/trim_bounds.h"
#include "dng/opcodes/unknown.h"
#include "dng/opcodes/vignette.h"
#include "dng/opcodes/warp.h"

namespace vorel {
namespace {

template <class Opcode>
VorelDngOpcode *make(VorelDngStream &stream) {
    return new Opcode(stream);
}

// DNG 1.4, chapter 7.
constexpr struct {
    uint32_t id;
    VorelDngOpcode *(*make)(VorelDngStream &stream);
} kOpcodeTable[13] = {
    {1, make<VorelDngOpcodeWarpRectilinear>},   {2, make<VorelDngOpcodeWarpFisheye>},
    {3, make<VorelDngOpcodeFixVignetteRadial>}, {4, make<VorelDngOpcodeFixBadPixelsConstant>},
    {5, make<VorelDngOpcodeFixBadPixelList>},   {6, make<VorelDngOpcodeTrimBounds>},
    {7, make<VorelDngOpcodeMapTable>},          {8, make<VorelDngOpcodeMapPolynomial>},
    {9, make<VorelDngOpcodeGainMap>},           {10, make<VorelDngOpcodeDeltaPerRow>},
    {11, make<VorelDngOpcodeDeltaPerColumn>},   {12, make<VorelDngOpcodeScalePerRow>},
    {13, make<VorelDngOpcodeScalePerColumn>},
};

}  // namespace

VorelDngOpcode *makeDngOpcode(uint32_t id, VorelDngStream &stream) {
    for (const auto &known : kOpcodeTable) {
        if (known.id == id) return known.make(stream);
    }
    return new VorelDngOpcodeUnknown(id, stream);
}

}  // namespace vorel
