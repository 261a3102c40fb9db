// The handle of the process-wide user event queue.
#include "qzservices/eventqueue/UserEventQueue.hpp"

namespace eventqueue {

UserEventQueue::UserEventQueue() : impl_(new UserEventQueueImpl) {}

UserEventQueue* UserEventQueue::getInstance() {
    // Made once, on the first call; never destroyed, so that handlers and
    // posters running during exit still find it.
    static UserEventQueue* const instance = new UserEventQueue;
    return instance;
}

bool ReadPipe(int /*fd*/, bool flush) {
    if (flush) {
        UserEventQueue::getInstance()->flush();
    } else {
        (void)UserEventQueue::getInstance()->pop();
    }
    return true;
}

} // namespace eventqueue
