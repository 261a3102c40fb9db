// The "container" switch: while it is on, the path manager looks into CAT
// files. The one instance also holds the head of the path-walking machine.
#pragma once
#include "qzservices/containers/ContainerState.hpp"

struct vxArray_tag;

class ContainerFeature {
public:
    // 0 off, 1 on.
    typedef int ContainerFeatureState;

    ContainerFeature();
    ~ContainerFeature();
    ContainerFeature(ContainerFeature const&) = delete;
    ContainerFeature& operator=(ContainerFeature const&) = delete;

    ContainerFeatureState getState() const { return state; }
    void setState(ContainerFeatureState s) { state = s; }
    // The UTF-16 names "off" and "on".
    static unsigned short const* getStateName(ContainerFeatureState s);
    static void setStateName(ContainerFeatureState s, unsigned short const* text);
    ContainerState* getStartRFSM() const { return startRFSM; }
    void setStartRFSM(ContainerState* head) { startRFSM = head; }

private:
    ContainerFeatureState state;
    ContainerState* startRFSM;  // owned: deleting it deletes the machine
    static unsigned short* stateNames[2];
};

ContainerFeature& getContainerFeature();
bool svIsContainerFeatureOn();
// The built-in behind the feature: no input returns the state's name; "on" or
// "off" (any case) switches, returning the previous name when asked, and
// hands the path manager the matching I/O functions.
void containerFeatureBuiltin(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);
