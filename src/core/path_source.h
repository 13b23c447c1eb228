// Files as sources of sessions.
#pragma once

#include <vorel/frame.h>

#include <cstdint>

namespace vorel {

// Files below this are read whole, so that they decode in place; larger ones are streamed in blocks.
constexpr int32_t kWholeFileBytes = 20 << 20;

// The position of a file's end; 0 and a log line of this priority and tag when there is none.
int32_t file_size(int priority, const char *tag, const char *path);

// A memory session over the whole file, which hangs on fileBuffer for the session's owner to free. A file that shrank
// meanwhile is what came of it. Null, with the error word set, where there is no file or no memory.
DecInfo *open_whole_file(const char *path, int32_t size, int32_t color_format, uint32_t options);

// The same for a file of less than kWholeFileBytes; one of more by its path.
DecInfo *open_file(const char *path, int32_t size, int32_t color_format, uint32_t options);

}  // namespace vorel
