// The table of results as text.
#pragma once

#include <string>

#include "measure.h"

namespace vorel_bench {

// What the numbers mean, where and when they were measured.
std::string table_header();
std::string table_line(const std::string &name, const Result &result);

}  // namespace vorel_bench
