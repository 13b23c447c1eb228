// The structure of a DNG or TIFF file in memory: its directories, and the records that they fill.
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "dng/parse/exif.h"
#include "dng/parse/ifd.h"
#include "dng/parse/metadata.h"
#include "dng/parse/shared.h"
#include "dng/parse/stream.h"

namespace vorel {

// Where a directory stands. Exif, GPS and interoperability directories have the number of the tag that points to them.
enum DngParentCode : uint32_t {
    kParentIfd0 = 0,
    kParentExif = 34665,
    kParentGps = 34853,
    kParentInteroperability = 40965,
    kParentChained = 0x10000,  // and the number of the directory
    kParentSub = 0x20000,
    kParentMaker = 0x30000,    // and a number of each maker's own
    kParentMagic85 = 0x40009,  // some tags of IFD 0 in files with magic 85
};

using DngIfds = std::vector<std::unique_ptr<VorelDngIFD>>;

// One parse of one file. What it may cost is limited (dng/base/limits.h): directories and entries beyond that are as if
// they were not there.
class DngFile {
  public:
    // data stays the caller's, and has to outlive this.
    DngFile(const uint8_t *data, uint32_t length) : stream(data, length) {}
    explicit DngFile(const char *path) : stream(path) {}
    // Shares the block of another stream.
    explicit DngFile(const VorelDngStream &source) : stream(source, 0) {}
    DngFile(const DngFile &) = delete;
    DngFile &operator=(const DngFile &) = delete;

    // To be called once. False only for a byte order mark or a magic number that is none.
    bool parse() { return parse(stream); }
    bool parse(VorelDngStream &from);
    // Afterwards: chooses the main image and the mask, and fills the metadata record.
    void postParse();

    // Null where there is none: the first of its kind in the order of allIFDs().
    VorelDngIFD *mainIFD() const { return at(mainIndex); }
    VorelDngIFD *maskIFD() const { return at(maskIndex); }
    VorelDngIFD *previewIFD() const;  // new subfile type 1; also without a DNG version
    // IFD 0, its sub-IFDs, then each chained IFD followed by its sub-IFDs.
    std::vector<VorelDngIFD *> allIFDs() const;

    // The steps of a parse. Null records are not filled.
    bool validateMagic() const;
    // Whether all of the directory and its values lie in the stream.
    bool validateIFD(VorelDngStream &from, uint64_t offset, uint64_t base);
    // False where the directory could not be walked to its end.
    bool parseIFD(VorelDngStream &from, VorelDngExif *toExif, VorelDngShared *toShared, VorelDngIFD *ifd,
                  uint64_t offset, uint64_t base, uint32_t parentCode);
    // offset: of the value, inside the stream.
    void parseTag(VorelDngStream &from, VorelDngExif *toExif, VorelDngShared *toShared, VorelDngIFD *ifd,
                  uint32_t parentCode, uint32_t tagCode, uint32_t tagType, uint32_t tagCount, uint64_t offset,
                  uint64_t base);
    bool parseMakerNote(VorelDngStream &from, uint32_t makerNoteCount, uint64_t makerNoteOffset, uint64_t base,
                        uint64_t minOffset, uint64_t maxOffset);
    bool parseMakerNoteIFD(VorelDngStream &from, uint64_t noteSize, uint64_t offset, uint64_t base, uint64_t minOffset,
                           uint64_t maxOffset, uint32_t parentCode);
    // from stands at the beginning of the block, shared says how long it is.
    void parseDNGPrivateData(VorelDngStream &from);

    VorelDngStream stream;
    VorelDngExif exif;
    std::unique_ptr<VorelDngExif> originalExif;  // of the file that the DNG was made of, where it is kept
    VorelDngShared shared;
    VorelDngMetadata metadata;
    DngIfds ifds;                            // IFD 0 and its sub-IFDs
    DngIfds chainedIFDs;                     // behind IFD 0
    std::vector<DngIfds> chainedSubIFDs;     // of each of these
    int32_t mainIndex = -1, maskIndex = -1;  // in allIFDs(); -1: none

    uint32_t ifdsWalked() const { return ifdsWalked_; }
    uint32_t entriesWalked() const { return entriesWalked_; }

  private:
    // A directory inside a maker note that was found in another.
    struct MakerDirectory {
        uint64_t offset, base, size;
        uint32_t parentCode;
        bool littleEndian;
    };

    VorelDngIFD *at(int32_t index) const;
    // Whether a directory may be walked: one more, and not yet for this kind of parent.
    bool visit(uint32_t kind, uint64_t offset);
    template <typename Entry>
    bool walkEntries(VorelDngStream &from, uint64_t offset, uint64_t base, const Entry &entry);
    void followChain(VorelDngStream &from);
    void followSubIFDs(VorelDngStream &from, VorelDngIFD &root, DngIfds &into);
    void followExif(VorelDngStream &from);
    void parseExtraProfiles(VorelDngStream &from);
    void openMakerDirectory(VorelDngStream &from, uint32_t parentCode, uint32_t tagCode, uint32_t tagType,
                            uint32_t tagCount, uint64_t offset, uint64_t base);
    void parseKeptMakerNote(VorelDngStream &from, uint64_t body, uint32_t length);
    void parseKeptExif(VorelDngStream &from, uint64_t at, uint64_t end);
    void fillMetadata();

    uint32_t magic_ = 0;
    uint32_t ifdsWalked_ = 0, entriesWalked_ = 0, entriesValidated_ = 0;
    std::vector<std::pair<uint32_t, uint64_t>> visited_;  // kind of directory, offset
    std::vector<MakerDirectory> makerDirectories_;
};

}  // namespace vorel
