// Byte orders that change inside one file.
#pragma once

#include "dng/parse/stream.h"

namespace vorel {

// "II" or "MM" sets the byte order, and the stream stands behind it. False, with nothing changed, for anything else.
bool read_byte_order(VorelDngStream &stream, uint64_t at);

// The stream has its byte order back when this goes.
class ByteOrderGuard {
  public:
    explicit ByteOrderGuard(VorelDngStream &stream) : stream_(stream), little_(stream.isLittleEndian()) {}
    ~ByteOrderGuard() { little_ ? stream_.setLittleEndian() : stream_.setBigEndian(); }
    ByteOrderGuard(const ByteOrderGuard &) = delete;
    ByteOrderGuard &operator=(const ByteOrderGuard &) = delete;

  private:
    VorelDngStream &stream_;
    const bool little_;
};

}  // namespace vorel
