// vorel_position_bench [REGEX] [--results FILE]: what positions in a scan cost. The plain pass walks over the
// entropy-coded data of a picture and keeps nothing; the others do the same and note a position before every 16th MCU
// of a row, or before every MCU.
#include <cstdio>

#include "jpeg/decoder/driver.h"
#include "jpeg/decoder/jpeg_info.h"
#include "machine.h"
#include "picture.h"
#include "turns.h"

namespace vorel_bench {
namespace {

using vorel::EntropyPosition;

// Walks over the whole scan. step: MCUs between two positions, 0 for none.
size_t pass_over(const Jpeg &jpeg, int32_t step, std::vector<EntropyPosition> *positions) {
    DecInfo *session =
        VORELBRIM_CreateDecInfo(1, const_cast<uint8_t *>(jpeg.bytes.data()), static_cast<int32_t>(jpeg.bytes.size()),
                                COLOR_GRAY, VOREL_OPTION_SKIP_TABLES);
    positions->clear();
    {
        vorel::StreamCursor cursor(session->ioInfo);
        FrameRequest request = {0, 0, nullptr, jpeg.width, jpeg.height};
        JpegInfo *info = BRIMJ_Initialize(session, cursor.stream(), &request);
        const auto across = static_cast<int32_t>(info->scan.mcusPerRow);
        for (uint32_t row = 0; row < info->scan.mcuRows; ++row) {
            for (int32_t mcu = 0; mcu < across;) {
                const int32_t count = step == 0 || across - mcu < step ? across - mcu : step;
                if (step != 0 && vorel::begin_mcu(&info->scan)) positions->push_back(vorel::tell(&info->scan));
                if (vorel::decode_mcus(&info->scan, vorel::McuMode::kSkip, count, nullptr, nullptr) != count) break;
                mcu += count;
            }
        }
        vorel::close_decode(info);
    }
    VORELBRIM_DestroyDecInfo(session);
    return positions->size();
}

void run(const Filter &filter, Table &table) {
    table.emit(
        "Positions in a scan, 40 megapixels 4:2:0\n" + machine_line() +
        "\nours: the pass that notes them; peer: the pass that does not, so a ratio of 0.97 is a cost of 3%\n\n");
    std::vector<EntropyPosition> positions;
    for (const bool restarts : {false, true}) {
        for (const int32_t step : {16, 1}) {
            const std::string name =
                std::string("positions/420/40MP/every-") + (step == 1 ? "MCU" : "16") + (restarts ? "/restarts" : "");
            if (!filter.wants(name)) continue;
            const Jpeg &jpeg = jpeg_for({.megapixels = 40, .restarts = restarts});
            Turns turns = measure_in_turns([&] { pass_over(jpeg, step, &positions); },
                                           [&] { pass_over(jpeg, 0, &positions); }, {}, false, {4, 9, 41});
            table.emit(line_of(name, &turns, 0));
        }
    }
}

}  // namespace
}  // namespace vorel_bench

int main(int argc, char **argv) {
    return vorel_bench::table_main(argc, argv, "vorel_position_bench", vorel_bench::run);
}
