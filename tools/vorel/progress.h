// A decode watched from the terminal: a bar while it runs, Ctrl-C to stop it.
#pragma once

#include <vorel/frame.h>

#include <string>

namespace vorel_tool {

// For as long as it lives SIGINT and SIGTERM cancel the decode of the session, through its abort word and through the
// progress record that it gives the session; a second signal ends the program at once. One at a time.
class DecodeWatch {
  public:
    // The bar is drawn only when standard error is a terminal.
    DecodeWatch(DecInfo *session, const std::string &title);
    DecodeWatch(const DecodeWatch &) = delete;
    DecodeWatch &operator=(const DecodeWatch &) = delete;
    ~DecodeWatch();

    // Takes the session out of the signals' reach and clears the bar; to be called when the decode is over.
    void end();

  private:
    static int32_t on_progress(void *watch, int32_t percent);
    void draw(int32_t percent);

    DecInfo *session_;
    std::string title_;
    bool terminal_;
    int32_t shown_ = -1;  // percent on the screen
};

// A signal has asked for the end.
bool cancelled();

}  // namespace vorel_tool
