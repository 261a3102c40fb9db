/// @file
/// The live tokens of the main-thread callback service: a flat array in order
/// of registration, searched linearly, sized for a handful of clients. Its
/// capacity moves between 16 and twice the peak count.
///
/// The lock guards the array and is deliberately held while a callback runs
/// (see CallbackQueue::serviceCallbackRequests), so that removing a client
/// waits for its running callback, and no callback of that client starts
/// afterwards. It is recursive: a callback may register or remove clients.
#pragma once
#include "qzservices/export.hpp"
#include <uv/CriticalSection.hpp>

QZSERVICES_API_BEGIN

namespace services { namespace cx_thread_request {

/// The registered clients of the callback service and the lock their callbacks run under.
class ClientRegistry {
public:
    ClientRegistry();  ///< empty, with no array yet
    ~ClientRegistry();  ///< frees the array
    ClientRegistry(ClientRegistry const&) = delete;  ///< one per process: not copyable
    ClientRegistry& operator=(ClientRegistry const&) = delete;  ///< nor assignable

    /// A new token: 1 first, then 2, and so on; tokens are not reused and 0
    /// is never one.
    unsigned int registerClient();
    /// 1 if the token was live (it is gone now), otherwise 0. The array may shrink either way.
    int removeClient(unsigned int token);

    /// The caller holds the lock for these.
    /// Appends a token; false if the array has no room (it could not grow).
    bool insert_token(unsigned int token);
    ///@{
    /// 1 if found and removed (the later tokens keep their order), else 0.
    int delete_token(unsigned int token);
    bool query_token(unsigned int token) const;  ///< whether the token is live
    ///@}
    /// When full: 16 elements for an empty array, otherwise twice the count.
    /// False if the memory could not be had; the old array stays.
    bool grow_client_tokens_if_necessary();
    /// When the capacity is 17 or more and over four times the count: half of
    /// it, but not below 16. One call halves once. False if realloc failed.
    bool shrink_client_tokens_if_necessary();

    Orrery::System::CriticalSection_DEPRECATED& getLock() { return lock_; }  ///< the recursive lock described above

    // Snapshots under the lock, for reports and tests.
    unsigned int getCapacity();  ///< places in the array
    unsigned int getCount();  ///< live tokens

private:
    unsigned int* tokens_;  ///< from uvRealloc; null at the start
    unsigned int capacity_;
    unsigned int count_;
    unsigned int nextToken_;
    Orrery::System::CriticalSection_DEPRECATED lock_;
};

}} // namespace services::cx_thread_request

QZSERVICES_API_END
