// A function that is part of whoever calls it: of loops, and of files that are compiled for more than one target, where
// a copy of its own might run on a CPU that it is not for.
#pragma once

#define VOREL_ALWAYS_INLINE inline __attribute__((always_inline))
