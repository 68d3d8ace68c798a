// State changes, port enabling and disabling, flushes: what a node does on command.
#include "base/log.h"
#include "platform/linux/omx_host/node.h"

namespace zem {

using android::BAD_VALUE;
using android::OK;
using android::status_t;

namespace {

bool commandable(OMX_U32 state) {
    return state == OMX_StateLoaded || state == OMX_StateIdle || state == OMX_StateExecuting ||
           state == OMX_StatePause;
}

}  // namespace

status_t Node::sendCommand(OMX_COMMANDTYPE command, OMX_S32 param) {
    const auto value = static_cast<OMX_U32>(param);
    const bool portCommand =
        command == OMX_CommandPortDisable || command == OMX_CommandPortEnable || command == OMX_CommandFlush;
    const bool known = command == OMX_CommandStateSet
                           ? commandable(value)
                           : portCommand && (value < kPortCount || value == OMX_ALL);
    if (!known) {
        return BAD_VALUE;
    }
    std::lock_guard<std::mutex> lock(mMutex);
    if (portCommand && value == OMX_ALL) {
        for (OMX_U32 port = 0; port < kPortCount; ++port) {
            mCommands.push_back({command, port});
        }
    } else {
        mCommands.push_back({command, value});
    }
    beginQueued();
    return OK;
}

void Node::beginQueued() {
    while (mJob == Job::None && !mCommands.empty()) {
        const Command command = mCommands.front();
        mCommands.pop_front();
        begin(command);
    }
}

void Node::begin(const Command& command) {
    switch (command.kind) {
        case OMX_CommandStateSet:
            beginState(static_cast<OMX_STATETYPE>(command.param));
            break;
        case OMX_CommandPortDisable:
            beginDisable(command.param);
            break;
        case OMX_CommandPortEnable:
            beginEnable(command.param);
            break;
        default:
            beginFlush(command);
            break;
    }
}

void Node::setJob(Job job, const Command& command) {
    mJob = job;
    mJobCommand = command;
    mWake.notify_one();
}

void Node::beginState(OMX_STATETYPE wanted) {
    if (mTarget.has_value()) {
        beginPending(wanted);
        return;
    }
    if (wanted == mState) {
        postError(OMX_ErrorSameState);
        return;
    }
    const Command command{OMX_CommandStateSet, static_cast<OMX_U32>(wanted)};
    const bool start = mState == OMX_StateIdle && wanted != OMX_StateLoaded;
    if (running() && wanted != OMX_StateIdle && wanted != OMX_StateLoaded) {
        enterState(wanted);  // Executing and Pause differ only in whether the worker codes
    } else if (start && !populated()) {
        postError(OMX_ErrorPortUnpopulated);
    } else if (start || (running() && wanted == OMX_StateIdle)) {
        mTarget = wanted;
        setJob(start ? Job::Start : Job::Stop, command);
    } else if (mState == OMX_StateIdle || (mState == OMX_StateLoaded && wanted == OMX_StateIdle)) {
        mTarget = wanted;
        settle();
    } else {
        postError(OMX_ErrorIncorrectStateTransition);
    }
}

// Between Loaded and Idle a client that could not allocate all its buffers may turn back.
void Node::beginPending(OMX_STATETYPE wanted) {
    const bool turnsBack = (*mTarget == OMX_StateIdle && wanted == OMX_StateLoaded) ||
                           (*mTarget == OMX_StateLoaded && wanted == OMX_StateIdle);
    if (!turnsBack) {
        postError(OMX_ErrorIncorrectStateTransition);
        return;
    }
    mTarget = wanted;
    settle();
}

void Node::beginDisable(OMX_U32 index) {
    Port& port = mPorts[index];
    if (!port.enabled) {
        postError(OMX_ErrorIncorrectStateOperation);
        return;
    }
    port.enabled = false;
    port.enabling = false;
    port.disabling = true;
    if (running()) {
        port.draining = true;
        setJob(Job::ReturnPort, {OMX_CommandPortDisable, index});
    } else {
        settle();
    }
}

void Node::beginEnable(OMX_U32 index) {
    Port& port = mPorts[index];
    if (port.enabled || port.disabling) {
        postError(OMX_ErrorIncorrectStateOperation);
        return;
    }
    port.enabled = true;
    port.enabling = true;
    settle();
}

void Node::beginFlush(const Command& command) {
    if (running()) {
        setJob(Job::ReturnPort, command);
    } else {
        postComplete(OMX_CommandFlush, command.param);  // nothing is with the component
    }
}

bool Node::populated() const {
    for (const Port& port : mPorts) {
        if (port.enabled && !port.populated()) {
            return false;
        }
    }
    return true;
}

void Node::enterState(OMX_STATETYPE state) {
    mState = state;
    mTarget.reset();
    if (state == OMX_StateLoaded) {
        // The buffers of the next start will fit the definition: nothing left to announce.
        mPorts[kOutputPort].settingsChanged = false;
    }
    mWork = true;
    mWake.notify_one();
    postComplete(OMX_CommandStateSet, static_cast<OMX_U32>(state));
}

// Completes what waited for the client to allocate or free buffers. Ports first: a port that is
// still being enabled or disabled does not keep the component from Loaded.
void Node::settle() {
    settlePorts();
    if (!mTarget.has_value() || mJob == Job::Start || mJob == Job::Stop) {
        return;
    }
    const bool freed = !mPorts[kInputPort].hasBuffers() && !mPorts[kOutputPort].hasBuffers();
    if (*mTarget == OMX_StateIdle ? populated() : freed) {
        enterState(*mTarget);
        settlePorts();
    }
}

void Node::settlePorts() {
    for (OMX_U32 index = 0; index < kPortCount; ++index) {
        Port& port = mPorts[index];
        if (port.disabling && !port.draining && !port.hasBuffers()) {
            port.disabling = false;
            postComplete(OMX_CommandPortDisable, index);
        }
        if (port.enabling && (mState == OMX_StateLoaded || port.populated())) {
            port.enabling = false;
            port.settingsChanged = false;
            mWork = true;
            mWake.notify_one();
            postComplete(OMX_CommandPortEnable, index);
        }
    }
}

// ---- the worker thread

bool Node::coding() const {
    return mState == OMX_StateExecuting && !mTarget.has_value() && mJob == Job::None && !mQuit;
}

void Node::work() {
    std::unique_lock<std::mutex> lock(mMutex);
    while (!mQuit) {
        if (mJob != Job::None) {
            lock.unlock();
            runJob();
            lock.lock();
        } else if (mWork && coding()) {
            mWork = false;
            lock.unlock();
            {
                std::lock_guard<std::mutex> component(mComponentMutex);
                mComponent->process(*this);
            }
            lock.lock();
        } else {
            mWake.wait(lock);
        }
    }
}

void Node::runJob() {
    std::lock_guard<std::mutex> component(mComponentMutex);
    // Constant while the job is set: only this thread clears it.
    switch (mJob) {
        case Job::Start:
            runStart(static_cast<OMX_STATETYPE>(mJobCommand.param));
            break;
        case Job::Stop:
            runStop();
            break;
        default:
            runReturnPort(mJobCommand);
            break;
    }
}

// In the same locked step as the job's messages: a client that answers them at once finds the worker
// free, and its next command is begun before sendCommand returns.
void Node::endJob() {
    mJob = Job::None;
    mWork = true;  // the job may have cut a process() short
    settle();
    beginQueued();
}

void Node::runStart(OMX_STATETYPE wanted) {
    const status_t status = mComponent->start();
    std::lock_guard<std::mutex> lock(mMutex);
    if (status == OK) {
        enterState(wanted);
    } else {
        LOGE("component %s did not start: %d", mName.c_str(), status);
        mTarget.reset();
        postError(OMX_ErrorInsufficientResources);
    }
    endJob();
}

void Node::runStop() {
    mComponent->stop();
    std::lock_guard<std::mutex> lock(mMutex);
    returnBuffers(kInputPort);
    returnBuffers(kOutputPort);
    enterState(OMX_StateIdle);
    endJob();
}

void Node::runReturnPort(Command command) {
    mComponent->flush(command.param);
    std::lock_guard<std::mutex> lock(mMutex);
    mPorts[command.param].draining = false;
    returnBuffers(command.param);
    if (command.kind == OMX_CommandFlush) {
        postComplete(OMX_CommandFlush, command.param);
    }
    endJob();
}

void Node::returnBuffers(OMX_U32 port) {
    for (const BufferRef& buffer : mPorts[port].takeAllBack()) {
        if (port == kInputPort) {
            postEmptied(*buffer);
        } else {
            postFilled(*buffer, 0, 0, 0);
        }
    }
}

}  // namespace zem
