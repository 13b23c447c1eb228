// A decoder's record, opened over any kind of input and ready for its first row.
#pragma once

#include <gtest/gtest.h>

#include "jpeg/decoder/decode_support.h"
#include "jpeg/decoder/jpeg_info.h"
#include "jpeg/decoder/setup.h"

namespace vorel::test {

class OpenRecord {
  public:
    // The decode's target is width x height pixels of the format.
    OpenRecord(const Bytes &jpeg, int32_t format, int width, int height, Kind kind = Kind::kMemory,
               uint32_t options = VOREL_OPTION_SKIP_TABLES)
        : OpenRecord(std::make_unique<Input>(kind, jpeg, format, options), width, height) {}
    // Over a session of the caller's.
    OpenRecord(DecInfo *session, int width, int height)
        : session_(session), cursor_(session->ioInfo), out_(format_bytes(session->outColorFormat, width, height)) {
        FrameRequest request = {0, 0, out_.data(), width, height};
        info_ = BRIMJ_Initialize(session, cursor_.stream(), &request);
        for (size_t c = 0; info_ && c < 4; ++c) rows_[c] = info_->pump.components[c].rows;
    }
    ~OpenRecord() { BRIMJ_DeleteDecoderInfo(info_); }
    OpenRecord(const OpenRecord &) = delete;
    OpenRecord &operator=(const OpenRecord &) = delete;

    JpegInfo *get() { return info_; }
    DecInfo *session() { return session_; }
    ScanReader *scan() { return &info_->scan; }
    McuBatch *batch() { return info_->pump.batch; }
    uint8_t ***rows() { return rows_; }
    Bytes pixels() const { return out_.bytes(); }
    // One step of rows by the function for the plan's scale.
    int32_t process(uint32_t *done, uint32_t most) {
        const auto step = info_->plan.scaleIndex == 0 ? BRIMJ_ProcessData : BRIMJ_ProcessData_resize;
        return step(info_, rows_, done, most);
    }
    // Steps from row `done` on until the picture's last one is stored or a step was the last.
    void process_all(int height, uint32_t done = 0) {
        const auto end = static_cast<uint32_t>(height);
        while (done < end && process(&done, end) == 100) {
        }
    }
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
    OpenRecord(std::unique_ptr<Input> input, int width, int height) : OpenRecord(input->session(), width, height) {
        input_ = std::move(input);
    }

    std::unique_ptr<Input> input_;
    DecInfo *session_;
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
