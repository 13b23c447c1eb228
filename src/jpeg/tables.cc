// Constant tables of T.81 that decoder and encoder share, and the version of both.
#include <vorel/jpeg_decoder.h>

#include "jpeg/jpeg.h"

extern "C" {

// Zigzag position to natural position (T.81 figure A.6). A corrupt run reaches position 63 + 15; the spare entries keep
// it inside the block.
extern const uint8_t vorel_natural_order[80] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,   //
                                                12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,  //
                                                35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,  //
                                                58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63,  //
                                                63, 63, 63, 63, 63, 63, 63, 63, 63, 63, 63, 63, 63, 63, 63, 63};
extern const uint8_t BRIMJ_NATURAL_ORDER[80] __attribute__((alias("vorel_natural_order")));

// Values of n raw bits below entry n are negative (T.81 F.2.2.1, EXTEND).
extern const int32_t BRIMJ_HUFF_EXTEND_TEST[16] = {0,      0x0001, 0x0002, 0x0004, 0x0008, 0x0010, 0x0020, 0x0040,
                                                   0x0080, 0x0100, 0x0200, 0x0400, 0x0800, 0x1000, 0x2000, 0x4000};

const char *BRIMJ_GetVersion(void) { return "3.72.24.26799"; }

}  // extern "C"
