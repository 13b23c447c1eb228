// C handles: small numbers that stand for a session and its input, kept in one table of the process.
#include <cstdio>
#include <cstring>

#include "core/core.h"
#include "core/session.h"

namespace vorel {
namespace {

constexpr int32_t kSlots = 256;  // slot 0 is never used, so that 0 can mean failure

enum HandleOperation : int32_t { kHandleCreate = 0, kHandleFetch = 1, kHandleRemove = 2 };

// Slots change by compare-and-swap, so that several threads may open and close handles.
DecHandle *g_handles[kSlots];

bool in_table(int32_t id) { return id > 0 && id < kSlots; }

// The new record's slot; 0 when there is no memory or no slot.
int32_t put_record(DecHandle **record) {
    *record = os_allocate_array<DecHandle>(1);
    if (!*record) return 0;
    for (int32_t id = 1; id < kSlots; ++id) {
        DecHandle *empty = nullptr;
        if (__atomic_compare_exchange_n(&g_handles[id], &empty, *record, false, __ATOMIC_ACQ_REL, __ATOMIC_ACQUIRE)) {
            return id;
        }
    }
    os_release(*record);
    *record = nullptr;
    return 0;
}

// Empties the slot; the caller then owns what stood there.
DecHandle *take_record(int32_t id) {
    return in_table(id) ? __atomic_exchange_n(&g_handles[id], nullptr, __ATOMIC_ACQ_REL) : nullptr;
}

DecInfo *session_of(const DecHandle *record) {
    return record && record->decInfoHolder ? record->decInfoHolder->decInfo : nullptr;
}

// Opens a path source; learns its size unless one was given.
bool open_file(DecHandle *record) {
    record->file = VORELBRIM_OsFopen(static_cast<const char *>(record->source), "rb");
    if (!record->file) return false;
    if (record->size != 0) return true;
    record->size = VORELBRIM_SeekFile(record->file, 0, SEEK_END);
    return record->size >= 0 && VORELBRIM_SeekFile(record->file, 0, SEEK_SET) == 0;
}

// Gives the input its private copy of the path.
bool copy_path(IoInfo *io, const char *path) {
    os_release(io->path);
    const size_t bytes = std::strlen(path) + 1;
    io->path = static_cast<char *>(os_allocate(bytes));
    if (!io->path) return false;
    std::memcpy(io->path, path, bytes);
    return true;
}

// Frees memory that the input owns; the record then closes like any memory input.
void release_owned_memory(IoInfo *io) {
    if (!io || io->kind != kIoOwnedMemory) return;
    os_release(io->source);
    io->source = nullptr;
    io->kind = kIoMemory;
}

// Parses once. True when the type is known.
bool parse_handle(DecHandle *record, DecInfo *session) {
    if (record->imageType != VOREL_IMAGE_NONE) return true;
    ImageInfo info;
    record->imageType = VORELBRIM_Parser(session, &info);
    record->width = info.width;
    record->height = info.height;
    return record->imageType != VOREL_IMAGE_NONE;
}

// Closes and frees everything that hangs on a record that no slot holds any more. The session's input shares the
// handle's stream, so it must not close it a second time.
void close_record(DecHandle *record) {
    if (record->file) {
        VORELBRIM_OsFclose(record->file);
        DecInfo *session = session_of(record);
        if (session && session->ioInfo) session->ioInfo->file = nullptr;
    }
    rim_destroy_dec_info(record);
    os_release(record);
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t __rim_dec_handle_contorl(int32_t id, int32_t *outId, DecHandle **outRecord, int32_t operation) {
    DecHandle *record = nullptr;
    switch (operation) {
        case kHandleCreate:
            id = put_record(&record);
            break;
        case kHandleFetch:
            if (in_table(id)) record = load_acquire(&g_handles[id]);
            if (!record) id = 0;
            break;
        case kHandleRemove:
            record = take_record(id);
            if (!record) return 0;
            os_release(record);
            return 1;
        default:
            return 0;
    }
    if (outId) *outId = id;
    if (outRecord) *outRecord = record;
    return id;
}

int32_t rim_dec_handle_create(void) { return __rim_dec_handle_contorl(0, nullptr, nullptr, kHandleCreate); }

DecHandle *rim_dec_handle_get_struct(int32_t handle) {
    DecHandle *record = nullptr;
    __rim_dec_handle_contorl(handle, nullptr, &record, kHandleFetch);
    return record;
}

int32_t rim_dec_handle_destory(int32_t handle) {
    return __rim_dec_handle_contorl(handle, nullptr, nullptr, kHandleRemove);
}

int32_t rim_create_dec_info(DecHandle *record) {
    if (!record || record->decInfoHolder) return 0;
    record->decInfoHolder = os_allocate_array<DecInfoHolder>(1);
    if (!record->decInfoHolder) return 0;
    DecInfo *session = new_session();
    record->decInfoHolder->decInfo = session;
    if (!session) return 0;
    session->ioInfo = os_allocate_array<IoInfo>(1);
    return session->ioInfo ? 1 : 0;
}

int32_t rim_destroy_dec_info(DecHandle *record) {
    if (!record || !record->decInfoHolder) return 0;
    if (record->decInfoHolder->decInfo) VORELBRIM_DestroyDecInfo(record->decInfoHolder->decInfo);
    os_release(record->decInfoHolder);
    record->decInfoHolder = nullptr;
    return 1;
}

int32_t rim_dec_handle_open(const void *source, int32_t size, uint32_t kind) {
    if (kind > kIoMemory || !source || (kind == kIoMemory && size == 0)) return 0;
    DecHandle *record = nullptr;
    const int32_t handle = __rim_dec_handle_contorl(0, nullptr, &record, kHandleCreate);
    if (handle == 0) return 0;
    record->kind = kind;
    record->source = source;
    record->size = size;
    if ((kind == kIoFile && !open_file(record)) || rim_create_dec_info(record) == 0) {
        rim_dec_handle_close(handle);
        return 0;
    }
    return handle;
}

int32_t rim_dec_handle_close(int32_t handle) {
    DecHandle *record = take_record(handle);
    if (!record) return 0;
    close_record(record);
    return 1;
}

// Binds the handle's input and options to its session.
int32_t __rim_codec_ctrl_set_dec_info(DecHandle *record) {
    DecInfo *session = session_of(record);
    if (!session || !session->ioInfo) return 0;
    IoInfo *io = session->ioInfo;
    release_owned_memory(io);
    io->bufferSize = kBlockBytes;
    if (record->kind == kIoStream) {
        io->readFn = record->readFn;
        io->skipFn = record->skipFn;
        io->rewindFn = record->rewindFn;
        return 1;
    }
    // A slot that was taken and never opened.
    if (record->kind == kIoFile && !record->source) return 0;
    io->kind = record->kind;
    io->source = const_cast<void *>(record->source);
    io->file = record->file;
    io->size = record->size;
    session->outColorFormat = COLOR_RGB565;
    session->decOption = record->decInfoHolder->options;
    return record->kind != kIoFile || copy_path(io, static_cast<const char *>(record->source)) ? 1 : 0;
}

int32_t rim_set_decinfo_from_handle(int32_t handle, int32_t colorFormat) {
    DecHandle *record = rim_dec_handle_get_struct(handle);
    if (!record) return 0;
    record->colorFormat = colorFormat;
    if (__rim_codec_ctrl_set_dec_info(record) == 0) return 0;
    DecInfo *session = session_of(record);
    session->outColorFormat = colorFormat;
    return parse_handle(record, session) ? 1 : 0;
}

DecInfo *rim_get_decinfo_from_handle(int32_t handle) {
    const DecHandle *record = rim_dec_handle_get_struct(handle);
    DecInfo *session = session_of(record);
    if (session) session->outColorFormat = record->colorFormat;
    return session;
}

int32_t VORELBRIM_OpenDecHandle(const void *pathOrBuffer, int32_t size, uint32_t kind) {
    return rim_dec_handle_open(pathOrBuffer, size, kind);
}

int32_t VORELBRIM_SetDecInfoFromHandle(int32_t handle, int32_t colorFormat) {
    return rim_set_decinfo_from_handle(handle, colorFormat);
}

DecInfo *VORELBRIM_GetDecInfoFromHandle(int32_t handle) {
    DecInfo *session = rim_get_decinfo_from_handle(handle);
    if (session && session->ioInfo && session->ioInfo->kind != kIoOwnedMemory) {
        parse_handle(rim_dec_handle_get_struct(handle), session);
    }
    return session;
}

int32_t VORELBRIM_CloseDecHandle(int32_t handle) {
    DecInfo *session = rim_get_decinfo_from_handle(handle);
    if (session) release_owned_memory(session->ioInfo);
    return rim_dec_handle_close(handle);
}

}  // extern "C"
