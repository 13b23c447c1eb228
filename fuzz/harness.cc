// What the fuzz targets share.
#include "harness.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace vorel_fuzz {

Case::Case(const uint8_t *data, size_t size, size_t option_bytes) {
    const size_t split = size > option_bytes ? size - option_bytes : size;
    picture_.assign(data, data + split);
    options_.assign(data + split, data + size);
}

uint32_t Case::option() {
    if (options_.empty()) return 0;
    const uint32_t value = options_.back();
    options_.pop_back();
    return value;
}

Session::Session(const Bytes &picture, Source source, int32_t format, uint32_t options) : bytes_(picture) {
    const int32_t size = static_cast<int32_t>(bytes_.size());
    switch (source) {
        case Source::kMemory:
            session_ = VORELBRIM_CreateDecInfo(1, bytes_.data(), size, format, options);
            break;
        case Source::kOwnedMemory: {
            void *owned = VORELBRIM_OsMalloc(size);
            require(owned != nullptr, "there is memory");
            VORELBRIM_OsMemcpy(owned, bytes_.data(), size);
            session_ = VORELBRIM_CreateDecInfo(5, owned, size, format, options);
            if (!session_) VORELBRIM_OsFree(owned);
            break;
        }
        case Source::kPath:
            session_ = VORELBRIM_CreateDecInfo(0, const_cast<char *>(write_file()), 0, format, options);
            break;
        case Source::kStdio:
            stdio_ = std::fopen(write_file(), "rb");
            session_ = VORELBRIM_CreateDecInfo(2, stdio_, size, format, options);
            break;
        case Source::kSlowStream:
            most_ = 61;
            [[fallthrough]];
        case Source::kStream:
            session_ = VORELBRIM_CreateDecInfoWithStream(this, size, read, skip, rewind, format, options);
            break;
    }
}

Session::~Session() {
    if (session_) {
        // The library leaves the record of memory that a session owns behind.
        IoInfo *io = session_->ioInfo->kind == 5 && !session_->regionMap ? session_->ioInfo : nullptr;
        VORELBRIM_DestroyDecInfo(session_);
        VORELBRIM_OsFree(io);
    }
    if (stdio_) std::fclose(stdio_);
    if (descriptor_ >= 0) close(descriptor_);
}

const char *Session::write_file() {
    descriptor_ = memfd_create("picture", 0);
    require(descriptor_ >= 0 && write(descriptor_, bytes_.data(), bytes_.size()) == static_cast<ssize_t>(bytes_.size()),
            "there is a file");
    std::snprintf(path_, sizeof path_, "/proc/self/fd/%d", descriptor_);
    return path_;
}

int32_t Session::read(void *self, void *destination, int32_t count) {
    auto *session = static_cast<Session *>(self);
    const size_t left = session->bytes_.size() - session->at_;
    const size_t taken = std::min({left, session->most_, static_cast<size_t>(std::max(count, 0))});
    if (taken) std::memcpy(destination, session->bytes_.data() + session->at_, taken);
    session->at_ += taken;
    return static_cast<int32_t>(taken);
}

int32_t Session::skip(void *self, int32_t, int32_t count) {
    auto *session = static_cast<Session *>(self);
    const size_t left = session->bytes_.size() - session->at_;
    session->at_ += std::min(left, static_cast<size_t>(std::max(count, 0)));
    return static_cast<int32_t>(session->at_);
}

int32_t Session::rewind(void *self, int32_t, int32_t) {
    static_cast<Session *>(self)->at_ = 0;
    return 0;
}

size_t target_bytes(int32_t format, int32_t width, int32_t height) {
    const size_t w = static_cast<size_t>(width), h = static_cast<size_t>(height);
    const size_t half_w = (w + 1) / 2, half_h = (h + 1) / 2;
    switch (format) {
        case COLOR_GRAY:
            return w * h;
        case COLOR_RGB565:
        case COLOR_RGB565_ALT:
            return w * h * 2;
        case COLOR_RGB888:
        case COLOR_BGR565A:
        case COLOR_YUV444:
            return w * h * 3;
        case COLOR_ARGB8888:
        case COLOR_RGBA8888:
        case COLOR_BGRA8888:
            return w * h * 4;
        case COLOR_YUV420:
        case COLOR_NV21:
        case COLOR_NV12:
            return w * h + 2 * half_w * half_h;
        case COLOR_YUV422:
            return w * h + 2 * half_w * h;
        case COLOR_YUV440:
            return w * h + 2 * w * half_h;
        case COLOR_YUYV:
            return h * (2 * w + (2 * w & 3));
        default:
            return 0;
    }
}

void require(bool holds, const char *property) {
    if (holds) return;
    std::fprintf(stderr, "broken: %s\n", property);
    std::abort();
}

}  // namespace vorel_fuzz
