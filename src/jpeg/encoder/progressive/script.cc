// The scans of a progressive stream, and what the session takes over of the present one.
#include <vorel/jpeg_encoder_progressive.h>

#include <algorithm>
#include <iterator>

#include "jpeg/encoder/memory.h"

namespace vorel {
namespace {

constexpr uint32_t kLeastScans = 10;  // that the store has room for

// Luma's coarse shape first, then colour, then what refines them.
constexpr JEScan kColourScript[] = {
    {3, {0, 1, 2}, 0, 0, 0, 1}, {1, {0}, 1, 5, 0, 2},  {1, {2}, 1, 63, 0, 1},      {1, {1}, 1, 63, 0, 1},
    {1, {0}, 6, 63, 0, 2},      {1, {0}, 1, 63, 2, 1}, {3, {0, 1, 2}, 0, 0, 1, 0}, {1, {2}, 1, 63, 1, 0},
    {1, {1}, 1, 63, 1, 0},      {1, {0}, 1, 63, 1, 0},
};

// A scan of each component by itself.
JEScan *each_component(JEScan *scan, uint32_t components, uint32_t ss, uint32_t se, uint32_t ah, uint32_t al) {
    for (uint32_t i = 0; i < components; ++i) *scan++ = {1, {i}, ss, se, ah, al};
    return scan;
}

JEScan *plain_script(JEScan *scan, uint32_t components) {
    JEScan dc = {components, {0, 1, 2}, 0, 0, 0, 1};
    *scan++ = dc;
    scan = each_component(scan, components, 1, 5, 0, 2);
    scan = each_component(scan, components, 6, 63, 0, 2);
    scan = each_component(scan, components, 1, 63, 2, 1);
    dc.ah = 1, dc.al = 0;
    *scan++ = dc;
    return each_component(scan, components, 1, 63, 1, 0);
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t vjpeg_simple_progression(JEInfo *session) {
    const uint32_t components = session->componentCount;
    if (components < 1 || components > 3) return 0;
    const uint32_t scans = components == 3 ? 10 : 2 + 4 * components;
    if (!session->scanStore || session->scanStoreSize < static_cast<int32_t>(scans)) {
        const uint32_t size = scans < kLeastScans ? kLeastScans : scans;
        session->scanStore = allocate<JEScan>(session, size);
        if (!session->scanStore) return 0;
        session->scanStoreSize = static_cast<int32_t>(size);
    }
    if (components == 3) {
        std::copy(std::begin(kColourScript), std::end(kColourScript), session->scanStore);
    } else {
        plain_script(session->scanStore, components);
    }
    session->scanList = session->scanStore;
    session->scanCount = scans;
    return 1;
}

void vjpeg_select_scan_parameters(JEInfo *session) {
    const uint32_t number = session->master ? session->master->scanNumber : 0;
    if (number >= session->scanCount) return;
    const JEScan &scan = session->scanList[number];
    session->componentsInScan = static_cast<uint8_t>(scan.componentCount);
    for (uint32_t i = 0; i < scan.componentCount; ++i)
        session->scanComponents[i] = &session->components[scan.componentIndex[i]];
    session->ss = scan.ss;
    session->se = scan.se;
    session->ah = scan.ah;
    session->al = scan.al;
}

int32_t vjpeg_per_scan_setup(JEInfo *session) { return __rim_jpeg_enc_setup_scan(session); }

}  // extern "C"
