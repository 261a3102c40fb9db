/// @file
/// A small profiler for the event pump and the update path: for each of eight
/// fixed timers, how often the timed stretch ran and how long it took in all.
/// Off by default; a guard then costs one test. The features
/// "WSPPEProfileClear", "WSPPEProfileEnable" and "WSPPEProfileReport" drive it.
/// Main-thread use only: the profiler has no lock.
#pragma once
#include "qzservices/export.hpp"
#include <map>

QZSERVICES_API_BEGIN

namespace services { namespace system_events {

/// The pump's profiler: per timer, the count and total time of the stretches it measured.
class WSPPEInstrumentation {
public:
    /// The timers, one per measured stage of the pump.
    enum ID {
        WSPPE_TOTAL = 0,
        WSPPE_START_FCN = 1,
        WSPPE_END_FCN = 2,
        WSPPE_POLLING_DURING_FCN = 3,
        WSPPE_POLLING_WAIT_FCN = 4,
        CDU_ALL = 5,
        PROCESS_EXPOSE_EVENTS = 6,
        CDU_PREVIOUS_UPDATES_COMPLETE = 7
    };
    static int const kNumTimers = 8;  ///< the number of timers in ID

    /// Built once, never destroyed.
    static WSPPEInstrumentation& getInstance();

    /// Zeroes the stamps, totals, counts and running flags; the switches stay.
    void initialize();
    void setEnabled(bool enabled) { enabled_ = enabled; }  ///< turns measuring on or off
    bool isEnabled() const { return enabled_; }  ///< whether stretches are measured
    void setDebug(bool debug) { debug_ = debug; }  ///< turns the debug switch on or off
    bool isDebug() const { return debug_; }  ///< whether the debug switch is on

    ///@{
    /// Starts a stretch; false (and nothing counted) when off or already running.
    bool start_method(ID id);
    void finish_method(ID id);  ///< ends a running stretch, adding its time and count
    ///@}
    /// One line per timer that ran, under a heading; nothing if none ran.
    void printReport();

    int count(ID id) const { return counts_[id]; }  ///< stretches finished under the timer
    double totalTime(ID id) const { return totals_[id]; }  ///< their summed time in seconds
    bool isRunning(ID id) const { return running_[id]; }  ///< whether a stretch is open

    static std::map<ID, char const*> getNames();  ///< the report's name of each timer

private:
    WSPPEInstrumentation();

    unsigned long long stamps_[kNumTimers];
    double totals_[kNumTimers];
    int counts_[kNumTimers];
    bool running_[kNumTimers];
    bool enabled_;
    bool debug_;
    std::map<ID, char const*> names_;
};

/// Times one stretch of code under a timer, and registers the profiler's
/// features on first use.
class WSPPEIScopeGuard {
public:
    explicit WSPPEIScopeGuard(WSPPEInstrumentation::ID id);  ///< starts a stretch under `id`
    ~WSPPEIScopeGuard();  ///< finishes it if it started
    WSPPEIScopeGuard(WSPPEIScopeGuard const&) = delete;  ///< one guard per stretch: not copyable
    WSPPEIScopeGuard& operator=(WSPPEIScopeGuard const&) = delete;  ///< nor assignable

    static void check_initialization();  ///< registers the profiler's features once

private:
    WSPPEInstrumentation::ID id_;
    bool started_;
};

}} // namespace services::system_events

QZSERVICES_API_END
