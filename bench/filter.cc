#include "filter.h"

#include <regex>

namespace vorel_bench {

Filter::Filter(const std::string &expression)
    : found_in_(
          [wanted = std::regex(expression)](const std::string &name) { return std::regex_search(name, wanted); }) {}

}  // namespace vorel_bench
