/// @file
/// Commit and expose hooks: plain functions that bring changes to the display
/// (commit) or repaint what was exposed (expose), and the single gate that
/// says whether an earlier update has finished. Main thread only: no lock.
#pragma once
#include "qzservices/export.hpp"
#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>

QZSERVICES_API_BEGIN

/// The kinds of commit the hooks are told of.
enum svCommitDatabaseUpdatesType {
    svCommitDatabaseUpdatesType_0 = 0,  ///< an ordinary commit
    svCommitDatabaseUpdatesType_1 = 1,  ///< what a commit becomes while an earlier update is unfinished
    svCommitDatabaseUpdatesType_2 = 2,  ///< passed on as given
    svCommitDatabaseUpdatesType_3 = 3  ///< what the event pump commits with
};

///@{
/// Runs the commit hooks with `type`, or with 1 while the gate says an earlier
/// update has not completed.
void svWS_CommitDatabaseUpdates(svCommitDatabaseUpdatesType type);
void svWS_ProcessExposeEvents();  ///< runs the enabled expose hooks in order
///@}

namespace sysq {

/// One hook. The add operations allocate it; removal leaves it allocated.
template <class F>
struct wsfcn_proxy {
    F fcn;  ///< the hook, called with the pump's arguments
    bool enabled;  ///< false once removed: the pump skips it
};

typedef wsfcn_proxy<void (*)(svCommitDatabaseUpdatesType)> CommitHookProxy;  ///< a commit hook
typedef wsfcn_proxy<void (*)()> ExposeHookProxy;  ///< an expose hook

///@{
/// Null for a null function.
CommitHookProxy* addCommitDatabaseUpdateHook(void (*fcn)(svCommitDatabaseUpdatesType));
ExposeHookProxy* addProcessExposeEventsHook(void (*fcn)());  ///< appends an expose hook; null for null
void removeCommitDatabaseUpdatesHook(CommitHookProxy const* proxy);  ///< unlinks a commit hook
void removeProcessExposeEventsHook(ExposeHookProxy const* proxy);  ///< unlinks an expose hook
///@}

///@{
/// Sets the gate; the caller keeps the token, whose release ends the gate. An
/// empty function clears the gate and yields an empty token.
boost::shared_ptr<void> addPreviousUpdatesCompleteFcn(boost::function<bool()> const& fcn);
void removePreviousUpdatesCompleteFcn(boost::shared_ptr<void>& token);  ///< empties the token, ending its gate
///@}

} // namespace sysq

namespace services { namespace system_events {
/// True with no gate; otherwise what the gate says.
bool invokePreviousUpdatesCompleteFunction();
}} // namespace services::system_events

QZSERVICES_API_END
