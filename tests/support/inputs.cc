#include "support/inputs.h"

#include <dirent.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

namespace vorel::test {

Bytes read_file(const std::filesystem::path &path) {
    std::ifstream stream(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(stream), {});
}

TempFile::TempFile(const Bytes &bytes) {
    const char *folder = std::getenv("TMPDIR");
    path_ = std::string(folder && *folder ? folder : "/tmp") + "/vorel-test-XXXXXX";
    const int descriptor = mkstemp(path_.data());
    if (descriptor < 0 || write(descriptor, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) abort();
    close(descriptor);
}

TempFile::~TempFile() { unlink(path_.c_str()); }

// Fuzzers, which run under the address sanitizer, make thousands a second: it watches the bytes around a block of the
// heap, which is had faster than pages are.
#if defined(VOREL_HEAP_GUARDS)
constexpr bool kHeapIsGuarded = true;
#else
constexpr bool kHeapIsGuarded = false;
#endif

GuardBuffer::GuardBuffer(size_t size, uint8_t fill) : size_(size) {
    if (kHeapIsGuarded) {
        map_ = data_ = static_cast<uint8_t *>(std::malloc(size));
        if (!data_) abort();
        std::memset(data_, fill, size);
        return;
    }
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t pages = (size + page - 1) / page * page;
    map_bytes_ = pages + page;
    map_ = mmap(nullptr, map_bytes_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (map_ == MAP_FAILED) abort();
    uint8_t *end = static_cast<uint8_t *>(map_) + pages;
    if (mprotect(end, page, PROT_NONE) != 0) abort();
    data_ = end - size;
    std::memset(data_, fill, size);
}

GuardBuffer::GuardBuffer(const Bytes &bytes) : GuardBuffer(bytes.size()) {
    std::copy(bytes.begin(), bytes.end(), data_);
}

GuardBuffer::~GuardBuffer() {
    if (kHeapIsGuarded) {
        std::free(map_);
    } else {
        munmap(map_, map_bytes_);
    }
}

int32_t StreamSource::read(void *context, void *destination, int32_t count) {
    auto *self = static_cast<StreamSource *>(context);
    const size_t left = self->bytes.size() - self->position;
    const size_t come = std::min({left, static_cast<size_t>(count), static_cast<size_t>(self->chunk)});
    if (come > 0) std::memcpy(destination, self->bytes.data() + self->position, come);
    self->position += come;
    return static_cast<int32_t>(come);
}

int32_t StreamSource::skip(void *context, int32_t, int32_t count) {
    auto *self = static_cast<StreamSource *>(context);
    const size_t left = self->bytes.size() - self->position;
    self->position += std::min(left, static_cast<size_t>(std::max(count, 0)));
    return static_cast<int32_t>(self->position);
}

int32_t StreamSource::rewind(void *context, int32_t, int32_t) {
    static_cast<StreamSource *>(context)->position = 0;
    return 0;
}

DecInfo *StreamSource::open(int32_t color_format, uint32_t options, bool with_rewind) {
    return VORELBRIM_CreateDecInfoWithStream(this, size(), read, skip, with_rewind ? rewind : nullptr, color_format,
                                             options);
}

Input::Input(Kind kind, const Bytes &bytes, int32_t color_format, uint32_t options) {
    const auto size = static_cast<int32_t>(bytes.size());
    switch (kind) {
        case Kind::kPath:
            session_ = VORELBRIM_CreateDecInfo(0, file_.emplace(bytes).path(), 0, color_format, options);
            break;
        case Kind::kMemory:
            session_ = VORELBRIM_CreateDecInfo(1, memory_.emplace(bytes).data(), size, color_format, options);
            break;
        case Kind::kStdio:
            stdio_ = std::fopen(file_.emplace(bytes).path(), "rb");
            session_ = VORELBRIM_CreateDecInfo(2, stdio_, size, color_format, options);
            break;
        case Kind::kStream:
            session_ = stream_.emplace(bytes).open(color_format, options);
            break;
        case Kind::kOwnedMemory: {
            void *block = VORELBRIM_OsMalloc(size);
            if (block && size > 0) std::memcpy(block, bytes.data(), bytes.size());
            session_ = VORELBRIM_CreateDecInfo(5, block, size, color_format, options);
            if (!session_) VORELBRIM_OsFree(block);
            break;
        }
    }
}

Input::~Input() {
    { const SessionGuard session(session_); }
    if (stdio_) std::fclose(stdio_);
}

SessionGuard::~SessionGuard() {
    if (!session_) return;
    IoInfo *left_behind =
        session_->ioInfo && session_->ioInfo->kind == 5 && !session_->regionMap ? session_->ioInfo : nullptr;
    VORELBRIM_DestroyDecInfo(session_);
    VORELBRIM_OsFree(left_behind);
}

void ProgressCalls::attach(DecInfo *session) {
    session->progress = static_cast<ProgressRecord *>(std::malloc(sizeof(ProgressRecord)));
    *session->progress = {this, [](void *self, int32_t percent) {
                              static_cast<ProgressCalls *>(self)->percents.push_back(percent);
                              return static_cast<ProgressCalls *>(self)->answer;
                          }};
}

void set_window(DecInfo *session, uint32_t x, uint32_t y, uint32_t width, uint32_t height) {
    session->partialDecode = 1;
    session->partialX = x;
    session->partialY = y;
    session->partialWidth = width;
    session->partialHeight = height;
}

int open_descriptors() {
    int count = 0;
    DIR *folder = opendir("/proc/self/fd");
    while (readdir(folder)) ++count;
    closedir(folder);
    return count;
}

}  // namespace vorel::test
