// The "memmgr" feature: a report of the foundation layer's memory managers,
// one logical field per manager (named by the manager, true if enabled), and
// the aligned heap's alignment.
#include "qzservices/state/features.hpp"

#include <fd/mem/manager.hpp>
#include <vx/array.hpp>
#include <vx/errors.hpp>

#include <cstdint>
#include <memory>
#include <vector>

namespace {

struct ArrayDeleter {
    void operator()(vxArray_tag* a) const { vxDestroyArray(a); }
};
typedef std::unique_ptr<vxArray_tag, ArrayDeleter> ArrayPtr;

// Arrays that cannot be made are reported as the foundation layer's failure.
template <class F>
auto created(F make) -> decltype(make()) {
    try {
        auto a = make();
        if (a == nullptr) throw fd::mem::bad_alloc();
        return a;
    } catch (std::bad_alloc const&) {
        throw fd::mem::bad_alloc();
    }
}

void memmgr(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** /*inArgs*/) {
    if (outCount > 1) vxm::detail::error_maxlhs();
    if (inCount > 0) vxm::detail::error_maxrhs();
    ArrayPtr report(created([] { return vxCreateStructMatrix(1, 1, 0, nullptr); }));
    fd::mem::manager& managers = fd::mem::manager::instance();
    std::vector<std::int32_t> const ids = managers.registered_ids();
    for (std::int32_t id : ids) {
        fd::mem::memory_manager* m = managers.get(id);
        if (m == nullptr) continue;
        ArrayPtr enabled(created([m] { return vxCreateLogicalScalar(m->enabled()); }));
        int const field = vxAddField(report.get(), m->name().c_str());
        if (field >= 0) vxSetFieldByNumber(report.get(), 0, field, enabled.release());
    }
    ArrayPtr alignment(created([] { return vxCreateUint64Scalar(fd::mem::aligned_heap::alignment()); }));
    int const field = vxAddField(report.get(), "alignment");
    if (field >= 0) vxSetFieldByNumber(report.get(), 0, field, alignment.release());
    if (outArgs != nullptr) outArgs[0] = report.release();
}

struct RegisterMemCounterFeatures {
    RegisterMemCounterFeatures() { svRegisterBuiltin("memmgr", 0, &memmgr); }
};

} // namespace

int init_registerMemCounterFeatures(int) { return services::static_manager<RegisterMemCounterFeatures>::instance(0); }

namespace {
int const registeredAtLoad = init_registerMemCounterFeatures(0);
}
