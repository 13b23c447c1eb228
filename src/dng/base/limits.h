// How much a file may ask for. Far above what cameras and converters write, so that no picture is lost by them.
#pragma once

#include <cstdint>

namespace vorel {

constexpr uint64_t kMaxDngPixels = 225'000'000;  // of one IFD, as for the other formats
constexpr uint32_t kMaxDngSide = 65535 * 8;
constexpr uint32_t kMaxDngPlanes = 4;

constexpr uint32_t kMaxIfds = 64;  // in one parse, of all kinds
constexpr uint32_t kMaxIfdNesting = 4;
constexpr uint32_t kMaxChainedIfds = 10;                                  // behind IFD 0
constexpr uint32_t kMaxSubIfds = 10;                                      // of one list; profiles likewise
constexpr uint32_t kMaxIfdEntries = 16384;                                // in one parse: about a millisecond
constexpr uint32_t kMaxTagText = 64 * 1024, kMaxParseText = 1024 * 1024;  // bytes, of lists of numbers too

constexpr uint32_t kMaxOpcodes = 256;     // of one list
constexpr uint32_t kMaxImagePasses = 64;  // of the opcodes of one list over the whole image

constexpr uint32_t kMaxHueSatDivisions = 1024;
constexpr uint64_t kMaxGridCells = uint64_t{1} << 26;

}  // namespace vorel
