// Whether a sanitizer or an emulator makes the tests slow.
#pragma once

namespace vorel::test {

// Sweeps take every step in plain builds, and some of them in these.
#ifndef __has_feature
#define __has_feature(feature) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || !defined(__x86_64__) || \
    __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool kSlowBuild = true;
#else
constexpr bool kSlowBuild = false;
#endif

}  // namespace vorel::test
