// Where diagnostics go: to the function that was set, else to __android_log_print, which Android has and another
// process may provide, else nowhere.
#include "core/log.h"

#include "util/atomics.h"

#if defined(__ANDROID__)
#include <android/log.h>
#else
extern "C" int __android_log_print(int priority, const char *tag, const char *format, ...) __attribute__((weak));
#endif

namespace vorel {
namespace {

int print_nowhere(int, const char *, const char *, ...) { return 0; }

VorelLogPrint g_print = nullptr;

}  // namespace

VorelLogPrint log_print() {
    if (VorelLogPrint print = load_acquire(&g_print)) return print;
#if defined(__ANDROID__)
    return __android_log_print;
#else
    return __android_log_print ? __android_log_print : print_nowhere;
#endif
}

}  // namespace vorel

extern "C" VorelLogPrint vorel_set_log_print(VorelLogPrint print) {
    return __atomic_exchange_n(&vorel::g_print, print, __ATOMIC_ACQ_REL);
}
