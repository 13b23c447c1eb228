// Encodes on a pool of the caller's.
#include <vorel/jpeg_encoder.h>

#include <cstring>

#include "core/core.h"
#include "util/util.h"

namespace vorel {
namespace {

struct AsyncTask {
    void *pixels;
    char *path;  // a copy, or null
    uint8_t **buffer;
    int32_t *size;
    int32_t type, width, height, quality;
};

void release(AsyncTask *task) {
    os_release(task->path);
    os_release(task);
}

char *copy_of(const char *text) {
    const size_t bytes = std::strlen(text) + 1;
    auto *copy = static_cast<char *>(os_allocate(bytes));
    if (copy) std::memcpy(copy, text, bytes);
    return copy;
}

int32_t queue(const AsyncTask &task, const char *path, vorel_threadpool *pool) {
    auto *record = static_cast<AsyncTask *>(os_allocate(sizeof(AsyncTask)));
    if (!record) return -1;
    *record = task;
    record->path = path ? copy_of(path) : nullptr;
    int32_t result = -1;
    if (!path || record->path) result = vorel_threadpool_add_task(pool, encodeAsync, record, 0);
    if (result != 1) release(record);
    return result;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

vorel_threadpool *initTask(int32_t threadCount) { return vorel_threadpool_init(threadCount); }

int32_t waitTask(vorel_threadpool *pool) {
    vorel_threadpool_free(pool, 1);
    return 1;
}

int32_t encodeJPEGToFileAsync(void *pixels, int32_t width, int32_t height, int32_t type, const char *path,
                              int32_t quality, vorel_threadpool *pool) {
    return queue({pixels, nullptr, nullptr, nullptr, type, width, height, quality}, path, pool);
}

int32_t encodeJPEGToBufferAsync(void *pixels, int32_t width, int32_t height, int32_t type, uint8_t **buffer,
                                int32_t *size, int32_t quality, vorel_threadpool *pool) {
    return queue({pixels, nullptr, buffer, size, type, width, height, quality}, nullptr, pool);
}

void *encodeAsync(void *asyncTask) {
    auto *task = static_cast<AsyncTask *>(asyncTask);
    if (!task) return nullptr;
    if (task->pixels && task->width > 0 && task->height > 0 && task->quality > 0) {
        if (task->path) {
            encodeJPEGToFile(task->pixels, task->width, task->height, task->type, task->path, task->quality);
        } else if (task->buffer) {
            encodeJPEGToBuffer(task->pixels, task->width, task->height, task->type, task->buffer, task->size,
                               task->quality);
        }
    }
    release(task);
    return nullptr;
}

}  // extern "C"
