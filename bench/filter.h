// Which rows are wanted. Apart from the rest since <regex> takes seconds to compile.
#pragma once

#include <functional>
#include <string>

namespace vorel_bench {

// Names in which the regular expression is found somewhere. Throws std::regex_error for one that is none.
class Filter {
  public:
    explicit Filter(const std::string &expression);
    bool wants(const std::string &name) const { return found_in_(name); }

  private:
    std::function<bool(const std::string &)> found_in_;
};

}  // namespace vorel_bench
