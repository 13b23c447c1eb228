#include "dng/driver/file_bytes.h"

#include <cstdio>
#include <limits>

#include "core/core.h"

namespace vorel {

FileBytes read_file(const char *path, MallocBytes *bytes, int32_t *length) {
    struct Close {
        void operator()(FILE *file) const { std::fclose(file); }
    };
    const std::unique_ptr<FILE, Close> file(path ? open_regular_file(path) : nullptr);
    if (!file) return FileBytes::kNotOpened;
    if (std::fseek(file.get(), 0, SEEK_END) != 0) return FileBytes::kNotRead;
    const int64_t size = std::ftell(file.get());
    if (size == 0) return FileBytes::kEmpty;
    if (size < 0 || size > std::numeric_limits<int32_t>::max()) return FileBytes::kNotRead;
    std::rewind(file.get());
    bytes->reset(static_cast<uint8_t *>(std::malloc(static_cast<size_t>(size))));
    if (!*bytes) return FileBytes::kNoMemory;
    if (std::fread(bytes->get(), 1, static_cast<size_t>(size), file.get()) != static_cast<size_t>(size)) {
        bytes->reset();
        return FileBytes::kNotRead;
    }
    *length = static_cast<int32_t>(size);
    return FileBytes::kRead;
}

}  // namespace vorel
