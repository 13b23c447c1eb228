// Resizes as requests, for the entries and for the forms that convert afterwards.
#pragma once

#include "util/resize_bands.h"

namespace vorel {

// The named functions of one family.
struct ResizeFamily {
    ResizeLayout layout;
    void *(*task)(void *);
    void (*get_pos)(ResizeBand *);
};
extern const ResizeFamily kPlanesFamily, kPairsFamily;

struct ResizeRequest {
    const uint8_t *y, *u, *v;  // u: also the plane of pairs; y: also packed pixels
    int32_t src_width, src_height;
    uint8_t *dst;
    int32_t dst_width, dst_height;
    const ResizeCanvas *canvas;  // or null; else it has the destination
};

enum class ResizeWay : uint8_t { kSingle, kThreaded, kChosen };

// False with nothing written: sizes or pointers that make no sense, a canvas too small, no memory for scratch.
bool resize(const ResizeFamily &family, ResizeWay way, const ResizeRequest &request);

}  // namespace vorel
