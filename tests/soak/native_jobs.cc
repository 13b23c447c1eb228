// What the Java natives call: pictures of any type, kept sessions, openings for rectangles.
#include <vorel/vorel.h>

#include <algorithm>

#include "bindings/c/owned_session.h"
#include "bindings/java/operations/kept_session.h"
#include "bindings/java/operations/picture_decode.h"
#include "bindings/java/operations/region_opening.h"
#include "soak.h"

namespace vorel::soak {
namespace {

constexpr int64_t kMostPixels = 1 << 21;
constexpr uint32_t kJpeg = 1u << VOREL_IMAGE_JPEG, kPng = 1u << VOREL_IMAGE_PNG;

void factory(Work &work) {
    FactoryPicture picture;
    FactoryRequest request;
    request.sample_size = work.random.side(8), request.color_format = COLOR_RGBA8888;
    if (work.random.below(2)) request.width = work.random.side(300), request.height = work.random.side(300);
    const FactorySource source = {work.path.empty() ? nullptr : work.path.c_str(), work.bytes.data(), work.size()};
    const bool opened = picture.open(source, request);
    work.digest.add(opened);
    if (!opened || int64_t{picture.width()} * picture.height() > 2 * kMostPixels) return;
    DecInfo *const session = picture.is_jpeg() ? picture.session() : nullptr;  // that of a PNG ends before its decode
    const Cancellable cancel(work, [session] { cancel_decode(session); });
    Bytes out(test::area(picture.width(), picture.height()) * 4);
    work.digest.add(picture.decode(out.data()), out);
}

void kept(Work &work) {
    const OwnedSession session(keep_jpeg({nullptr, work.bytes.data(), work.size()}, COLOR_RGBA8888, 0));
    if (!session) return;
    KeptRequest request;
    do {
        ++request.sample_size;
        kept_size(session.get(), request, &request.width, &request.height);
    } while (int64_t{request.width} * request.height > kMostPixels);
    const Cancellable cancel(work, [&session] { cancel_decode(session.get()); });
    Bytes out(test::area(request.width, request.height) * 4);
    switch (work.random.below(4)) {
        case 0:
            work.digest.add(decode_kept(session.get(), out.data(), request), out);
            break;
        case 1:
            work.digest.add(decode_kept_with_midpoints(session.get(), out.data(), request, work.random.below(5)), out);
            break;
        case 2: {
            const FactoryWindow window = {0, 0, std::max(1, request.width / 2), std::max(1, request.height / 3)};
            work.digest.add(decode_kept_window(session.get(), out.data(), request, window), out);
            break;
        }
        default:
            work.digest.add(decode_kept_thumbnail(session.get(), out.data(), request.width, request.height,
                                                  2 + work.random.below(2)),
                            out);
    }
}

void opening(Work &work) {
    RegionOpening opened;
    void *const copy = VORELBRIM_OsMalloc(work.size());
    std::copy(work.bytes.begin(), work.bytes.end(), static_cast<uint8_t *>(copy));
    const bool parsed = opened.start(copy, work.size()) && opened.parse();
    work.digest.add(parsed);
    if (!parsed || opened.is_png()) return;
    const Cancellable cancel(work, [&opened] { cancel_map(opened.session()); });
    work.digest.add(opened.scan());
}

constexpr Job kJobs[] = {{"factory", kAnyType, factory}, {"kept", kJpeg, kept}, {"opening", kJpeg | kPng, opening}};

}  // namespace

std::span<const Job> native_jobs() { return kJobs; }

}  // namespace vorel::soak
