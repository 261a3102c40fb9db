/// @file
/// The "container" switch: while it is on, the path manager looks into CAT
/// files. The one instance also holds the head of the path-walking machine.
#pragma once
#include "qzservices/export.hpp"
#include "qzservices/containers/ContainerState.hpp"

QZSERVICES_API_BEGIN

struct vxArray_tag;

/// The feature's state, the names of its two states and the head of the
/// path-walking machine. Making the one instance hands the path manager the
/// plain functions and registers the built-in.
class ContainerFeature {
public:
    /// 0 off, 1 on.
    typedef int ContainerFeatureState;

    ContainerFeature();
    ~ContainerFeature();
    ContainerFeature(ContainerFeature const&) = delete;
    ContainerFeature& operator=(ContainerFeature const&) = delete;

    /// Only the state: the built-in also hands the path manager its functions.
    ContainerFeatureState getState() const { return state; }
    void setState(ContainerFeatureState s) { state = s; }  ///< stores the state only; no other effect
    /// The UTF-16 names "off" and "on"; null for a state other than 0 and 1.
    static unsigned short const* getStateName(ContainerFeatureState s);
    /// Keeps a copy of `text` (null: none) and frees the old name.
    static void setStateName(ContainerFeatureState s, unsigned short const* text);
    ///@{
    /// The machine's head, deleted with the feature; setting it frees nothing.
    ContainerState* getStartRFSM() const { return startRFSM; }
    void setStartRFSM(ContainerState* head) { startRFSM = head; }
    ///@}

private:
    ContainerFeatureState state;
    ContainerState* startRFSM;  ///< owned: deleting it deletes the machine
    static unsigned short* stateNames[2];
};

/// The one instance, made at load and destroyed at exit with its machine.
ContainerFeature& getContainerFeature();
/// True while the path manager looks into CAT files.
bool svIsContainerFeatureOn();
/// The built-in behind the feature: no input returns the state's name; "on" or
/// "off" (any case) switches, returning the previous name when asked, and
/// hands the path manager the matching I/O functions.
void containerFeatureBuiltin(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);

QZSERVICES_API_END
