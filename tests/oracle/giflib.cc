#include "oracle/giflib.h"

#include <gif_lib.h>

#include <algorithm>
#include <cstring>

namespace vorel::test {
namespace {

struct Reader {
    const Bytes &bytes;
    size_t at = 0;
};

int read(GifFileType *gif, GifByteType *out, int count) {
    auto *reader = static_cast<Reader *>(gif->UserData);
    const size_t taken = std::min(static_cast<size_t>(count), reader->bytes.size() - reader->at);
    std::memcpy(out, reader->bytes.data() + reader->at, taken);
    reader->at += taken;
    return static_cast<int>(taken);
}

Bytes palette_of(const ColorMapObject *map) {
    Bytes palette;
    for (int i = 0; map && i < map->ColorCount; ++i)
        palette.insert(palette.end(), {map->Colors[i].Red, map->Colors[i].Green, map->Colors[i].Blue});
    return palette;
}

GifFrame frame_of(GifFileType *gif, int index) {
    const SavedImage &image = gif->SavedImages[index];
    const GifImageDesc &desc = image.ImageDesc;
    GraphicsControlBlock control;
    GifFrame frame;
    frame.left = desc.Left;
    frame.top = desc.Top;
    frame.width = desc.Width;
    frame.height = desc.Height;
    frame.interlaced = desc.Interlace;
    frame.palette = palette_of(desc.ColorMap);
    frame.indices.assign(image.RasterBits, image.RasterBits + desc.Width * desc.Height);
    frame.control = DGifSavedExtensionToGCB(gif, index, &control) != GIF_ERROR;
    if (!frame.control) return frame;
    frame.disposal = control.DisposalMode;
    frame.delay = control.DelayTime;
    frame.transparent = control.TransparentColor;
    return frame;
}

}  // namespace

std::optional<GifFile> read_with_giflib(const Bytes &bytes) {
    Reader reader = {bytes};
    int error;
    GifFileType *gif = DGifOpen(&reader, read, &error);
    if (!gif) return std::nullopt;
    std::optional<GifFile> file;
    if (DGifSlurp(gif) == GIF_OK) {
        file.emplace();
        file->width = gif->SWidth;
        file->height = gif->SHeight;
        file->background = gif->SBackGroundColor;
        file->palette = palette_of(gif->SColorMap);
        for (int i = 0; i < gif->ImageCount; ++i) file->frames.push_back(frame_of(gif, i));
    }
    DGifCloseFile(gif, &error);
    return file;
}

}  // namespace vorel::test
