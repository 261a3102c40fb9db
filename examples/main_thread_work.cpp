// A host that runs work from another thread on the main thread. The worker
// queues plain functions with mtCallbackAdd; the main thread waits on the user
// event queue, and each request runs there.
#include <qzservices/qzservices.hpp>

#include <atomic>
#include <cstdio>
#include <thread>

namespace {

std::thread::id gMainThread;
std::atomic<int> gDone{0};

int work(void* argument) {
    int const n = *static_cast<int*>(argument);
    bool const onMain = std::this_thread::get_id() == gMainThread;
    std::printf("request %d ran on the %s thread\n", n, onMain ? "main" : "worker");
    gDone.fetch_add(1);
    return 0;
}

} // namespace

int main() {
    gMainThread = std::this_thread::get_id();
    uvSetSignalThread();  // this thread is the interpreter's

    // The event-loop road: requests post user events, and they run where the
    // queue is waited on. Until the feature has bit 1 set, requests are dropped.
    mtConnectCallbackServiceToUserEventQueue();
    svSetFeatureValue("ThreadServiceRequest", 2);

    unsigned int const token = mtCallbackRegisterClient();
    static int numbers[3] = {1, 2, 3};
    std::thread worker([token] {
        for (int& n : numbers) mtCallbackAdd(token, &work, &n);
    });
    eventqueue::UserEventQueue* queue = eventqueue::UserEventQueue::getInstance();
    while (gDone.load() < 3) queue->flushEventsOrBlock();
    worker.join();
    mtCallbackRemoveClient(token);  // none of its requests runs after this
    std::printf("all requests done\n");
    return 0;
}
