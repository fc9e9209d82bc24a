// Runtime state reactors: objects in any module that want to hear when the
// host has finished loading, has loaded its modules, or starts to unload.
//
// Reactors register themselves and are called in order of registration. The
// registry does not own them, and a reactor does not leave it by itself: one
// that is destroyed first must unregister. Registering and firing belong to
// the host's main thread; there is no lock.
#pragma once

#include "tarvex/core/containers.h"
#include "tarvex/core/object.h"

class CTXRuntimeStateReactor : public CTarvexObject {
public:
    ~CTXRuntimeStateReactor() override = default;

    virtual void OnLoadComplete() {}
    virtual void OnStartUnload() {}
    // False stops the round: later reactors are not asked.
    virtual bool OnModulesLoaded() { return true; }

    // A null reactor is ignored; one registered twice is called twice.
    static void RegisterReactor(CTXRuntimeStateReactor* reactor);
    // Removes the first registration of `reactor`; an unknown one is ignored.
    static void UnregisterReactor(CTXRuntimeStateReactor* reactor);

    // On the team's master host, first warns the user that settings changes
    // go to the whole team.
    static void FireLoadComplete();
    static void FireStartUnload();
    // True when every reactor agrees, also when there are none.
    static bool FireModulesLoaded();

protected:
    static CIndirectArray<CTXRuntimeStateReactor> m_reactors;
};
