// Work watched from the terminal: a bar while it runs, Ctrl-C to stop it.
#include "progress.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>

namespace vorel_tool {
namespace {

// The value of DecInfo.abortFlag that means cancelled.
constexpr uint32_t kAbortCancelled = 6;
constexpr int kBarWidth = 40;

std::atomic<uint32_t *> g_abort_word{nullptr};
std::atomic<bool> g_cancelled{false};
static_assert(std::atomic<uint32_t *>::is_always_lock_free && std::atomic<bool>::is_always_lock_free,
              "used in a signal handler");

void on_signal(int) {
    g_cancelled.store(true, std::memory_order_relaxed);
    if (uint32_t *word = g_abort_word.load(std::memory_order_acquire))
        __atomic_store_n(word, kAbortCancelled, __ATOMIC_RELAXED);
}

}  // namespace

void catch_signals() {
    struct sigaction action = {};
    action.sa_handler = on_signal;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool cancelled() { return g_cancelled.load(std::memory_order_relaxed); }

DecodeWatch::DecodeWatch(DecInfo *session, const std::string &title) : session_(session), bar_(title) {
    // The session frees its record, so it is malloc's. It is set without a terminal too: a decode clears the abort word
    // as it starts, and a signal before that moment is seen only here.
    auto *record = static_cast<ProgressRecord *>(std::malloc(sizeof(ProgressRecord)));
    if (!record) throw std::bad_alloc();
    *record = {this, on_progress};
    session->progress = record;
    g_abort_word.store(&session->abortFlag, std::memory_order_release);
    catch_signals();
}

DecodeWatch::~DecodeWatch() { end(); }

void DecodeWatch::end() {
    if (!session_) return;
    g_abort_word.store(nullptr, std::memory_order_release);
    session_->progress->callback = nullptr;  // the record itself goes with the session
    session_ = nullptr;
    bar_.clear();
}

int32_t DecodeWatch::on_progress(void *watch, int32_t percent) {
    static_cast<DecodeWatch *>(watch)->bar_.draw(percent, 100);
    return !cancelled();
}

ProgressBar::ProgressBar(const std::string &title) : title_(title), terminal_(isatty(STDERR_FILENO) != 0) {}

void ProgressBar::draw(int64_t done, int64_t all) {
    const int percent = static_cast<int>(std::clamp<int64_t>(all > 0 ? done * 100 / all : 0, 0, 100));
    if (!terminal_ || percent == shown_) return;
    shown_ = percent;
    const int filled = percent * kBarWidth / 100;
    std::fprintf(stderr, "\r%s [%.*s%*s] %3d %%", title_.c_str(), filled, "########################################",
                 kBarWidth - filled, "", percent);
    std::fflush(stderr);
}

void ProgressBar::clear() {
    if (terminal_ && shown_ >= 0) std::fputs("\r\033[K", stderr);
    shown_ = -1;
}

}  // namespace vorel_tool
