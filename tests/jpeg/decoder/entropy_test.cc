// The entropy decoder: the fast path against the plain one, on good and damaged streams; tables; restarts; positions.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>

#include "jpeg/decoder/colour_model.h"
#include "jpeg/decoder/open_record.h"
#include "jpeg/decoder/surgery.h"
#include "util/simd_targets.h"

namespace vorel::test {
namespace {

Bytes busy_picture(int sampling, unsigned restart, unsigned seed, int quality = 92, bool progressive = false) {
    return turbo_picture({.width = 260,
                          .height = 250,
                          .h = sampling,
                          .v = sampling,
                          .quality = quality,
                          .restart_interval = restart,
                          .progressive = progressive,
                          .optimize = seed % 2 != 0,
                          .seed = seed,
                          .noise = 100});
}

// Flips, cuts, and puts markers, fill bytes and stuffing into the entropy-coded data.
Bytes damaged(const Bytes &jpeg, std::mt19937 *random) {
    Bytes out = jpeg;
    const size_t first = scan_data(jpeg);
    const auto place = [&] { return first + (*random)() % (out.size() - first); };
    switch ((*random)() % 6) {
        case 0:
            for (int i = 0; i < 5; ++i) out[place()] ^= static_cast<uint8_t>(1u << (*random)() % 8);
            return out;
        case 1:
            return with_inserted(out, place(), {0xFF, static_cast<uint8_t>(0xD0 + (*random)() % 10)});
        case 2:
            return with_inserted(out, place(), {0xFF, 0xFF, 0xFF, 0x00});
        case 3:
            return with_inserted(out, place(), {0xFF, 0xFF, 0xD9});
        case 4:
            return Bytes(out.begin(), out.begin() + static_cast<ptrdiff_t>(place()));
        default: {
            const size_t from = place();
            return without(out, from, std::min(out.size(), from + (*random)() % 3000));
        }
    }
}

TEST(JpegEntropy, FastPathEqualsThePlainOneOnDamagedStreams) {
    std::mt19937 random(11);
    for (unsigned round = 0; round < 480; ++round) {
        const unsigned restart = round % 3 == 0 ? 0 : round % 3 == 1 ? 4 : 17;
        const Bytes good = busy_picture(1 + static_cast<int>(round % 2), restart, round, 92, round >= 240);
        const Bytes jpeg = round < 6 ? good : damaged(good, &random);
        const int scale = 1 << round / 6 % 4;
        DecodeSpec wanted{.format = COLOR_YUV444, .width = 260 / scale, .height = 250 / scale};
        wanted.options = round % 5 == 0 ? VOREL_OPTION_SKIP_TABLES : 0;
        for (const Kind kind : {Kind::kMemory, Kind::kPath}) {
            wanted.kind = kind;
            const Decoded fast = decode(jpeg, wanted);
            const PlainPathOnly plain_only;
            const Decoded plain = decode(jpeg, wanted);
            EXPECT_EQ(fast.result, plain.result) << round;
            EXPECT_TRUE(fast.pixels == plain.pixels) << round << " 1/" << scale << " kind " << static_cast<int>(kind);
        }
    }
}

// By every table of loops and on the plain path.
void expect_same_passes(const Bytes &jpeg, const std::string &what) {
    const DecodeSpec wanted{.format = COLOR_YUV444, .width = 260, .height = 250};
    const Decoded fast = decode(jpeg, wanted);
    assume_slow_deposits(true);
    const Decoded shifts = decode(jpeg, wanted);
    assume_slow_deposits(false);
    limit_simd_targets(SimdTarget::kSse4);
    const Decoded loops = decode(jpeg, wanted);
    limit_simd_targets(SimdTarget::kCount);
    const PlainPathOnly plain_only;
    const Decoded plain = decode(jpeg, wanted);
    for (const Decoded *one : {&fast, &shifts, &loops}) {
        EXPECT_EQ(one->result, plain.result) << what;
        EXPECT_TRUE(one->pixels == plain.pixels) << what;
    }
}

// Many corrections a band, runs beyond its end, codes that no encoder writes.
TEST(JpegEntropy, RefiningPassesOfDenseBlocksEqualThePlainPath) {
    std::mt19937 random(13);
    for (unsigned round = 0; round < 60; ++round) {
        Bytes jpeg = busy_picture(1, 0, round, round % 3 ? 99 : 75, true);
        const size_t first = nth_scan(jpeg, 5);
        for (unsigned flips = round % 10 * 40; flips; --flips) {
            const size_t at = first + random() % (jpeg.size() - first);
            const uint8_t byte = jpeg[at] ^ static_cast<uint8_t>(1u << random() % 8);
            // Scans stay where they are.
            if (byte != 0xFF && jpeg[at] != 0xFF && jpeg[at - 1] != 0xFF) jpeg[at] = byte;
        }
        expect_same_passes(jpeg, "round " + std::to_string(round));
    }
}

// The longest code, the longest count of bands, and corrections for all of a dense block, in one band.
TEST(JpegEntropy, ALongRunOfBandsLeavesBitsForItsCorrections) {
    const Bytes jpeg = busy_picture(1, 0, 3, 99, true);
    constexpr int kLastScan = 9;
    const size_t at = nth_scan(jpeg, kLastScan);
    Bytes scan(jpeg.begin() + static_cast<ptrdiff_t>(at), jpeg.begin() + static_cast<ptrdiff_t>(at) + 10);
    ASSERT_EQ(scan[4], 1) << "component";
    ASSERT_EQ(scan[7], 1) << "first position";
    // One code of each length, the last one for 2^14 bands and more.
    Bytes tables = {0xFF, 0xC4, 0, 35, static_cast<uint8_t>(0x10 | (scan[6] & 15))};
    for (int length = 1; length <= 16; ++length) tables.push_back(1);
    for (int symbol = 1; symbol < 16; ++symbol) tables.push_back(static_cast<uint8_t>(symbol << 4 | 1));
    tables.push_back(0xE0);
    std::mt19937 random(17);
    for (int round = 0; round < 20; ++round) {
        Bytes data = {0xFF, 0x00, 0xFE};
        while (data.size() < 20000) data.push_back(static_cast<uint8_t>(random() % 255));
        expect_same_passes(cat({head(jpeg, nth_scan(jpeg, kLastScan, true)), tables, scan, data, {0xFF, 0xD9}}),
                           "round " + std::to_string(round));
    }
}

// A symbol that begins below the limit is stored wherever its run leads; the walk over the rest ends on the right bit.
TEST(JpegEntropy, ScaledDecodersKeepWhatBeginsBelowTheirLimit) {
    const Bytes jpeg = busy_picture(1, 0, 5, 85);
    const auto blocks = turbo_coefficients(jpeg);
    const struct {
        int32_t (*decode)(JpegInfo *, int16_t **);
        int keep;
    } kRows[] = {{BRIMJ_DecodeMcu, 64}, {BRIMJ_DecodeMcu_2to1, 19}, {BRIMJ_DecodeMcu_4to1, 5}};
    int beyond = 0;
    for (const auto &row : kRows) {
        OpenRecord record(jpeg, COLOR_GRAY, 260, 250);
        for (int mcu = 0; mcu < 33 * 32; ++mcu) {
            int16_t *pointers[3] = {record.batch()->blocks[0], record.batch()->blocks[1], record.batch()->blocks[2]};
            ASSERT_EQ(row.decode(record.get(), pointers), 1);
            for (size_t c = 0; c < 3; ++c) {
                int16_t expected[64];
                std::memcpy(expected, &blocks[c].coefficients[static_cast<size_t>(mcu) * 64], sizeof expected);
                drop_coefficients(expected, row.keep);
                for (int k = 1; k < 64; ++k) {
                    const int at = BRIMJ_NATURAL_ORDER[k];
                    ASSERT_EQ(pointers[c][at], expected[at]) << mcu << " position " << k;
                    beyond += k >= row.keep && expected[at] != 0;
                }
            }
        }
    }
    EXPECT_GT(beyond, 0) << "the picture has runs over a limit";
}

// ---- Derived tables

// Bits that no table has are symbol 0, and 17 of them are gone.
void expect_symbol_zero(JpegInfo *info, DerivedTable *table) {
    BitState state = {info, nullptr, 0, 0, 0};
    ASSERT_EQ(BRIMJ_ReadBits(&state, 0, 0, 17), 1);
    const int32_t before = state.bitCount;
    EXPECT_EQ(BRIMJ_DecodeHuffMan(&state, state.bitBuffer, state.bitCount, table, 1), 0);
    EXPECT_EQ((before - state.bitCount) & 7, 17 & 7);
}

struct TableCase {
    const char *what;
    Bytes counts, symbols;
    bool dc;
    int32_t derives;
};

TEST(JpegHuffmanTables, DerivationRefusesWhatNoPrefixCodeHas) {
    const Bytes none(16, 0);
    const auto counts = [&none](std::initializer_list<std::pair<size_t, uint8_t>> set) {
        Bytes out = none;
        for (const auto &[length, count] : set) out[length - 1] = count;
        return out;
    };
    const TableCase kCases[] = {
        {"empty", none, {}, false, 1},
        {"one code of one bit", counts({{1, 1}}), {0}, false, 1},
        {"two codes of one bit, the second all ones", counts({{1, 2}}), {0, 1}, false, 0},
        {"three codes of one bit", counts({{1, 3}}), {0, 1, 2}, false, 0},
        {"a longer code behind a full length", counts({{1, 2}, {2, 1}}), {0, 1, 2}, false, 0},
        {"DC symbol 15", counts({{2, 1}}), {15}, true, 1},
        {"DC symbol 16", counts({{2, 1}}), {16}, true, 0},
        {"AC symbol 255", counts({{16, 1}}), {255}, false, 1},
    };
    for (const TableCase &row : kCases) {
        OpenRecord record(busy_picture(1, 0, 1), COLOR_GRAY, 260, 250);
        RawHuffTable *raw = row.dc ? record.get()->header.huffDc[0] : record.get()->header.huffAc[0];
        std::memset(raw, 0, sizeof *raw);
        std::copy(row.counts.begin(), row.counts.end(), raw->counts);
        std::copy(row.symbols.begin(), row.symbols.end(), raw->symbols);
        DerivedTable *table = nullptr;
        EXPECT_EQ(BRIMJ_PrepareDerivedTbl(record.get(), row.dc, 0, &table, &record.scan()->entropy), row.derives)
            << row.what;
        EXPECT_EQ(BRIMJ_PrepareDerivedTbl(record.get(), row.dc, 4, &table, &record.scan()->entropy), 0) << "table 4";
        if (row.symbols.empty()) expect_symbol_zero(record.get(), table);
        BRIM_FakeFree(table);
    }
}

// A scan may define a table anew: everything that was made of the old one is made again, and only then.
TEST(JpegHuffmanTables, AChangedSymbolMakesTheTableAgain) {
    OpenRecord record(busy_picture(1, 0, 1), COLOR_GRAY, 260, 250);
    RawHuffTable raw = *record.get()->header.huffAc[0];
    DerivedTable *table = nullptr;
    const auto derived = [&] {
        EXPECT_TRUE(derive_table(raw, false, 0, &table));
        const uint32_t *fast = fast_entries(table);
        const uint16_t *skip = skip_entries(table);
        return std::pair{std::vector<uint32_t>(fast, fast + (1 << kMostAcLookBits)),
                         std::vector<uint16_t>(skip, skip + (1 << kMostSkipLookBits))};
    };
    const auto before = derived();
    EXPECT_TRUE(derived() == before);
    std::swap(raw.symbols[0], raw.symbols[2]);
    const auto after = derived();
    EXPECT_TRUE(after.first != before.first && after.second != before.second);
    release_table(table);
}

// ---- Positions in a scan: reported anywhere, the same for every path and input, and decoding goes on from them

// All coefficients of the next `count` MCUs.
std::vector<int16_t> coefficients(OpenRecord &record, McuMode mode, int32_t count) {
    std::vector<int16_t> out;
    McuBatch *batch = record.batch();
    const int32_t blocks = record.scan()->blocksInMcu;
    for (int32_t i = 0; i < count; ++i) {
        if (decode_mcus(record.scan(), mode, 1, batch->blocks, batch->last) != 1) out.push_back(-1);
        if (mode == McuMode::kSkip) continue;
        const int16_t *from = batch->coefficients[0];
        out.insert(out.end(), from, from + blocks * (mode == McuMode::kDc ? 1 : 64));
    }
    return out;
}

// Fill bytes in front of a stuffed byte, then a marker that does not belong there.
Bytes with_odd_bytes(const Bytes &jpeg) {
    const size_t middle = scan_data(jpeg) + (jpeg.size() - scan_data(jpeg)) / 2;
    const Bytes filled = with_inserted(jpeg, middle, {0xFF, 0xFF, 0xFF, 0x00});
    return with_inserted(filled, middle + 700, {0xFF, 0xFF, 0xD3});
}

std::vector<Bytes> pictures() {
    std::vector<Bytes> out;
    for (const int sampling : {1, 2}) {
        for (const unsigned restart : {0u, 1u, 5u, 17u}) {
            PictureSpec spec = sized(260, 136, sampling, sampling);
            spec.restart_interval = restart;
            spec.noise = 100;
            spec.quality = 96;
            out.push_back(turbo_picture(spec));
            out.push_back(with_odd_bytes(out.back()));
            spec.scans = Scans::kOnePerComponent;
            out.push_back(turbo_picture(spec));
        }
    }
    return out;
}

TEST(JpegPosition, IsTheSameForEveryPathAndInputAndDecodingGoesOnFromIt) {
    std::mt19937 random(3);
    for (const Bytes &jpeg : pictures()) {
        OpenRecord lead(jpeg, COLOR_GRAY, 260, 136);
        ASSERT_TRUE(lead.get() && lead.scan()->window);
        const auto total = static_cast<int32_t>(lead.scan()->mcusPerRow * lead.scan()->mcuRows);
        // Readers over each input and path, which follow the lead step by step.
        std::vector<std::unique_ptr<OpenRecord>> others;
        for (const Kind kind : {Kind::kMemory, Kind::kPath, Kind::kStream, Kind::kStdio}) {
            for (const bool plain : {false, true}) {
                allow_fast_path(!plain);
                others.push_back(std::make_unique<OpenRecord>(jpeg, COLOR_GRAY, 260, 136, kind));
                allow_fast_path(true);
                ASSERT_TRUE(others.back()->get());
            }
        }
        std::vector<EntropyPosition> seen;
        std::vector<int16_t> straight;
        constexpr int32_t kAhead = 3;
        for (int32_t mcu = 0; mcu + kAhead < total; ++mcu) {
            ASSERT_EQ(begin_mcu(lead.scan()), begin_mcu(others[0]->scan()));
            seen.push_back(tell(lead.scan()));
            const std::vector<int64_t> position = lead.position();
            for (size_t i = 0; i < others.size(); ++i) {
                begin_mcu(others[i]->scan());
                ASSERT_EQ(others[i]->position(), position) << "MCU " << mcu << " reader " << i;
                decode_mcus(others[i]->scan(), McuMode::kSkip, 1, nullptr, nullptr);
            }
            const std::vector<int16_t> mcu_of = coefficients(lead, McuMode::kFull, 1);
            straight.insert(straight.end(), mcu_of.begin(), mcu_of.end());
        }
        // From the last position to the first: each is restored into a reader that stands somewhere else.
        const size_t per_mcu = straight.size() / seen.size();
        for (size_t at = seen.size(); at-- > 0;) {
            if (at % 7 && at + 40 < seen.size()) continue;
            ASSERT_TRUE(restore(lead.scan(), seen[at]));
            const std::vector<int16_t> expected = coefficients(lead, McuMode::kFull, kAhead);
            ASSERT_TRUE(std::equal(expected.begin(), expected.begin() + static_cast<ptrdiff_t>(per_mcu),
                                   straight.begin() + static_cast<ptrdiff_t>(at * per_mcu)))
                << "MCU " << at;
            OpenRecord &other = *others[random() % others.size()];
            ASSERT_TRUE(restore(other.scan(), seen[at]));
            ASSERT_EQ(coefficients(other, McuMode::kFull, kAhead), expected) << "MCU " << at;
            ASSERT_EQ(other.position(), lead.position()) << "MCU " << at;
        }
    }
}

// What the input ends in is gone behind the MCU that fails over it, for every path, and for who goes on from there.
TEST(JpegPosition, BehindAFailedMcuNothingIsLeft) {
    const Bytes whole = turbo_picture({.width = 80, .height = 80, .quality = 40, .noise = 30});
    const size_t first = scan_data(whole);
    for (size_t bytes = 5; bytes < 80; ++bytes) {
        const Bytes jpeg(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(first + bytes));
        std::vector<int64_t> position;
        for (const Kind kind : {Kind::kMemory, Kind::kPath}) {
            for (const bool plain : {false, true}) {
                allow_fast_path(!plain);
                OpenRecord record(jpeg, COLOR_GRAY, 80, 80, kind), other(jpeg, COLOR_GRAY, 80, 80, kind);
                allow_fast_path(true);
                ASSERT_TRUE(record.get() && other.get());
                const auto before = decode_mcus(record.scan(), McuMode::kSkip, 100, nullptr, nullptr);
                ASSERT_LT(before, 100);
                if (position.empty()) position = record.position();
                EXPECT_EQ(record.position(), position) << bytes << (plain ? " plain" : " fast");
                EXPECT_EQ(position[0], static_cast<int64_t>(jpeg.size())) << bytes;
                ASSERT_TRUE(restore(other.scan(), tell(record.scan())));
                for (OpenRecord *one : {&record, &other})
                    EXPECT_EQ(decode_mcus(one->scan(), McuMode::kSkip, 1, nullptr, nullptr), 0) << bytes;
            }
        }
    }
}

// A stream without a way back refuses a position that is no longer in its block, and nothing is read.
TEST(JpegPosition, AStreamThatOnlyGoesForwardRefusesToGoBack) {
    StreamSource forward(turbo_picture({.width = 260, .height = 136, .noise = 90}));
    const SessionGuard session(forward.open(COLOR_GRAY, 0, false));
    OpenRecord record(session.get(), 260, 136);
    ASSERT_TRUE(record.get());
    const EntropyPosition first = tell(record.scan());
    decode_mcus(record.scan(), McuMode::kSkip, 17 * 9, nullptr, nullptr);
    EXPECT_FALSE(restore(record.scan(), first));
}

// Whole intervals above a window are passed over by their markers, from the first call on, and what follows is right.
TEST(JpegPosition, RestartMarkersLeadToAWindow) {
    const Bytes jpeg = turbo_picture({.width = 256, .height = 256, .restart_interval = 5});
    OpenRecord straight(jpeg, COLOR_GRAY, 256, 256);
    Input input(Kind::kMemory, jpeg, COLOR_GRAY);
    set_window(input.session(), 0, 64, 100, 100);
    OpenRecord record(input.session(), 256, 256);
    ASSERT_TRUE(record.get());
    // 64 MCUs lie above; the interval that reaches beyond them is decoded.
    for (int mcu = 0; mcu < 60; ++mcu)
        ASSERT_EQ(BRIMJ_SkipMcuUsingRST(record.get()), mcu && mcu % 5 == 0 ? 1 : 2) << mcu;
    EXPECT_EQ(BRIMJ_SkipMcuUsingRST(record.get()), 0);
    coefficients(straight, McuMode::kFull, 60);
    EXPECT_EQ(coefficients(record, McuMode::kFull, 6), coefficients(straight, McuMode::kFull, 6));
}

// A source that pauses ends its MCU without decoding it, and that one does not count against the interval.
TEST(JpegPosition, APauseOfTheSourceDoesNotCount) {
    struct Pausing : StreamSource {
        size_t pause;
        static int32_t read(void *context, void *destination, int32_t count) {
            auto *self = static_cast<Pausing *>(context);
            if (self->position == self->pause) return self->pause = 0, 0;
            const auto before = static_cast<int32_t>(self->pause) - static_cast<int32_t>(self->position);
            return StreamSource::read(self, destination, self->pause ? std::min(count, before) : count);
        }
    };
    const Bytes jpeg = turbo_picture({.width = 160, .height = 160, .restart_interval = 60});
    Pausing source = {StreamSource(jpeg), scan_data(jpeg) + 300};
    const SessionGuard session(VORELBRIM_CreateDecInfoWithStream(
        &source, static_cast<int32_t>(jpeg.size()), Pausing::read, StreamSource::skip, nullptr, COLOR_GRAY, 0));
    const PlainPathOnly plain_only;
    OpenRecord record(session.get(), 160, 160);
    ASSERT_TRUE(record.get());
    EXPECT_EQ(decode_mcus(record.scan(), McuMode::kSkip, 50, nullptr, nullptr), 50);
    EXPECT_EQ(source.pause, 0u);
    EXPECT_EQ(record.scan()->entropy.restartsToGo, 11u);
}

}  // namespace
}  // namespace vorel::test
