// The passes of a progressive frame, on the plain bit reader, and the hand-over between it and the fast path.
#include "jpeg/decoder/entropy/progressive.h"

#include <algorithm>
#include <cstring>

#include "jpeg/decoder/entropy/bit_reader.h"
#include "jpeg/decoder/entropy/entropy_window.h"

namespace vorel {
namespace {

constexpr uint64_t bit_at(int32_t k) { return uint64_t{1} << (k < 63 ? k : 63); }

// A coefficient of a block at zigzag position k. Streams may run past position 63, which then takes the value.
void store(int16_t *block, uint64_t *nonzero, int32_t k, int32_t value) {
    const int16_t stored = static_cast<int16_t>(value);
    block[vorel_natural_order[k]] = stored;
    *nonzero = stored ? *nonzero | bit_at(k) : *nonzero & ~bit_at(k);
}

// One MCU by the plain path. Every step gives the state of the input; past kOk the MCU counts as failed.
class PlainPass {
  public:
    PlainPass(ScanReader *scan, const PassTarget &to) : scan_(scan), to_(to), reader_(scan) {}

    Fill decode() {
        EntropyDecoder &entropy = scan_->entropy;
        int32_t last_dc[kMaxComponents];
        std::memcpy(last_dc, entropy.lastDc, sizeof last_dc);
        eob_run_ = entropy.eobRun;
        const Fill result = run(last_dc);
        if (result != Fill::kOk) {
            reader_.abandon();
            return result;
        }
        reader_.store();
        std::memcpy(entropy.lastDc, last_dc, sizeof last_dc);
        entropy.eobRun = eob_run_;
        return Fill::kOk;
    }

  private:
    Fill run(int32_t *last_dc) {
        switch (pass_of(scan_)) {
            case Pass::kDcFirst:
                return dc_first(last_dc);
            case Pass::kDcRefine:
                return dc_refine();
            case Pass::kAcFirst:
                return ac_first();
            default:
                return ac_refine();
        }
    }

    // Raw bits; none for size 0.
    Fill bits(int32_t size, int32_t *out) {
        *out = 0;
        return size ? reader_.bits(size, out) : Fill::kOk;
    }

    Fill dc_first(int32_t *last_dc) {
        for (int b = 0; b < scan_->blocksInMcu; ++b) {
            int32_t size, raw;
            Fill result = reader_.symbol(scan_->entropy.blockDc[b], &size);
            if (result == Fill::kOk) result = bits(size, &raw);
            if (result != Fill::kOk) return result;
            int32_t &dc = last_dc[scan_->mcuMembership[b]];
            dc = static_cast<int32_t>(static_cast<uint32_t>(dc) + static_cast<uint32_t>(extend(raw, size)));
            to_.block[b][0] = static_cast<int16_t>(static_cast<uint32_t>(dc) << scan_->sos.Al);
        }
        return Fill::kOk;
    }

    Fill dc_refine() {
        for (int b = 0; b < scan_->blocksInMcu; ++b) {
            int32_t bit;
            const Fill result = bits(1, &bit);
            if (result != Fill::kOk) return result;
            to_.block[b][0] = static_cast<int16_t>(to_.block[b][0] | bit << scan_->sos.Al);
        }
        return Fill::kOk;
    }

    // EOBn: 2^n bands, and n bits more, counted from this one.
    Fill begin_eob_run(int32_t n) {
        int32_t more;
        const Fill result = bits(n, &more);
        eob_run_ = (1u << n) + static_cast<uint32_t>(more);
        return result;
    }

    Fill ac_first() {
        if (eob_run_ > 0) {
            --eob_run_;
            return Fill::kOk;
        }
        for (int32_t k = scan_->sos.Ss; k <= scan_->sos.Se; ++k) {
            int32_t symbol, raw;
            Fill result = reader_.symbol(scan_->entropy.blockAc[0], &symbol);
            if (result != Fill::kOk) return result;
            const int32_t run = symbol >> 4, size = symbol & 15;
            if (size == 0 && run != 15) {
                result = begin_eob_run(run);
                --eob_run_;
                return result;
            }
            k += run;
            if (size == 0) continue;
            result = bits(size, &raw);
            if (result != Fill::kOk) return result;
            store(to_.block[0], to_.nonzero, k,
                  static_cast<int32_t>(static_cast<uint32_t>(extend(raw, size)) << scan_->sos.Al));
        }
        return Fill::kOk;
    }

    // A correction bit for a coefficient that is not zero.
    Fill correct(int32_t k) {
        int32_t bit;
        const Fill result = bits(1, &bit);
        int16_t &value = to_.block[0][vorel_natural_order[k]];
        const int32_t one = 1 << scan_->sos.Al;
        if (bit && !(value & one)) value = static_cast<int16_t>(value < 0 ? value - one : value + one);
        return result;
    }

