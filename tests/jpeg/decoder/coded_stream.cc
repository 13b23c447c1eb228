#include "jpeg/decoder/coded_stream.h"

#include <algorithm>
#include <random>

#include "support/samples.h"

namespace vorel::test {
namespace {

class Writer {
  public:
    explicit Writer(const StreamSpec &spec) : spec_(spec), random_(spec.seed) {}

    Bytes file() {
        const auto side = [](int value) { return static_cast<uint32_t>(value); };
        const auto factors = static_cast<uint8_t>(spec_.sampling * 17);
        Bytes quant(64, 1);
        quant[0] = 2;
        out_ = cat({{0xFF, 0xD8, 0xFF, 0xDB, 0, 67, 0},
                    quant,
                    {0xFF, 0xC0, 0, 17, 8},
                    big_16(side(spec_.height)),
                    big_16(side(spec_.width)),
                    {3, 1, factors, 0, 2, 0x11, 0, 3, 0x11, 0},
                    {0xFF, 0xDD, 0, 4},
                    big_16(spec_.restart)});
        if (spec_.separate) {
            for (int c = 0; c < 3; ++c) scan({c});
        } else {
            scan({0, 1, 2});
        }
        return cat({out_, {0xFF, 0xD9}});
    }

  private:
    struct Code {
        uint32_t bits = 0;
        int length = 0;
    };

    unsigned below(unsigned most) { return static_cast<unsigned>(random_()) % most; }

    // A code for each symbol: one of each length from 2 to 8, the others between 9 and 16 bits.
    void table(int slot, Bytes symbols, Code *codes) {
        std::shuffle(symbols.begin(), symbols.end(), random_);
        std::vector<int> lengths;
        for (size_t i = 0; i < symbols.size(); ++i)
            lengths.push_back(i < 7 ? static_cast<int>(i) + 2 : static_cast<int>(9 + below(8)));
        std::sort(lengths.begin(), lengths.end());
        Bytes counts(16);
        uint32_t next = 0;
        for (size_t i = 0; i < symbols.size(); ++i) {
            if (i) next = (next + 1) << (lengths[i] - lengths[i - 1]);
            codes[symbols[i]] = {next, lengths[i]};
            ++counts[static_cast<size_t>(lengths[i]) - 1];
        }
        out_ = cat({out_,
                    {0xFF, 0xC4},
                    big_16(static_cast<uint32_t>(19 + symbols.size())),
                    {static_cast<uint8_t>(slot)},
                    counts,
                    symbols});
    }

    void scan(const std::vector<int> &components) {
        Bytes dc_symbols, ac_symbols, header = {static_cast<uint8_t>(components.size())};
        for (uint8_t size = 0; size < 12; ++size) dc_symbols.push_back(size);
        for (int symbol = 0; symbol < 256; ++symbol)
            if ((symbol & 15) < 7) ac_symbols.push_back(static_cast<uint8_t>(symbol));
        table(0x00, dc_symbols, dc_);
        table(0x10, ac_symbols, ac_);
        for (const int c : components) header = cat({header, {static_cast<uint8_t>(c + 1), 0}});
        out_ = cat({out_, {0xFF, 0xDA}, big_16(static_cast<uint32_t>(5 + header.size())), header, {0, 63, 0}});
        const bool alone = components.size() == 1;
        const int unit = alone ? (components[0] ? 8 * spec_.sampling : 8) : 8 * spec_.sampling;
        const int mcus = ((spec_.width + unit - 1) / unit) * ((spec_.height + unit - 1) / unit);
        std::fill(std::begin(last_dc_), std::end(last_dc_), 0);
        for (int mcu = 0; mcu < mcus; ++mcu) {
            if (mcu && spec_.restart && static_cast<unsigned>(mcu) % spec_.restart == 0) {
                flush();
                const unsigned number = static_cast<unsigned>(mcu) / spec_.restart - 1;
                out_.insert(out_.end(), {0xFF, static_cast<uint8_t>(0xD0 + number % 8)});
                std::fill(std::begin(last_dc_), std::end(last_dc_), 0);
            }
            for (const int c : components) {
                const int blocks = alone || c ? 1 : spec_.sampling * spec_.sampling;
                for (int b = 0; b < blocks; ++b) block(&last_dc_[c]);
            }
        }
        flush();
    }

    void block(int *last_dc) {
        const int dc = static_cast<int>(below(700)) - 350, difference = dc - *last_dc;
        *last_dc = dc;
        int size = 0;
        while (std::abs(difference) >> size) ++size;
        put(dc_[size]);
        put({static_cast<uint32_t>(difference < 0 ? difference - 1 : difference) & ((1u << size) - 1), size});
        // One block of eight goes on to its last coefficient.
        const unsigned end_of_16 = below(8) ? 1 + below(4) : 0;
        for (int k = 1; k < 64;) {
            if (below(16) < end_of_16) return put(ac_[below(15) * 16]);
            if (below(24) == 0) {
                put(ac_[0xF0]);
                k += 16;
                continue;
            }
            const int run = static_cast<int>(below(5) ? below(3) : below(16)), bits = 1 + static_cast<int>(below(6));
            if (k + run > 63) continue;
            put(ac_[run * 16 + bits]);
            put({below(1u << bits), bits});
            k += run + 1;
        }
    }

    void put(Code code) {
        for (int i = code.length - 1; i >= 0; --i) {
            byte_ = byte_ << 1 | (code.bits >> i & 1);
            if (++bits_ < 8) continue;
            out_.push_back(static_cast<uint8_t>(byte_));
            if ((byte_ & 255) == 255) out_.push_back(0);
            bits_ = 0;
        }
    }
    void flush() {
        if (bits_) put({0x7F, 8 - bits_});
    }

    const StreamSpec spec_;
    std::mt19937 random_;
    Bytes out_;
    Code dc_[16], ac_[256];
    int last_dc_[3] = {};
    uint32_t byte_ = 0;
    int bits_ = 0;
};

}  // namespace

Bytes coded_stream(const StreamSpec &spec) { return Writer(spec).file(); }

}  // namespace vorel::test
