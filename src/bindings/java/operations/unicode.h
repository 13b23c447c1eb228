// Between Java's strings and those of the C library.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vorel {

// Both give blocks of os_allocate, null without memory.

// UTF-8 with a NUL behind it. Surrogates that have no partner become U+FFFD.
char *utf8_of(const uint16_t *units, size_t count);

// UTF-16 of at most `limit` bytes of UTF-8, up to a NUL; *count receives the number of units. Bytes that are no UTF-8
// become U+FFFD, one for one.
uint16_t *utf16_of(const char *text, size_t limit, size_t *count);

}  // namespace vorel
