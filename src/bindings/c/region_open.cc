// Opening pictures for rectangles, and what an open one knows of itself.
#include <vorel/bindings.h>
#include <vorel/jpeg_region.h>

#include <cstdlib>
#include <cstring>

#include "bindings/c/binding_log.h"
#include "bindings/c/owned_session.h"
#include "bindings/c/picture_source.h"
#include "bindings/c/running.h"

namespace vorel {
namespace {

DecInfo *session_of(const RegionHandle *handle) { return static_cast<DecInfo *>(handle->decoder); }
vpng_tile_index *index_of(const RegionHandle *handle) { return static_cast<vpng_tile_index *>(handle->decoder); }

bool open_jpeg(const PictureSource &source, VrOptions *options) {
    OwnedSession session(VORELBRIM_CreateDecInfo(source.is_path() ? kIoFile : kIoMemory, const_cast<void *>(source.at),
                                                 source.length, COLOR_RGBA8888, VOREL_OPTION_REGION));
    if (!session) {
        VOREL_ERROR(kTagRegionDecoder, "[%s:%d]\n", "VrNewInstance", __LINE__);
        return false;
    }
    // The pass over the file is the slow part, and may be stopped.
    RunningCall running(options, session.get(), VOREL_IMAGE_JPEG);
    ImageInfo info;
    const int32_t type = VORELBRIM_Parser(session.get(), &info);
    const int32_t scanned = type == VOREL_IMAGE_JPEG ? VORELBRIM_ScanHuffmanInfo(session.get()) : 0;
    if (scanned == 0 || scanned == kIterCancelled) {
        VOREL_ERROR(kTagRegionDecoder, "[%s:%d]\n", "VrNewInstance", __LINE__);
        return false;
    }
    options->width = static_cast<int32_t>(info.width);
    options->height = static_cast<int32_t>(info.height);
    running.keep();
    session.release();
    return true;
}

bool open_png(const PictureSource &source, VrOptions *options) {
    vpng_tile_index *index =
        onBuildTileIndexVPNG(source.at, source.length, source.is_path() ? nullptr : vpng_read_fn, COLOR_RGBA8888);
    if (!index) {
        VOREL_ERROR(kTagRegionDecoder, "[%s:%d]\n", "VrNewInstance", __LINE__);
        return false;
    }
    // The bytes are the caller's.
    index->memorySource = nullptr;
    png_uint_32 width = 0, height = 0;
    vpng_get_IHDR(index->png, index->info, &width, &height, nullptr, nullptr, nullptr, nullptr, nullptr);
    options->width = static_cast<int32_t>(width);
    options->height = static_cast<int32_t>(height);
    show_running(options, index, VOREL_IMAGE_PNG);
    return true;
}

bool open_dng(const PictureSource &source, VrOptions *options, RegionHandle *handle) {
    if (source.is_path()) {
        DngNewInstanceFile(source.path(), &handle->dngInstance);
    } else {
        // The raw developer takes memory over, and frees it when it fails.
        void *copy = std::malloc(static_cast<size_t>(source.length));
        if (!copy) return false;
        std::memcpy(copy, source.at, static_cast<size_t>(source.length));
        DngNewInstanceBuffer(static_cast<uint8_t *>(copy), source.length, &handle->dngInstance);
        if (handle->dngInstance) handle->dngInstance->ownsBuffer = 1;
    }
    if (!handle->dngInstance) return false;
    handle->decoder = handle->dngInstance->decoder;
    options->width = getDngWidth(handle->dngInstance);
    options->height = getDngHeight(handle->dngInstance);
    show_running(options, handle->decoder, VOREL_IMAGE_DNG);
    return true;
}

RegionHandle *open_source(const PictureSource &source, VrOptions *options) {
    int32_t width = 0, height = 0;
    const int32_t type = source.image_type(&width, &height);
    if (type != VOREL_IMAGE_NONE && type != VOREL_IMAGE_JPEG && type != VOREL_IMAGE_PNG) return nullptr;
    OsBlock block(os_allocate_array<RegionHandle>(1));
    if (!block) return nullptr;
    RegionHandle *handle = block.as<RegionHandle>();
    if (type == VOREL_IMAGE_NONE) {
        handle->fileType = VOREL_IMAGE_DNG;
        if (!open_dng(source, options, handle)) return nullptr;
    } else {
        handle->fileType = options->fileType = type;
        if (VrNewInstance(source.at, source.length, options) != 1) return nullptr;
        handle->decoder = options->handle;
    }
    return static_cast<RegionHandle *>(block.release());
}

// The instance of a raw file; null, with a log line in the name of the getter for a null handle, where there is none.
const VDngRegionInstance *instance_of(const RegionHandle *handle, const char *getter) {
    if (!handle) {
        VOREL_ERROR(kTagRegionDecoder, "[%s:%d]\n", getter, __LINE__);
        return nullptr;
    }
    return handle->fileType == VOREL_IMAGE_DNG ? handle->dngInstance : nullptr;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t VrNewInstance(const void *pathOrBytes, int32_t length, VrOptions *options) {
    if (!pathOrBytes || !options || length < 0) {
        VOREL_ERROR_TRACE(kTagRegionDecoder);
        return 0;
    }
    switch (options->fileType) {
        case VOREL_IMAGE_JPEG:
            return open_jpeg({pathOrBytes, length}, options);
        case VOREL_IMAGE_PNG:
            return open_png({pathOrBytes, length}, options);
        default:
            return 1;
    }
}

RegionHandle *newInstanceFile(const char *path, VrOptions *options) {
    if (!path || !options) {
        VOREL_ERROR_TRACE(kTagRegionDecoder);
        return nullptr;
    }
    return open_source({path, 0}, options);
}

RegionHandle *newInstanceByteArray(const void *bytes, int32_t length, VrOptions *options) {
    if (!bytes || length < 1 || !options) {
        VOREL_ERROR_TRACE(kTagRegionDecoder);
        return nullptr;
    }
    return open_source({bytes, length}, options);
}

int32_t recycle(RegionHandle *handle) {
    if (!handle) {
        VOREL_ERROR_TRACE(kTagRegionDecoder);
        return 0;
    }
    switch (handle->fileType) {
        case VOREL_IMAGE_JPEG:
            close_session(session_of(handle));
            break;
        case VOREL_IMAGE_PNG:
            vpng_destroy_read_struct(&index_of(handle)->png, &index_of(handle)->info, nullptr);
            os_release(handle->decoder);
            break;
        case VOREL_IMAGE_DNG:
            DngRdDestroy(handle->decoder, handle->dngInstance);
            break;
        default:
            break;
    }
    os_release(handle);
    return 1;
}

int32_t decodeRegionCancel(RegionHandle *handle) {
    if (!handle) {
        VOREL_ERROR_TRACE(kTagRegionDecoder);
        return 0;
    }
    if (handle->fileType == VOREL_IMAGE_JPEG) return VrDecodeCancel(session_of(handle));
    return handle->fileType == VOREL_IMAGE_DNG ? CancleDngDecode(handle->decoder) : 0;
}

int32_t getWidth(RegionHandle *handle) {
    if (!handle) {
        VOREL_ERROR_TRACE(kTagRegionDecoder);
        return 0;
    }
    const int32_t width = handle->fileType == VOREL_IMAGE_JPEG  ? static_cast<int32_t>(session_of(handle)->imageWidth)
                          : handle->fileType == VOREL_IMAGE_PNG ? index_of(handle)->width
                                                                : getDngWidth(handle->dngInstance);
    VOREL_ERROR(kTagRegionDecoder, "rd->file_type : %d", handle->fileType);
    VOREL_ERROR(kTagRegionDecoder, "pDecInfo->imageWidth : %d", width);
    return width;
}

int32_t getHeight(RegionHandle *handle) {
    if (!handle) {
        VOREL_ERROR_TRACE(kTagRegionDecoder);
        return 0;
    }
    if (handle->fileType == VOREL_IMAGE_JPEG) return static_cast<int32_t>(session_of(handle)->imageHeight);
    return handle->fileType == VOREL_IMAGE_PNG ? index_of(handle)->height : getDngHeight(handle->dngInstance);
}

int32_t getCropOriginX(RegionHandle *handle) { return VDngGetCropOriginX(instance_of(handle, __func__)); }
int32_t getCropOriginY(RegionHandle *handle) { return VDngGetCropOriginY(instance_of(handle, __func__)); }
int32_t getCropSizeWidth(RegionHandle *handle) { return VDngGetCropSizeWidth(instance_of(handle, __func__)); }
int32_t getCropSizeHeight(RegionHandle *handle) { return VDngGetCropSizeHeight(instance_of(handle, __func__)); }
const char *getExifMake(RegionHandle *handle) { return VDngGetExifMake(instance_of(handle, __func__)); }

}  // extern "C"
