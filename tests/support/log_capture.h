// Collects the engine's diagnostics while it lives.
#pragma once

#include <vorel/frame.h>

#include <string>
#include <vector>

namespace vorel::test {

struct LogLine {
    int priority;
    std::string tag, text;
};

class LogCapture {
  public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    // The lines since the last take.
    std::vector<LogLine> take();
    // "tag|text" of the only line since the last take; says how many there were otherwise.
    std::string only();

  private:
    VorelLogPrint before_;
};

}  // namespace vorel::test
