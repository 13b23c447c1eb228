// What a call is busy with, as another thread may stop it.
#pragma once

#include <vorel/bindings.h>

namespace vorel {

// Shows a session (VOREL_IMAGE_JPEG) or the record of a develop (type 0) in options->handle for the length of a scope;
// options may be null. A cancel either sees what is shown alive, or does not see it.
class RunningCall {
  public:
    RunningCall(VrOptions *options, void *handle, int32_t type);
    ~RunningCall();
    RunningCall(const RunningCall &) = delete;
    RunningCall &operator=(const RunningCall &) = delete;

    // It stays in the options beyond the scope.
    void keep() { options_ = nullptr; }

  private:
    VrOptions *options_;
};

// Shows a handle that outlives the call.
void show_running(VrOptions *options, void *handle, int32_t type);

}  // namespace vorel
