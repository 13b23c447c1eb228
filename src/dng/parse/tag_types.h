// TIFF 6.0 section 2: field types.
#pragma once

#include <cstdint>

#include <vorel/dng_samples.h>

namespace vorel {
enum DngTagType : uint32_t {
    kTagByte = 1,
    kTagAscii,
    kTagShort,
    kTagLong,
    kTagRational,
    kTagSByte,
    kTagUndefined,
    kTagSShort,
    kTagSLong,
    kTagSRational,
    kTagFloat,
    kTagDouble,
    kTagIfd,
    kTagUnicode,
    kTagComplex
};
}  // namespace vorel
