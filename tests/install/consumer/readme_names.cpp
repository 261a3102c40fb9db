// Every name the README shows a host, reached through the umbrella header
// alone and linked from the installed libraries. Nothing calls this: taking
// each address is enough for the compiler and the linker to check it.
#include <qzservices/qzservices.hpp>

#include <boost/make_shared.hpp>

void const* readmeNames[] = {
    // Starting the library, as the console does.
    (void const*)&uvSetSignalThread, (void const*)&svSetCXMode, (void const*)&svSetIoCallbacks,
    (void const*)&svSetWS_SleepFcn, (void const*)&ioUpdateWindowSize,
    (void const*)&svRegisterSigInitFcn, (void const*)&svSigInit, (void const*)&svSetWS_EventFcns,
    (void const*)&services::io::CmdWinSinkHandle::setFactory, (void const*)&services::io::CmdWinSinkHandle::ctrlCProcessed,
    (void const*)&svLogToFile, (void const*)&svOpenLog, (void const*)&svReleaseLog,
    (void const*)&svJavaProcessCmdlineArg, (void const*)&svJavaSetSupport, (void const*)&uvSetInterruptPending,
    (void const*)&mtServiceCallbackRequestsInterlaced, (void const*)&ShutdownRegistry::IsOkToExit,
    (void const*)&ShutdownRegistry::CloseAllAppWindows, (void const*)&ShutdownRegistry::PreTerminateApps,
    (void const*)&ShutdownRegistry::TerminateApps,
    // Output and display.
    (void const*)&uvPrintf, (void const*)&uvFree, (void const*)&ioFlush,
    (void const*)&ioGetCharNoEcho, (void const*)&SetPrtfmt, (void const*)&GetNewline, (void const*)&ioSetArrayNameCallback,
    (void const*)static_cast<void (*)(char const*, vxArray const*)>(&ioPrintArray),
    (void const*)&vxCreateDoubleMatrix, (void const*)&vxCreateCellMatrix, (void const*)&vxDestroyArray,
    // Other threads.
    (void const*)&eventqueue::UserEventQueue::getInstance, (void const*)&mtCallbackRegisterClient,
    (void const*)&mtCallbackAdd, (void const*)&mtCallbackRemoveClient, (void const*)&svSetFeatureValue,
    (void const*)&mtConnectCallbackServiceToUserEventQueue, (void const*)&mtInitializeCallbackServiceFromEventLoop,
    (void const*)&services::threading::setNumComputationalThreads, (void const*)&services::threading::setMathLibraryCallback,
    // Archives, preferences, identity.
    (void const*)&svFindContainerOrContainerFile, (void const*)&svGetPref, (void const*)&svSetPref,
    (void const*)&svCalyxVersion, (void const*)&svCalyxImageDate, (void const*)&svCalyxRoot,
    (void const*)&svPrintMachineConfiguration,
};

// The README's classes and overloaded functions, used here; never run.
void readmeClasses() {
    int (*flushCW)() = nullptr;
    void (*clearSession)() = nullptr;
    svSetUIW_CWCallbacks(flushCW, nullptr, clearSession, nullptr);
    ioPrintWrapped("text", false);
    CXPushDefaultSink session;
    services::threading::ComputationalThreadsInit threads(false);
    ContainerCxfileReader reader;
    ioErrorMessage error = 0;
    (void)error;
    auto capture = boost::make_shared<services::io::CXStringSink>();
    try {
        throw vx::Error("example:id", "x");
    } catch (Orrery::System::InterruptException const&) {
    } catch (vx::Error const&) {
    }
}
