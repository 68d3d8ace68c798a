// The session's Java sinks where there is no Java: they take everything and keep nothing.
#include "context/kiv_context.h"

KivContext::DataCallback::DataCallback(JNIEnv* /*env*/, jobject /*object*/)
    : mEnv(nullptr), mBuffer(nullptr) {}
KivContext::DataCallback::~DataCallback() {
    mObject = nullptr;
}
void KivContext::DataCallback::onNewData(uint8_t* /*data*/, int /*size*/) {}
uint8_t* KivContext::DataCallback::getFreeBuffer(int* /*size*/, jobject* /*borrowed*/) {
    return nullptr;
}
void KivContext::DataCallback::addUsedBuffer(jobject /*borrowed*/, int /*size*/) {}
JNIEnv* KivContext::DataCallback::currentEnv() {
    return nullptr;
}
