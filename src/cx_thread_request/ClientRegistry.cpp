// The live tokens of the main-thread callback service.
#include "qzservices/cx_thread_request/ClientRegistry.hpp"

#include <uv/uv.hpp>

namespace services { namespace cx_thread_request {

using Orrery::System::CriticalSectionGuard;

ClientRegistry::ClientRegistry() : tokens_(nullptr), capacity_(0), count_(0), nextToken_(1) { lock_.init(); }

ClientRegistry::~ClientRegistry() { uvFree(tokens_); }

unsigned int ClientRegistry::registerClient() {
    CriticalSectionGuard guard(lock_);
    (void)grow_client_tokens_if_necessary();  // the steps run in this order whatever it gives
    unsigned int const token = nextToken_++;
    if (nextToken_ == 0) nextToken_ = 1;  // after four billion clients: still never 0
    // An array that could not grow does not take the token: it is handed out
    // all the same, and its requests are skipped as those of a removed client.
    (void)insert_token(token);
    return token;
}

int ClientRegistry::removeClient(unsigned int token) {
    CriticalSectionGuard guard(lock_);
    int const found = delete_token(token);
    (void)shrink_client_tokens_if_necessary();
    return found;
}

bool ClientRegistry::insert_token(unsigned int token) {
    if (count_ >= capacity_) return false;
    tokens_[count_++] = token;
    return true;
}

int ClientRegistry::delete_token(unsigned int token) {
    for (unsigned int i = 0; i < count_; ++i) {
        if (tokens_[i] != token) continue;
        for (unsigned int j = i + 1; j < count_; ++j) tokens_[j - 1] = tokens_[j];
        --count_;
        return 1;
    }
    return 0;
}

bool ClientRegistry::query_token(unsigned int token) const {
    for (unsigned int i = 0; i < count_; ++i)
        if (tokens_[i] == token) return true;
    return false;
}

bool ClientRegistry::grow_client_tokens_if_necessary() {
    if (count_ < capacity_) return true;
    unsigned int const capacity = count_ == 0 ? 16 : 2 * count_;
    void* grown = uvRealloc(tokens_, capacity * sizeof(unsigned int));
    if (grown == nullptr) return false;
    tokens_ = static_cast<unsigned int*>(grown);
    capacity_ = capacity;
    return true;
}

bool ClientRegistry::shrink_client_tokens_if_necessary() {
    if (capacity_ < 17 || capacity_ <= 4 * count_) return true;
    unsigned int capacity = capacity_ / 2;
    if (capacity < 16) capacity = 16;
    void* shrunk = uvRealloc(tokens_, capacity * sizeof(unsigned int));
    if (shrunk == nullptr) return false;
    tokens_ = static_cast<unsigned int*>(shrunk);
    capacity_ = capacity;
    return true;
}

unsigned int ClientRegistry::getCapacity() {
    CriticalSectionGuard guard(lock_);
    return capacity_;
}

unsigned int ClientRegistry::getCount() {
    CriticalSectionGuard guard(lock_);
    return count_;
}

}} // namespace services::cx_thread_request
