// A decoder's record, opened over any kind of input and ready for its first row.
#pragma once

#include <gtest/gtest.h>

#include "jpeg/decoder/decode_support.h"
#include "jpeg/decoder/jpeg_info.h"
#include "jpeg/decoder/setup.h"

namespace vorel::test {

class OpenRecord {
  public:
    // The decode's target is width x height pixels of the format; 0: a record for its plan and its scans alone.
    OpenRecord(const Bytes &jpeg, int32_t format, int width, int height, Kind kind = Kind::kMemory,
               uint32_t options = VOREL_OPTION_SKIP_TABLES)
        : input_(kind, jpeg, format, options),
          cursor_(input_.session()->ioInfo),
          out_(format_bytes(format, width, height)) {
        FrameRequest request = {0, 0, out_.data(), width, height};
        info_ = BRIMJ_Initialize(input_.session(), cursor_.stream(), &request);
        for (size_t c = 0; info_ && c < 4; ++c) rows_[c] = info_->pump.components[c].rows;
    }
    ~OpenRecord() { BRIMJ_DeleteDecoderInfo(info_); }

    JpegInfo *get() { return info_; }
    DecInfo *session() { return input_.session(); }
    ScanReader *scan() { return &info_->scan; }
    McuBatch *batch() { return info_->pump.batch; }
    uint8_t ***rows() { return rows_; }
    Bytes pixels() const { return out_.bytes(); }
    // What the next MCU stands on, field by field.
    std::vector<int64_t> position() {
        const EntropyPosition p = tell(scan());
        std::vector<int64_t> out = {p.next,    p.bits,           p.bit_count,
                                    p.marker,  p.restarts_to_go, p.out_of_data,
                                    p.eob_run, p.next_restart,   static_cast<int64_t>(p.mcus_done)};
        for (int i = 0; i < scan()->compsInScan; ++i) out.push_back(p.last_dc[i]);
        return out;
    }

  private:
    Input input_;
    StreamCursor cursor_;
    mutable GuardBuffer out_;
    JpegInfo *info_;
    uint8_t **rows_[4] = {};
};

class PlainPathOnly {
  public:
    PlainPathOnly() { allow_fast_path(false); }
    ~PlainPathOnly() { allow_fast_path(true); }
};

}  // namespace vorel::test
