// Damaged files: nothing outside the block is read, and every parse ends within its limits.
#include <gtest/gtest.h>

#include "dng/base/limits.h"
#include "dng/parse/dng_file.h"
#include "dng/support/dng_builder.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

void parse(const uint8_t *data, size_t size) {
    DngFile file(data, static_cast<uint32_t>(size));
    if (!file.parse()) return;
    file.postParse();
    ASSERT_TRUE(file.ifdsWalked() <= kMaxIfds && file.entriesWalked() <= kMaxIfdEntries);
    for (const VorelDngIFD *ifd : file.allIFDs()) {
        ASSERT_TRUE(ifd->blackRepeatRows <= 8 && ifd->blackRepeatColumns <= 8 && ifd->cfaRepeatRows <= 8);
        ASSERT_LE(ifd->activeArea.bottom, static_cast<int64_t>(ifd->height));
        ASSERT_TRUE(file.stream.holds(ifd->opcodeListOffset[0], ifd->opcodeListLength[0]));
    }
    ASSERT_TRUE(file.stream.holds(file.shared.xmpOffset, file.shared.xmpCount));
}

TEST(DngHostile, CutAndDamagedFiles) {
    for (const bool little : {true, false}) {
        DngBuilder builder = dng_whole_file();
        builder.littleEndian = little;
        const std::string note =
            std::string("Adobe\0MakN\0\0\0\x18II\0\0\0\0\1\0\1\0\7\0\x12", 27) + std::string(13, '\0');
        add_tags(builder.tags,
                 {dng_text(271, "EASTMAN KODAK"), dng_bytes(50740, kDngByte, {note.begin(), note.end()})});
        const Bytes bytes = builder.build();
        for (size_t length = 0; length < bytes.size(); ++length) parse(GuardBuffer(head(bytes, length)).data(), length);
        GuardBuffer whole(bytes);
        for (size_t at = 0; at < bytes.size(); ++at) {
            for (const uint8_t value : {0, 1, 0x7F, 0xFF}) {
                whole.data()[at] = value;
                parse(whole.data(), whole.size());
            }
            whole.data()[at] = bytes[at];
        }
    }
}

// An entry of a little-endian directory.
Bytes entry(uint32_t code, uint32_t type, uint32_t count, uint32_t value) {
    return cat({little_16(code), little_16(type), little_32(count), little_32(value)});
}

TEST(DngHostile, LoopsAndBushesEnd) {
    // 100 directories, all chained, each with the special ones and a list of ten sub-IFDs anywhere among them.
    const Bytes begin = {'I', 'I', 42, 0, 8, 0, 0, 0};
    Bytes bush = begin;
    const uint32_t directory = 2 + 12 * 4 + 4 + 40, count = 100;
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t at = 8 + i * directory;
        bush = cat({bush, little_16(4), entry(330, 4, 10, at + directory - 40), entry(34665, 4, 1, at),
                    entry(34853, 4, 1, at), entry(40965, 4, 1, at), little_32(at + directory)});
        for (uint32_t k = 0; k < 10; ++k) bush = cat({bush, little_32(8 + (i * 10 + k * 7) % count * directory)});
    }
    DngFile file(bush.data(), static_cast<uint32_t>(bush.size()));
    ASSERT_TRUE(file.parse());
    EXPECT_EQ(file.ifdsWalked(), kMaxIfds);
    EXPECT_EQ(file.chainedIFDs.size(), kMaxChainedIfds);

    // The most entries that a directory can have, with the longest of texts: the last ones may not be copied.
    Bytes texts = cat({begin, little_16(65535)});
    for (uint32_t k = 0; k < 65535; ++k) {
        const Bytes one = entry(k % 2 ? 305 : 33432, 2, 1 << 20, 1 << 20);
        texts.insert(texts.end(), one.begin(), one.end());
    }
    texts.resize(2 << 20, 't');
    DngFile many(texts.data(), static_cast<uint32_t>(texts.size()));
    ASSERT_TRUE(many.parse());
    EXPECT_EQ(many.entriesWalked(), kMaxIfdEntries);
    EXPECT_TRUE(many.exif.software.empty() && many.exif.copyright.empty());
}

}  // namespace
}  // namespace vorel::test
