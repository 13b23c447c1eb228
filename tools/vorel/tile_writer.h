// Strips of a pyramid's levels to files of tiles, by the threads of a queue.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "output_folder.h"
#include "pyramid.h"
#include "work_queue.h"

namespace vorel_tool {

struct TileFormat {
    std::string name = "jpg";      // or "png"; the ending of the files too
    int quality = 90;              // of jpg
    bool gray = false;             // one channel is enough
    std::vector<uint8_t> profile;  // segments that say what the colours of a jpg mean
};

class TileWriter {
  public:
    using Name = std::function<std::string(const PyramidLevel &, int32_t column, int32_t row)>;

    TileWriter(const TileGrid &grid, const TileFormat &format, Name name);

    // Rows of a strip that go well with the format: JPEG tiles are put together from them, PNG tiles are made at once.
    static int32_t strip_rows(const TileGrid &grid, const TileFormat &format);

    // A task of the queue for each tile that the strip has a part of. The writer has to outlive the queue.
    void add(const Strip &strip, WorkQueue *queue);
    int64_t tiles_done() const { return done_; }

  private:
    struct TileRow;

    void make_part(const Strip &strip, int32_t column, TileRow *row);

    const TileGrid grid_;
    const TileFormat format_;
    const Name name_;
    std::vector<std::shared_ptr<TileRow>> rows_;  // that are begun, by level
    std::atomic<int64_t> done_{0};
};

}  // namespace vorel_tool
