// JPEG on several threads against one: bands of rows where the picture decodes, DC values read ahead for whatever
// comes.
#include <vorel/vorel.h>

#include <thread>

#include "harness.h"
#include "jpeg/decoder/threads/speculation.h"

using namespace vorel_fuzz;

namespace {

constexpr uint64_t kMostPixels = 512 * 512;

uint32_t g_order;

// Some of the tasks on a second thread, in an order that the case chooses.
void run_tasks(vorel_threadpool *pool) {
    std::vector<vorel_threadpool_task> tasks[2];
    for (uint32_t i = g_order; vorel_threadpool_task *task = vorel_threadpool_queue_dequeue(&pool->waiting); ++i)
        tasks[i * 2654435761u >> 31].push_back(*task);
    const auto run = [](const std::vector<vorel_threadpool_task> &list, bool backwards) {
        for (size_t i = 0; i < list.size(); ++i) {
            const vorel_threadpool_task &task = list[backwards ? list.size() - 1 - i : i];
            task.routine(task.argument);
        }
    };
    std::thread other([&] { run(tasks[0], g_order & 1); });
    run(tasks[1], g_order & 2);
    other.join();
}

using Entry = int32_t (*)(DecInfo *session, void *output, int32_t width, int32_t height);

int32_t restarts(DecInfo *session, void *output, int32_t width, int32_t height) {
    return VORELBRIM_PDecodeJPEG_RST(session, output, width, height, 1);
}
int32_t two(DecInfo *session, void *output, int32_t width, int32_t height) {
    return VORELBRIM_PDecodeJPEG_No_RST(session, output, width, height, 1);
}

struct Request {
    int32_t format, width, height;
    uint32_t options;
};

struct Decoded {
    int32_t result = -1;
    uint32_t out_width = 0, out_height = 0;
    Bytes output;
    bool operator==(const Decoded &) const = default;
};

// chunk: of values read ahead, in bytes; below 0 there are none.
Decoded decode(const Bytes &picture, const Request &request, Entry entry, int32_t chunk) {
    Decoded out;
    out.output.assign(format_bytes(request.format, request.width, request.height), kFill);
    Session session(picture, Kind::kMemory, request.format, request.options);
    if (!session.get()) return out;
    vorel::set_speculation_chunk(chunk);
    out.result = entry(session.get(), out.output.data(), request.width, request.height);
    out.out_width = session.get()->outWidth;
    out.out_height = session.get()->outHeight;
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    constexpr int32_t kFormats[] = {COLOR_RGBA8888, COLOR_RGB565, COLOR_YUV420, COLOR_NV21, COLOR_YUV444, COLOR_YUYV};
    constexpr uint32_t kFits[] = {VOREL_OPTION_FIT_CENTER, VOREL_OPTION_FIT_COVER, VOREL_OPTION_FIT_STRETCH};
    constexpr int32_t kShares[] = {1, 1, 2, 3, 4, 8, 8, 8, 16, 32};
    Case input(data, size, 5);
    ImageInfo info;
    {
        Session session(input.picture(), Kind::kMemory, COLOR_RGBA8888, 0);
        if (!session.get() || VORELBRIM_Parser(session.get(), &info) != VOREL_IMAGE_JPEG) return 0;
        if (static_cast<uint64_t>(info.width) * info.height > kMostPixels) return 0;
    }
    Request request = {input.one_of(kFormats), 0, 0, input.one_of(kFits)};
    const auto share = static_cast<uint32_t>(input.one_of(kShares));
    request.width = static_cast<int32_t>((info.width + share - 1) / share);
    request.height = static_cast<int32_t>((info.height + share - 1) / share);
    g_order = input.option();
    const auto chunk = static_cast<int32_t>(16 + 8 * input.option());

    vorel::set_pool_runner(run_tasks);
    const Decoded plain = decode(input.picture(), request, VORELBRIM_DecodeJPEG, -1);
    require(decode(input.picture(), request, VORELBRIM_DecodeJPEG, chunk) == plain,
            "values read ahead change nothing, whatever the stream");
    for (const Entry entry : {restarts, two}) {
        const Decoded bands = decode(input.picture(), request, entry, -1);
        require(bands == plain || plain.result != 1, "a picture that decodes does so in bands, with the same pixels");
    }
    return 0;
}
