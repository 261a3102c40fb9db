/// @file
/// The number of computational threads the numeric libraries may use: one
/// process-wide record under one mutex, the math library's callback, oneTBB's
/// scheduler, and the features "NumCores", "MaxNumThreads" and "NumThreads".
///
/// Thread-safe: every access to the record is under its mutex, and its creation
/// goes through boost::call_once. A math-library callback runs with the mutex
/// held, so it must not call back into these functions.
#pragma once
#include "qzservices/export.hpp"

QZSERVICES_API_BEGIN

struct vxArray_tag;

namespace services { namespace threading {

/// Told the thread count whenever it changes once the threads are started.
typedef void (*MathLibraryCallback)(bool multithreadingEnabled, unsigned long numThreads);

unsigned long getNumProcessors();  ///< the core count of the machine
unsigned long getMaxNumComputationalThreads();  ///< 512
unsigned long getNumComputationalThreads();  ///< the count in force
///@{
/// Stores n, cut to 512; once initialised, tells the math library (with
/// (unsigned long)-1 for the count while multithreading is off) and limits
/// oneTBB's parallelism to the new number.
void setNumComputationalThreads(unsigned long n);
bool isCALYXThreadingEnabled();  ///< started with multithreading allowed
bool isMathLibraryThreadingEnabled();  ///< a callback is set
///@}
/// Stores the callback; true when it will be called later, at initialisation.
bool setMathLibraryCallback(MathLibraryCallback callback);

/// Starts the computational threads: registers the features (once per
/// process), tells the math library, and starts oneTBB's scheduler limited to
/// the thread count. With `allowed` false the count is 1 and multithreading
/// stays off. The destructor stops the scheduler again.
class ComputationalThreadsInit {
public:
    explicit ComputationalThreadsInit(bool allowed);  ///< starts them; `allowed` false keeps one thread
    ~ComputationalThreadsInit();
    ComputationalThreadsInit(ComputationalThreadsInit const&) = delete;
    ComputationalThreadsInit& operator=(ComputationalThreadsInit const&) = delete;

    class Guts;  ///< the scheduler and the start-up work, kept out of the header

private:
    Guts* guts_;
};

///@{
/// The features' built-ins: the core count; the largest thread count; and
/// the thread count, set from one input (0 means one per core, refused while
/// multithreading is off), with a second output saying whether the math
/// library is told.
void numCores(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);
void maxNumThreads(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);
void numThreads(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);
///@}

}} // namespace services::threading

QZSERVICES_API_END
