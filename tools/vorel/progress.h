// Work watched from the terminal: a bar while it runs, Ctrl-C to stop it.
#pragma once

#include <vorel/frame.h>

#include <cstdint>
#include <string>

namespace vorel_tool {

// Drawn only when standard error is a terminal, and cleared with its end.
class ProgressBar {
  public:
    explicit ProgressBar(const std::string &title);
    ProgressBar(const ProgressBar &) = delete;
    ProgressBar &operator=(const ProgressBar &) = delete;
    ~ProgressBar() { clear(); }

    void draw(int64_t done, int64_t all);
    void clear();

  private:
    std::string title_;
    bool terminal_;
    int shown_ = -1;  // percent on the screen
};

// From here on SIGINT and SIGTERM are remembered for cancelled(); a second signal ends the program at once.
void catch_signals();

// For as long as it lives SIGINT and SIGTERM cancel the decode of the session, through its abort word and through the
// progress record that it gives the session; a second signal ends the program at once. One at a time.
class DecodeWatch {
  public:
    DecodeWatch(DecInfo *session, const std::string &title);
    DecodeWatch(const DecodeWatch &) = delete;
    DecodeWatch &operator=(const DecodeWatch &) = delete;
    ~DecodeWatch();

    // Takes the session out of the signals' reach and clears the bar; to be called when the decode is over.
    void end();

  private:
    static int32_t on_progress(void *watch, int32_t percent);

    DecInfo *session_;
    ProgressBar bar_;
};

// A signal has asked for the end.
bool cancelled();

}  // namespace vorel_tool
