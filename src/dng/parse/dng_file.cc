#include "dng/parse/dng_file.h"

#include <algorithm>

#include "dng/base/rounded.h"
#include "dng/parse/byte_order.h"
#include "dng/parse/ifd_walk.h"
#include "dng/parse/tag_codes.h"

namespace vorel {

namespace {

constexpr uint32_t kMagicTiff = 42, kMagicExtraProfile = 17234;

// DNG 1.1, as the version tag has it.
constexpr uint32_t kDngVersion11 = 0x01010000;

int32_t limited(uint32_t value) { return static_cast<int32_t>(std::min<uint32_t>(value, INT32_MAX)); }

}  // namespace

bool DngFile::parse(VorelDngStream &from) {
    if (!read_byte_order(from, 0)) return false;
    magic_ = from.get_QMUINT16();
    if (!validateMagic()) return false;
    const uint64_t offset = from.get_QMUINT32();

    ifds.push_back(std::make_unique<VorelDngIFD>());
    visit(kParentChained, offset);
    parseIFD(from, &exif, &shared, ifds[0].get(), offset, 0, kParentIfd0);
    followChain(from);
    chainedSubIFDs.resize(chainedIFDs.size());
    followSubIFDs(from, *ifds[0], ifds);
    for (size_t i = 0; i < chainedIFDs.size(); ++i) followSubIFDs(from, *chainedIFDs[i], chainedSubIFDs[i]);
    followExif(from);
    parseExtraProfiles(from);
    if (shared.makerNoteCount) {
        parseMakerNote(from, shared.makerNoteCount, shared.makerNoteOffset, 0, 0, from.length());
    }
    if (shared.dngPrivateDataCount) {
        from.setPosition(shared.dngPrivateDataOffset);
        parseDNGPrivateData(from);
    }
    return true;
}

// TIFF, and what cameras and profiles write in its place.
bool DngFile::validateMagic() const {
    switch (magic_) {
        case kMagicTiff:
        case 85:
        case 1022:
        case kMagicExtraProfile:
        case 20306:
        case 21330:
            return true;
        default:
            return false;
    }
}

bool DngFile::validateIFD(VorelDngStream &from, uint64_t offset, uint64_t base) {
    if (!from.holds(offset, 2)) return false;
    from.setPosition(offset);
    const uint32_t entries = from.get_QMUINT16();
    if (entries == 0 || !from.holds(offset + 2, kIfdEntryBytes * entries)) return false;
    for (uint32_t i = 0; i < entries; ++i) {
        if (entriesValidated_ >= kMaxIfdEntries) return false;
        ++entriesValidated_;
        from.setPosition(offset + 2 + kIfdEntryBytes * i + 2);
        const uint32_t size = TagTypeSize(from.get_QMUINT16());
        const uint64_t bytes = uint64_t{size} * from.get_QMUINT32();
        if (size == 0 || (bytes > 4 && !from.holds(base + from.get_QMUINT32(), bytes))) return false;
    }
    return true;
}

bool DngFile::parseIFD(VorelDngStream &from, VorelDngExif *toExif, VorelDngShared *toShared, VorelDngIFD *ifd,
                       uint64_t offset, uint64_t base, uint32_t parentCode) {
    if (ifd) ifd->thisIFD = offset;
    const bool whole =
        walkEntries(from, offset, base, [&](uint32_t code, uint32_t type, uint32_t count, uint64_t value) {
            parseTag(from, toExif, toShared, ifd, parentCode, code, type, count, value, base);
        });
    if (whole && ifd) {
        from.setPosition(offset);
        const uint64_t link = offset + 2 + kIfdEntryBytes * from.get_QMUINT16();
        from.setPosition(link);
        ifd->nextIFD = from.holds(link, 4) ? from.get_QMUINT32() : 0;
    }
    return whole;
}

bool DngFile::visit(uint32_t kind, uint64_t offset) {
    if (offset == 0 || ifdsWalked_ >= kMaxIfds) return false;
    const std::pair<uint32_t, uint64_t> place = {kind, offset};
    if (std::find(visited_.begin(), visited_.end(), place) != visited_.end()) return false;
    visited_.push_back(place);
    ++ifdsWalked_;
    return true;
}

void DngFile::followChain(VorelDngStream &from) {
    uint64_t next = ifds[0]->nextIFD;
    for (uint32_t i = 0; i < kMaxChainedIfds && visit(kParentChained, next) && validateIFD(from, next, 0); ++i) {
        chainedIFDs.push_back(std::make_unique<VorelDngIFD>());
        VorelDngIFD &ifd = *chainedIFDs.back();
        parseIFD(from, &exif, &shared, &ifd, next, 0, kParentChained + 1 + i);
        next = ifd.nextIFD;
    }
}

void DngFile::followSubIFDs(VorelDngStream &from, VorelDngIFD &root, DngIfds &into) {
    // Those found inside sub-IFDs come behind all of the list in which these stand.
    std::vector<std::pair<VorelDngIFD *, uint32_t>> work = {{&root, 1}};
    for (size_t at = 0; at < work.size(); ++at) {
        const auto [parent, depth] = work[at];
        if (depth >= kMaxIfdNesting) continue;
        const uint32_t count = std::min(parent->subIfdCount, kMaxSubIfds);
        for (uint32_t i = 0; i < count; ++i) {
            from.setPosition(parent->subIfdOffset + uint64_t{4} * i);
            const uint64_t offset = from.get_QMUINT32();
            if (!visit(kParentSub, offset)) continue;
            if (!validateIFD(from, offset, 0)) break;
            into.push_back(std::make_unique<VorelDngIFD>());
            VorelDngIFD *const ifd = into.back().get();
            parseIFD(from, &exif, &shared, ifd, offset, 0, kParentSub + static_cast<uint32_t>(into.size()));
            work.emplace_back(ifd, depth + 1);
        }
    }
}

void DngFile::followExif(VorelDngStream &from) {
    const auto follow = [&](uint64_t offset, uint32_t parent) {
        if (visit(parent, offset)) parseIFD(from, &exif, &shared, nullptr, offset, 0, parent);
    };
    follow(shared.exifIFD, kParentExif);
    follow(shared.gpsInfo, kParentGps);
    follow(shared.interoperabilityIFD, kParentInteroperability);
}

// Each is a small TIFF file of its own, with offsets from its beginning.
void DngFile::parseExtraProfiles(VorelDngStream &from) {
    const uint32_t count = std::min(shared.extraProfilesCount, kMaxSubIfds);
    for (uint32_t i = 0; i < count; ++i) {
        from.setPosition(shared.extraProfilesOffset + uint64_t{4} * i);
        const uint64_t base = from.get_QMUINT32();
        const ByteOrderGuard order(from);
        if (!visit(kTagExtraCameraProfiles, base) || !read_byte_order(from, base)) continue;
        if (from.get_QMUINT16() != kMagicExtraProfile) continue;
        const uint64_t offset = base + from.get_QMUINT32();
        VorelDngCameraProfileInfo profile;
        walkEntries(from, offset, base, [&](uint32_t code, uint32_t type, uint32_t values, uint64_t value) {
            profile.parseTag(from, kParentIfd0, code, type, values, value);
        });
        if (profile.colorPlanes) shared.extraProfiles.push_back(profile);
    }
}

void DngFile::parseTag(VorelDngStream &from, VorelDngExif *toExif, VorelDngShared *toShared, VorelDngIFD *ifd,
                       uint32_t parentCode, uint32_t tagCode, uint32_t tagType, uint32_t tagCount, uint64_t offset,
                       uint64_t base) {
    if (parentCode > kParentMaker && parentCode < kParentMagic85) {
        openMakerDirectory(from, parentCode, tagCode, tagType, tagCount, offset, base);
        return;
    }
    const bool top = parentCode == kParentIfd0 || (parentCode > kParentChained && parentCode < kParentSub);
    if (magic_ == 85 && top && (tagCode <= 253 || (tagCode >= 280 && tagCode <= 283))) {
        ifd = nullptr;
        parentCode = kParentMagic85;
    }
    if (ifd && ifd->parseTag(from, parentCode, tagCode, tagType, tagCount, offset)) return;
    if (!toExif || !toShared) return;
    if (toExif->parseTag(from, *toShared, parentCode, tagCode, tagType, tagCount, offset)) return;
    toShared->parseTag(from, *toExif, parentCode, tagCode, tagType, tagCount, offset);
}

std::vector<VorelDngIFD *> DngFile::allIFDs() const {
    std::vector<VorelDngIFD *> all;
    for (const auto &ifd : ifds) all.push_back(ifd.get());
    for (size_t i = 0; i < chainedIFDs.size(); ++i) {
        all.push_back(chainedIFDs[i].get());
        for (const auto &ifd : chainedSubIFDs[i]) all.push_back(ifd.get());
    }
    return all;
}

VorelDngIFD *DngFile::at(int32_t index) const { return index < 0 ? nullptr : allIFDs()[static_cast<size_t>(index)]; }

VorelDngIFD *DngFile::previewIFD() const {
    for (VorelDngIFD *ifd : allIFDs()) {
        if (ifd->newSubFileType == 1) return ifd;
    }
    return nullptr;
}

void DngFile::postParse() {
    exif.postParse(shared);
    if (originalExif) originalExif->postParse(shared);
    shared.postParse(exif);
    const std::vector<VorelDngIFD *> all = allIFDs();
    for (VorelDngIFD *ifd : all) ifd->postParse();
    if (!all.empty() && all[0]->orientation >= 1 && all[0]->orientation <= 8) {
        shared.hasBaseOrientation = true;
        shared.baseOrientation = all[0]->orientation;
    }
    if (shared.dngVersion) {
        for (size_t i = 0; i < all.size(); ++i) {
            VorelDngIFD &ifd = *all[i];
            if (ifd.newSubFileType == 0 && mainIndex < 0) mainIndex = static_cast<int32_t>(i);
            if (ifd.newSubFileType == 4 && maskIndex < 0) maskIndex = static_cast<int32_t>(i);
            const bool preview = ifd.newSubFileType == 1 || ifd.newSubFileType == 0x10001;
            if (preview && ifd.previewColorSpace == 0) ifd.previewColorSpace = ifd.samplesPerPixel == 1 ? 1 : 2;
        }
        if (mainIndex >= 0) mainIFD()->oldDataForm = shared.dngVersion < kDngVersion11;
    }
    fillMetadata();
}

void DngFile::fillMetadata() {
    metadata.hasBaseOrientation = shared.hasBaseOrientation;
    metadata.baseOrientation = shared.baseOrientation;
    metadata.isMakerNoteSafe = shared.makerNoteSafe;
    const VorelDngIFD *const main = mainIFD();
    if (!main) return;
    metadata.imageWidth = limited(main->width);
    metadata.imageHeight = limited(main->height);
    metadata.cropOriginX = rounded(main->defaultCropOriginH.value());
    metadata.cropOriginY = rounded(main->defaultCropOriginV.value());
    metadata.cropWidth = rounded(main->defaultCropSizeH.value());
    metadata.cropHeight = rounded(main->defaultCropSizeV.value());
}

}  // namespace vorel
