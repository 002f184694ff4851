// Private: tells the engine that a property is being destroyed.
//
// The pending autonomous message outlives everything in the process, a property does not. The engine installs a
// function when it makes that message; trelProperty calls it without knowing the engine.
#ifndef TREL_TRELPROPERTYLIFETIME_H
#define TREL_TRELPROPERTYLIFETIME_H

class TrelProperty;

namespace trelLifetime {

// Called from every property's destructor, when only the base is left of it: the pointer is good for comparing, no
// more.
using PropertyDestroyed = void (*)(const TrelProperty* property);

// Null takes the function away again.
void onPropertyDestroyed(PropertyDestroyed function);

}  // namespace trelLifetime

#endif