    Fill ac_refine() {
        int32_t k = scan_->sos.Ss;
        const int32_t end = scan_->sos.Se;
        for (; eob_run_ == 0 && k <= end; ++k) {
            int32_t symbol, bit = 0;
            Fill result = reader_.symbol(scan_->entropy.blockAc[0], &symbol);
            if (result != Fill::kOk) return result;
            const int32_t size = symbol & 15;
            int32_t run = symbol >> 4;
            // A new coefficient is one step up or down, whatever size its symbol has.
            if (size != 0) {
                result = bits(1, &bit);
            } else if (run != 15) {
                result = begin_eob_run(run);
                if (result != Fill::kOk) return result;
                break;
            }
            for (; result == Fill::kOk && k <= end; ++k) {
                if (*to_.nonzero & bit_at(k)) {
                    result = correct(k);
                } else if (--run < 0) {
                    break;
                }
            }
            if (result != Fill::kOk) return result;
            const int32_t one = 1 << scan_->sos.Al;
            if (size != 0) store(to_.block[0], to_.nonzero, k, bit ? one : -one);
        }
        if (eob_run_ == 0) return Fill::kOk;
        for (; k <= end; ++k) {
            if (!(*to_.nonzero & bit_at(k))) continue;
            const Fill result = correct(k);
            if (result != Fill::kOk) return result;
        }
        --eob_run_;
        return Fill::kOk;
    }

    ScanReader *scan_;
    const PassTarget &to_;
    BitReader reader_;
    uint32_t eob_run_ = 0;
};

}  // namespace

Pass pass_of(const ScanReader *scan) {
    if (scan->sos.Ss == 0) return scan->sos.Ah == 0 ? Pass::kDcFirst : Pass::kDcRefine;
    return scan->sos.Ah == 0 ? Pass::kAcFirst : Pass::kAcRefine;
}

namespace {

// Loops of a caller's own reach scans that nobody has looked at.
bool can_decode(const ScanReader *scan) {
    const bool ac = scan->sos.Ss != 0;
    if (!scan->ends_as_marker || scan->sos.Al > kMaxPointTransform) return false;
    if (ac && (scan->blocksInMcu != 1 || scan->sos.Ss > scan->sos.Se || scan->sos.Se >= kBlockCoefficients))
        return false;
    if (pass_of(scan) == Pass::kDcRefine) return true;
    DerivedTable *const *tables = ac ? scan->entropy.blockAc : scan->entropy.blockDc;
    return std::all_of(tables, tables + scan->blocksInMcu, [](const DerivedTable *table) { return table != nullptr; });
}

}  // namespace

int32_t decode_pass(ScanReader *scan, PassTarget *to, int32_t count) {
    if (!can_decode(scan)) return 0;
    const EntropyDecoder &entropy = scan->entropy;
    const PassFn run = scan->window ? run_table().passes[static_cast<int>(pass_of(scan))] : nullptr;
    int32_t done = 0;
    bool plain_next = false;
    const auto advance = [&](int32_t mcus) {
        to->advance(scan, mcus);
        count_mcus(scan, mcus);
        done += mcus;
    };
    while (done < count && begin_mcu(scan)) {
        int32_t mcus = count - done;
        if (ended_at_marker(scan)) {
            to->advance(scan, mcus);
            pass_ended(scan, mcus);
            return count;
        }
        if (scan->restartInterval && entropy.restartsToGo < static_cast<uint32_t>(mcus)) {
            mcus = static_cast<int32_t>(entropy.restartsToGo);
        }
        if (entropy.insufficientData) {
            advance(mcus);
            continue;
        }
        if (run && !plain_next) {
            const bool reopened = !scan->window->open;
            if (reopened && !open_window(scan)) {
                plain_next = true;
                continue;
            }
            RunStop stop;
            const int32_t went = run(scan, *to, mcus, &stop);
            advance(went);
            if (stop != RunStop::kDone) close_window(scan);
            // A fresh window that cannot serve one MCU stands before something odd or the end.
            plain_next = stop == RunStop::kWindowLow && went == 0 && reopened;
            continue;
        }
        plain_next = false;
        close_window(scan);
        if (PlainPass(scan, *to).decode() != Fill::kOk) break;
        advance(1);
    }
    return done;
}

void clear_pass_mcu(const ScanReader *scan, const PassTarget &to) {
    for (int b = 0; b < scan->blocksInMcu; ++b) std::memset(to.block[b], 0, kBlockCoefficients * sizeof(int16_t));
    if (to.nonzero) *to.nonzero = 0;
}

}  // namespace vorel
