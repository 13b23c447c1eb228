// Plain words that several threads share (cancel words, error words, counters): their layout is part of the
// interface, so they stay plain and are read and written through these.
#pragma once

#include <cstdint>

namespace vorel {

template <typename Word>
inline Word load_relaxed(const Word *word) {
    return __atomic_load_n(word, __ATOMIC_RELAXED);
}

template <typename Word>
inline void store_relaxed(Word *word, Word value) {
    __atomic_store_n(word, value, __ATOMIC_RELAXED);
}

template <typename Word>
inline Word load_acquire(const Word *word) {
    return __atomic_load_n(word, __ATOMIC_ACQUIRE);
}

template <typename Word>
inline void store_release(Word *word, Word value) {
    __atomic_store_n(word, value, __ATOMIC_RELEASE);
}

}  // namespace vorel
