// What a decode spent its time on, for people and as JSON.
#pragma once

#include <chrono>
#include <nlohmann/json_fwd.hpp>
#include <string>

namespace vorel_tool {

// Counts the library's steps while it lives, and the time by the clock between start and stop, which may be called
// more than once.
class DecodeStatistics {
  public:
    DecodeStatistics();
    ~DecodeStatistics();
    DecodeStatistics(const DecodeStatistics &) = delete;
    DecodeStatistics &operator=(const DecodeStatistics &) = delete;

    void start();
    void stop();
    // Columns as wide as what is in them: steps, calls, milliseconds, percent of all steps, megabytes a second of
    // entropy-coded data.
    std::string table() const;
    nlohmann::ordered_json record() const;

  private:
    std::chrono::steady_clock::time_point started_;
    std::chrono::steady_clock::duration wall_ = {};
};

}  // namespace vorel_tool
