// The monitor of a Java object for the length of a scope: handles in an object that another thread may cancel by are
// taken away while it is held.
#pragma once

#include <jni.h>

#include "bindings/java/java_calls.h"

namespace vorel {

class JavaMonitor {
  public:
    JavaMonitor(JNIEnv *env, jobject object) : env_(env), object_(object), held_(env->MonitorEnter(object) == JNI_OK) {
        clear_exception(env);
    }
    ~JavaMonitor() {
        if (!held_) return;
        env_->MonitorExit(object_);
        clear_exception(env_);
    }
    JavaMonitor(const JavaMonitor &) = delete;
    JavaMonitor &operator=(const JavaMonitor &) = delete;

  private:
    JNIEnv *env_;
    jobject object_;
    bool held_;
};

}  // namespace vorel
