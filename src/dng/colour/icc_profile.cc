#include "dng/colour/icc_profile.h"

#include <cmath>
#include <cstring>
#include <string>
#include <utility>

namespace vorel {
namespace {

constexpr uint32_t kHeaderBytes = 128, kTagEntryBytes = 12;
constexpr uint32_t kCurveEntries = 1024;
constexpr double kD50[3] = {0.9642, 1.0, 0.8249};  // as every profile states it

// Big-endian, as all of a profile.
class Writer {
  public:
    void u16(uint32_t value) {
        bytes.push_back(static_cast<uint8_t>(value >> 8));
        bytes.push_back(static_cast<uint8_t>(value));
    }
    void u32(uint32_t value) {
        u16(value >> 16);
        u16(value & 0xFFFF);
    }
    void s15_fixed16(double value) { u32(static_cast<uint32_t>(static_cast<int32_t>(std::lround(value * 65536)))); }
    void text(const std::string &characters) { bytes.insert(bytes.end(), characters.begin(), characters.end()); }
    void zeros(size_t count) { bytes.insert(bytes.end(), count, 0); }

    std::vector<uint8_t> bytes;
};

Writer xyz(double x, double y, double z) {
    Writer out;
    out.text("XYZ ");
    out.u32(0);
    out.s15_fixed16(x);
    out.s15_fixed16(y);
    out.s15_fixed16(z);
    return out;
}

Writer description_of(const std::string &name) {
    Writer out;
    out.text("desc");
    out.u32(0);
    out.u32(static_cast<uint32_t>(name.size()) + 1);
    out.text(name);
    // The end of the text, then no Unicode and no script code, which has 67 bytes nevertheless.
    out.zeros(1 + 8 + 3 + 67);
    return out;
}

Writer curve_of(double gamma, const VorelDng1dFunction &encode) {
    Writer out;
    out.text("curv");
    out.u32(0);
    if (gamma != 0) {
        out.u32(1);
        out.u16(static_cast<uint32_t>(std::lround(gamma * 256)));
        return out;
    }
    out.u32(kCurveEntries);
    for (uint32_t i = 0; i < kCurveEntries; ++i) {
        out.u16(static_cast<uint32_t>(std::lround(encode.evaluateInverse(i / (kCurveEntries - 1.0)) * 65535)));
    }
    return out;
}

}  // namespace

std::vector<uint8_t> make_icc_profile(const char *description, const VorelDngMatrix &to_pcs, double gamma,
                                      const VorelDng1dFunction &encode) {
    const bool grey = to_pcs.columns() == 1;
    Writer copyright;
    copyright.text("text");
    copyright.u32(0);
    copyright.text("No copyright, use freely");
    copyright.zeros(1);
    std::vector<std::pair<std::string, Writer>> tags = {
        {"desc", description_of(description)}, {"cprt", copyright}, {"wtpt", xyz(kD50[0], kD50[1], kD50[2])}};
    if (!grey) {
        for (uint32_t i = 0; i < 3; ++i) {
            tags.emplace_back(std::string(1, "rgb"[i]) + "XYZ", xyz(to_pcs[0][i], to_pcs[1][i], to_pcs[2][i]));
        }
    }
    tags.emplace_back(grey ? "kTRC" : "rTRC", curve_of(gamma, encode));

    // The three curves are one.
    const uint32_t entries = static_cast<uint32_t>(tags.size()) + (grey ? 0 : 2);
    Writer table, data;
    table.u32(entries);
    const uint32_t start = kHeaderBytes + 4 + entries * kTagEntryBytes;
    for (const auto &[signature, content] : tags) {
        const uint32_t offset = start + static_cast<uint32_t>(data.bytes.size());
        const bool shared = signature == "rTRC";
        for (const char *name : {signature.c_str(), shared ? "gTRC" : "", shared ? "bTRC" : ""}) {
            if (!*name) continue;
            table.text(name);
            table.u32(offset);
            table.u32(static_cast<uint32_t>(content.bytes.size()));
        }
        data.bytes.insert(data.bytes.end(), content.bytes.begin(), content.bytes.end());
        data.zeros(-data.bytes.size() % 4);
    }

    Writer profile;
    profile.u32(start + static_cast<uint32_t>(data.bytes.size()));
    profile.u32(0);           // no preferred engine
    profile.u32(0x02400000);  // version 2.4
    profile.text("mntr");
    profile.text(grey ? "GRAY" : "RGB ");
    profile.text("XYZ ");
    for (const uint32_t part : {2026u, 1u, 1u, 0u, 0u, 0u}) profile.u16(part);
    profile.text("acsp");
    profile.zeros(24);  // platform, flags, maker, model, attributes
    profile.u32(0);     // perceptual
    for (const double white : kD50) profile.s15_fixed16(white);
    profile.zeros(kHeaderBytes - profile.bytes.size());
    profile.bytes.insert(profile.bytes.end(), table.bytes.begin(), table.bytes.end());
    profile.bytes.insert(profile.bytes.end(), data.bytes.begin(), data.bytes.end());
    return profile.bytes;
}

}  // namespace vorel
