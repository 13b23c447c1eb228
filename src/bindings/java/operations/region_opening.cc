#include "bindings/java/operations/region_opening.h"

#include <vorel/jpeg_region.h>

#include <algorithm>

#include "bindings/c/binding_log.h"

namespace vorel {
namespace {

constexpr uint32_t kLeastSide = 16;  // pixels; smaller pictures have no use for rectangles
constexpr uint32_t kRegionOptions = VOREL_OPTION_REGION | VOREL_OPTION_EXACT_KERNEL;
constexpr uint32_t kInputFile = 0, kInputMemory = 1;
constexpr int32_t kScanCancelled = 6;

}  // namespace

RegionOpening::~RegionOpening() { destroy_png_index(index_); }

bool RegionOpening::started(DecInfo *session) {
    session_.reset(session);
    if (!session) VOREL_ERROR(kTagBitmapDecoder, "Can't Create DecInfo");
    return session != nullptr;
}

bool RegionOpening::start(const char *path) {
    path_ = path;
    return started(path ? VORELBRIM_CreateDecInfo(kInputFile, const_cast<char *>(path), 0, COLOR_RGBA8888, 0)
                        : nullptr);
}

bool RegionOpening::start(void *bytes, int32_t length) {
    bytes_.reset(bytes);
    length_ = length;
    return started(bytes ? VORELBRIM_CreateDecInfo(kInputMemory, bytes, length, COLOR_RGBA8888, 0) : nullptr);
}

bool RegionOpening::parse() {
    DecInfo *session = session_.get();
    ImageInfo info = {};
    const bool known = VORELBRIM_Parser(session, &info) != 0 &&
                       (session->imageType == VOREL_IMAGE_JPEG || session->imageType == VOREL_IMAGE_PNG) &&
                       std::min(session->imageWidth, session->imageHeight) >= kLeastSide;
    if (!known) {
        // Required: for every other picture, and for JPEG files that are too small.
        VOREL_ERROR(kTagBitmapDecoder, "Image File is not JPEG\n");
        return false;
    }
    type_ = session->imageType;
    width_ = static_cast<int32_t>(session->imageWidth);
    height_ = static_cast<int32_t>(session->imageHeight);
    return true;
}

bool RegionOpening::scan() {
    session_->decOption = kRegionOptions;
    const int32_t result = VORELBRIM_ScanHuffmanInfo(session_.get());
    if (result == 0 || result == kScanCancelled) {
        VOREL_ERROR(kTagBitmapDecoder, "JPEG Scan fail\n");
        return false;
    }
    // The session reads the bytes as long as it lives.
    session_->fileBuffer = bytes_.release();
    return true;
}

void RegionOpening::open_png() {
    session_.reset();
    if (!bytes_) {
        index_ = onBuildTileIndexVPNG(path_, 0, nullptr, COLOR_RGBA8888);
        return;
    }
    index_ = onBuildTileIndexVPNG(bytes_.as<void>(), length_, vpng_read_fn, COLOR_RGBA8888);
    if (index_) bytes_.release();
}

void *RegionOpening::release() {
    void *handle = session_ ? static_cast<void *>(session_.release()) : index_;
    index_ = nullptr;
    return handle;
}

void destroy_png_index(vpng_tile_index *index) {
    if (!index) return;
    void *bytes = index->memorySource;
    vpng_destroy_read_struct(&index->png, &index->info, nullptr);
    os_release(bytes);
    os_release(index);
}

}  // namespace vorel
