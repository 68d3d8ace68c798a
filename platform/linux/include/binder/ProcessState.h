// ProcessState: on the device the process's pool of threads that take calls from outside.
#pragma once

#include <utils/Errors.h>
#include <utils/RefBase.h>

namespace android {

/// No call comes from outside here: callbacks arrive on the threads of the object that makes them.
class ProcessState : public virtual RefBase {
  public:
    static sp<ProcessState> self();

    void startThreadPool();
    status_t setThreadPoolMaxThreadCount(size_t maxThreads);

  private:
    ProcessState();
    ~ProcessState() override;
};

}  // namespace android
