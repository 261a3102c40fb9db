// Timers of the event pump and the update path.
#include "qzservices/system_events/WSPPEInstrumentation.hpp"
#include "qzservices/state/features.hpp"

#include <boost/thread/once.hpp>
#include <uv/uv.hpp>

namespace services { namespace system_events {

namespace {

boost::once_flag gInstanceOnce = BOOST_ONCE_INIT;
WSPPEInstrumentation* gInstance = nullptr;
boost::once_flag featuresInitialized = BOOST_ONCE_INIT;

void profileClear(int) { WSPPEInstrumentation::getInstance().initialize(); }

void profileEnable(int value) {
    WSPPEInstrumentation& p = WSPPEInstrumentation::getInstance();
    p.setEnabled(value != 0);
    if (value == -1) p.setDebug(true);
}

void profileReport(int) {
    WSPPEInstrumentation& p = WSPPEInstrumentation::getInstance();
    p.printReport();
    if (p.isDebug()) p.setDebug(false);
}

void registerFeatures() {
    svRegisterFeature("WSPPEProfileClear", 0, &profileClear, nullptr);
    svRegisterFeature("WSPPEProfileEnable", 0, &profileEnable, nullptr);
    svRegisterFeature("WSPPEProfileReport", 0, &profileReport, nullptr);
}

// The features exist from load on, as the other units' do; the first guard
// would register them otherwise.
struct RegisterAtLoad {
    RegisterAtLoad() { WSPPEIScopeGuard::check_initialization(); }
} gRegisterAtLoad;

} // namespace

WSPPEInstrumentation::WSPPEInstrumentation() : enabled_(false), debug_(false), names_(getNames()) {
    initialize();
}

WSPPEInstrumentation& WSPPEInstrumentation::getInstance() {
    boost::call_once(gInstanceOnce, [] { gInstance = new WSPPEInstrumentation; });  // never destroyed
    return *gInstance;
}

std::map<WSPPEInstrumentation::ID, char const*> WSPPEInstrumentation::getNames() {
    return {{WSPPE_TOTAL, "ws_PPE - Total"},
            {WSPPE_START_FCN, "ws_PPE - startFcn"},
            {WSPPE_END_FCN, "ws_PPE - endFcn"},
            {WSPPE_POLLING_DURING_FCN, "ws_PPE - pollingDuringFcn"},
            {WSPPE_POLLING_WAIT_FCN, "ws_PPE - pollingWaitFcn"},
            {CDU_ALL, "CDU All"},
            {PROCESS_EXPOSE_EVENTS, "ProcessExposeEvents"},
            {CDU_PREVIOUS_UPDATES_COMPLETE, "CDU PreviousUpdatesComplete"}};
}

void WSPPEInstrumentation::initialize() {
    for (int i = 0; i < kNumTimers; ++i) {
        stamps_[i] = 0;
        totals_[i] = 0.0;
        counts_[i] = 0;
        running_[i] = false;
    }
}

bool WSPPEInstrumentation::start_method(ID id) {
    // A nested stretch of a running timer is not counted.
    if (!enabled_ || running_[id]) return false;
    ++counts_[id];
    running_[id] = true;
    stamps_[id] = uvPERFtic();
    return true;
}

void WSPPEInstrumentation::finish_method(ID id) {
    if (!running_[id]) return;
    totals_[id] += uvPERFtoc(false, stamps_[id], uvGetPERFspeed());
    running_[id] = false;
}

void WSPPEInstrumentation::printReport() {
    bool headed = false;
    for (int i = 0; i < kNumTimers; ++i) {
        if (counts_[i] < 1) continue;
        if (!headed) {
            uvPrintf("\n");
            uvPrintf("      count time     name\n");
            uvPrintf("===================================\n");
            headed = true;
        }
        auto name = names_.find(static_cast<ID>(i));
        uvPrintf(" %10d %-8.4g %s\n", counts_[i], totals_[i], name != names_.end() ? name->second : "unknown");
    }
}

WSPPEIScopeGuard::WSPPEIScopeGuard(WSPPEInstrumentation::ID id)
    : id_(id), started_(WSPPEInstrumentation::getInstance().start_method(id)) {
    check_initialization();
}

WSPPEIScopeGuard::~WSPPEIScopeGuard() {
    if (!started_) return;
    try {
        WSPPEInstrumentation::getInstance().finish_method(id_);
    } catch (...) {
    }
}

void WSPPEIScopeGuard::check_initialization() { boost::call_once(featuresInitialized, &registerFeatures); }

}} // namespace services::system_events
