// The session's Java sinks where there is no Java: they take everything and keep nothing.
#include "context/kiv_context.h"

KivContext::DataCallback::DataCallback(JNIEnv* /*env*/, jobject /*object*/)
    : mEnv(nullptr), mBuffer(nullptr) {}
KivContext::DataCallback::~DataCallback() {
    mObject = nullptr;
}
void KivContext::DataCallback::onNewData(uint8_t* /*data*/, int /*size*/) {}
