// The stored samples of an IFD, strip by strip or tile by tile, into an image.
#pragma once

#include <vector>

#include "dng/image/image.h"
#include "dng/parse/ifd.h"

// Reads the part of the file's image that lies in the bounds of `image`, whose rows and columns are those of the
// file's. Where nothing can be read (data beyond the file, damaged, or of a compression without a reader), samples are
// 0.
class VorelDngReadImage {
  public:
    // Lossless JPEG (T.81 annex H) in compression 7 is read as well.
    void acceptLossless(bool accept) { lossless_ = accept; }

    // Whether there is a reader for the IFD's compression.
    bool reads(const VorelDngIFD &ifd) const;
    // Whether every sample of the IFD's image lies in the file, so that read() leaves none as it was.
    bool fillsAll(const VorelDngIFD &ifd, VorelDngStream &stream) const;
    // False when the image cannot hold the samples of the IFD. Throws std::bad_alloc.
    bool read(VorelDngIFD &ifd, VorelDngStream &stream, VorelDngImage &image);
    // One strip or tile. area: what of it the image has. plane, planes: what it holds. False when it left zeros.
    bool readTile(VorelDngIFD &ifd, VorelDngStream &stream, VorelDngImage &image, const vorel::DngRect &area,
                  uint32_t plane, uint32_t planes, uint64_t tileOffset, uint32_t tileByteCount);

    bool readUncompressed(VorelDngIFD &ifd, VorelDngStream &stream, VorelDngImage &image, const vorel::DngRect &area,
                          uint32_t plane, uint32_t planes, uint64_t tileOffset);
    // Undoes the IFD's predictor in the rows of buffer, integers in native order or, of the floating-point predictors,
    // planes of bytes. False for a predictor that does not fit the samples.
    bool decodePredictor(VorelDngIFD &ifd, VorelDngPixelBuffer &buffer);
    // tile: where the picture's pixels stand in the image. data has a readable NUL behind its length bytes. False when
    // it is no JPEG that the decoder takes, or far larger than the tile.
    bool decodeLossyJPEG(VorelDngImage &image, const vorel::DngRect &area, uint32_t plane, uint32_t planes,
                         const uint8_t *data, uint32_t length, const vorel::DngRect &tile);
    // Integers of 2 and 4 bytes.
    void doByteSwapBuffer(VorelDngPixelBuffer &buffer);
    // Whether tiles of the IFD have to be copied before they are decoded.
    bool needsCompressedBuffer(const VorelDngIFD &ifd) const;

  private:
    bool readDeflated(VorelDngIFD &ifd, VorelDngStream &stream, VorelDngImage &image, const vorel::DngRect &area,
                      uint32_t plane, uint32_t planes, uint64_t tileOffset, uint32_t tileByteCount);
    bool readJPEG(VorelDngIFD &ifd, VorelDngStream &stream, VorelDngImage &image, const vorel::DngRect &area,
                  uint32_t plane, uint32_t planes, uint64_t tileOffset, uint32_t tileByteCount);
    bool readJPEGTile(VorelDngIFD &ifd, VorelDngStream &stream, VorelDngImage &image, const vorel::DngRect &area,
                      uint32_t plane, uint32_t planes, uint64_t tileOffset, uint32_t tileByteCount);
    bool readLosslessJPEG(VorelDngIFD &ifd, VorelDngStream &stream, VorelDngImage &image, const vorel::DngRect &area,
                          uint32_t plane, uint32_t planes, uint64_t tileOffset, uint32_t tileByteCount);

    bool lossless_ = false;
    uint64_t jpegBytesLeft_ = UINT64_MAX;  // that read() gives to JPEG decoders
    // Kept from tile to tile; they only grow.
    std::vector<uint8_t> compressed_, row_, scratch_;
    std::vector<uint16_t> samples_;
};
