// One row measured: both decoders in turns over the same picture, after a first decode of each that warms the caches,
// counts the heap and gives the outputs to be compared.
#include "measure.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <vector>

#include "decoders.h"
#include "heap.h"

namespace vorel_bench {
namespace {

using Decode = bool (*)(const Row &, const Jpeg &, Output *);

double seconds_of(Decode decode, const Row &row, const Jpeg &jpeg, Output *output) {
    const auto start = std::chrono::steady_clock::now();
    const bool decoded = decode(row, jpeg, output);
    const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start;
    if (!decoded) throw std::runtime_error(decode == decode_ours ? "libvorel failed" : "the peer failed");
    return spent.count();
}

int64_t heap_of(Decode decode, const Row &row, const Jpeg &jpeg, Output *output) {
    start_heap_count();
    const bool decoded = decode(row, jpeg, output);
    const int64_t peak = stop_heap_count();
    if (!decoded) throw std::runtime_error(decode == decode_ours ? "libvorel failed" : "the peer failed");
    return peak;
}

Side summarize(std::vector<double> times, int64_t heap_peak) {
    std::sort(times.begin(), times.end());
    const double median = times[times.size() / 2];
    return {median, (times[times.size() * 3 / 4] - times[times.size() / 4]) / median, heap_peak};
}

int difference_565(const Bytes &a, const Bytes &b) {
    int largest = 0;
    for (size_t i = 0; i + 1 < a.size(); i += 2) {
        const int p = a[i] | a[i + 1] << 8, q = b[i] | b[i + 1] << 8;
        largest = std::max({largest, std::abs((p >> 11) - (q >> 11)), std::abs((p >> 5 & 63) - (q >> 5 & 63)),
                            std::abs((p & 31) - (q & 31))});
    }
    return largest;
}

int difference(const Row &row, const Output &ours, const Output &peer) {
    if (ours.width != peer.width || ours.height != peer.height) return -1;
    if (row.format == Format::kRgb565) return difference_565(ours.bytes, peer.bytes);
    int largest = 0;
    for (size_t i = 0; i < ours.bytes.size(); ++i) largest = std::max(largest, std::abs(ours.bytes[i] - peer.bytes[i]));
    return largest;
}

}  // namespace

// At full size both follow the same transform and the same upsampling, and only the rounding of the colour constants
// may differ; the scaled transforms are different ones.
int tolerated_difference(const Row &row) { return full_size(row) ? 2 : -1; }

Result measure(const Row &row, const Effort &effort) {
    const Jpeg &jpeg = jpeg_for(row);
    const double pixels = static_cast<double>(jpeg.width) * jpeg.height;
    Output ours, peer;
    prepare_ours(row, jpeg, &ours);
    prepare_peer(row, jpeg, &peer);
    const int64_t our_heap = heap_of(decode_ours, row, jpeg, &ours);
    const int64_t peer_heap = heap_of(decode_peer, row, jpeg, &peer);

    std::vector<double> our_times, peer_times;
    double spent = 0;
    for (int i = 0; i < effort.most && (i < effort.least || spent < effort.seconds); ++i) {
        // Whoever goes second may find a warmer or a hotter machine: they take turns.
        if (i % 2) peer_times.push_back(seconds_of(decode_peer, row, jpeg, &peer));
        our_times.push_back(seconds_of(decode_ours, row, jpeg, &ours));
        if (i % 2 == 0) peer_times.push_back(seconds_of(decode_peer, row, jpeg, &peer));
        spent += our_times.back() + peer_times.back();
    }
    std::vector<double> ratios(our_times.size());
    for (size_t i = 0; i < ratios.size(); ++i) ratios[i] = peer_times[i] / our_times[i];
    std::sort(ratios.begin(), ratios.end());
    Result result;
    result.ratio = ratios[ratios.size() / 2];
    result.ours = summarize(our_times, our_heap);
    result.peer = summarize(peer_times, peer_heap);
    result.picture_mb = pixels * 3 / 1e6;
    result.bits_per_pixel = static_cast<double>(jpeg.bytes.size()) * 8 / pixels;
    result.repetitions = static_cast<int>(our_times.size());
    result.difference = difference(row, ours, peer);
    return result;
}

}  // namespace vorel_bench
