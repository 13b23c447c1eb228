// A row of a rectangle whose MCUs other rectangles have decoded before.
#pragma once

#include "jpeg/decoder/region/coefficient_store.h"
#include "jpeg/decoder/rows/imcu.h"

namespace vorel {

// What a rectangle may use of its map's record: null where its MCUs would fill too much of it, or cannot be read in any
// order.
CoefficientStore *usable_store(const JpegInfo *info, McuMode mode);

// The stored MCUs of MCU row `mcu_row` of the next iMCU row, as far as they are shown. Tiles that were shown before and
// tiles of a row that is mostly there are added first, through the batch. A row is ready when all its tiles are there;
// else it is decoded from its position as if there was no store. Either way gives the same blocks: a tile is kept only
// if it leads from one position of the map to the next one.
class StoredRow {
  public:
    StoredRow(JpegInfo *info, ScanReader *scan, McuMode mode, int32_t mcu_row, const McuRange &shown);
    ~StoredRow();
    StoredRow(const StoredRow &) = delete;
    StoredRow &operator=(const StoredRow &) = delete;

    bool ready() const { return ready_; }
    // Bytes of the stream that adding tiles went through.
    int32_t bytes_read() const { return bytes_read_; }
    // MCUs from column `first` on, which are shown, as decode_mcus gives them.
    void blocks_of(int32_t first, int32_t mcus, int16_t *const *blocks, uint8_t *last) const;

  private:
    bool add_tile(uint32_t tile);

    JpegInfo *info_;
    ScanReader *scan_;
    McuMode mode_;
    uint64_t first_mcu_;  // of the row
    CoefficientStore *store_;
    StoredMcus *row_ = nullptr;
    uint32_t reader_tile_;  // that the reader stands before
    int32_t bytes_read_ = 0;
    bool ready_ = false;
};

}  // namespace vorel
