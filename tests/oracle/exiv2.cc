#include "oracle/exiv2.h"

#include <exiv2/error.hpp>
#include <exiv2/exif.hpp>

namespace vorel::test {

std::map<std::string, std::string> read_with_exiv2(const Bytes &tiff) {
    Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
    Exiv2::ExifData data;
    std::map<std::string, std::string> fields;
    if (Exiv2::ExifParser::decode(data, tiff.data(), static_cast<uint32_t>(tiff.size())) == Exiv2::invalidByteOrder)
        return fields;
    for (const Exiv2::Exifdatum &field : data) fields[field.key()] = field.toString();
    return fields;
}

}  // namespace vorel::test
