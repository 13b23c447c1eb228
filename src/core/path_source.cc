#include "core/path_source.h"

#include <sys/stat.h>

#include <cstdio>

#include "core/core.h"

namespace vorel {

int32_t file_size(int priority, const char *tag, const char *path) {
    struct stat status;
    if (!path) path = "";
    FILE *file = open_regular_file(path);
    if (!file && (stat(path, &status) != 0 || S_ISREG(status.st_mode))) {
        log_print()(priority, tag, "Error : can't file open in getFileSize : %s", path);
        return 0;
    }
    const int32_t size = VORELBRIM_SeekFile(file, 0, SEEK_END);
    VORELBRIM_OsFclose(file);
    if (size > 0) return size;
    log_print()(priority, tag, "Error : Illegal file open in getFileSize");
    return 0;
}

DecInfo *open_whole_file(const char *path, int32_t size, int32_t color_format, uint32_t options) {
    OsBlock block(os_allocate(static_cast<size_t>(size)));
    FILE *file = block ? open_regular_file(path) : nullptr;
    if (!file) {
        set_error(block ? kErrorOpen : kErrorOutOfMemory);
        return nullptr;
    }
    const int32_t came = VORELBRIM_ReadFile(file, block.as<void>(), size);
    VORELBRIM_OsFclose(file);
    DecInfo *session = VORELBRIM_CreateDecInfo(kIoMemory, block.as<void>(), came, color_format, options);
    if (session) session->fileBuffer = block.release();
    return session;
}

DecInfo *open_file(const char *path, int32_t size, int32_t color_format, uint32_t options) {
    if (size < kWholeFileBytes) return open_whole_file(path, size, color_format, options);
    return VORELBRIM_CreateDecInfo(kIoFile, const_cast<char *>(path), size, color_format, options);
}

}  // namespace vorel
