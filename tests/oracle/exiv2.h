// exiv2 as an oracle: what it reads in a TIFF structure.
#pragma once

#include <map>
#include <string>

#include "support/inputs.h"

namespace vorel::test {

// "Exif.Photo.FNumber" to "28/10"; bytes as numbers. Empty for a structure that it refuses.
std::map<std::string, std::string> read_with_exiv2(const Bytes &tiff);

}  // namespace vorel::test
