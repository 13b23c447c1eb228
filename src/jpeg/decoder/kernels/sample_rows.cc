// Moving samples about: halving, doubling, interleaving, unpacking.
#include "jpeg/decoder/kernels/room.h"

namespace vorel {
namespace {

void scalar_even_samples(const uint8_t *src, int32_t count, uint8_t *dst) {
    for (int32_t i = 0; i < count; ++i) dst[i] = src[2 * static_cast<ptrdiff_t>(i)];
}

void scalar_double_samples(const uint8_t *src, int32_t count, uint8_t *dst) {
    for (int32_t i = 0; i < count; ++i) dst[i] = src[i >> 1];
}

void scalar_interleave(const uint8_t *a, const uint8_t *b, int32_t count, uint8_t *dst) {
    for (int32_t i = 0; i < count; ++i) {
        *dst++ = a[i];
        *dst++ = b[i];
    }
}

void scalar_yuyv(const uint8_t *y, const uint8_t *cb, const uint8_t *cr, int32_t count, uint8_t *dst) {
    for (int32_t i = 0; i < count; ++i) {
        *dst++ = *y++;
        *dst++ = cb[i];
        *dst++ = *y++;
        *dst++ = cr[i];
    }
}

void scalar_unpack_means(const uint32_t *words, int32_t count, uint8_t *a, uint8_t *b, uint8_t *c) {
    for (int32_t i = 0; i < count; ++i) {
        a[i] = static_cast<uint8_t>(words[i] >> 22);
        b[i] = static_cast<uint8_t>(words[i] >> 12);
        c[i] = static_cast<uint8_t>(words[i] >> 2);
    }
}

}  // namespace

void add_scalar_samples(KernelTable *table) {
    table->even_samples = scalar_even_samples;
    table->double_samples = scalar_double_samples;
    table->interleave = scalar_interleave;
    table->yuyv = scalar_yuyv;
    table->unpack_means = scalar_unpack_means;
}

}  // namespace vorel
