// Private: asks whether an application has overridden a hook.
#ifndef TREL_TRELHOOKOVERRIDE_H
#define TREL_TRELHOOKOVERRIDE_H

class TrelObject;

namespace trelHook {

// True when the object's class, or one between it and TrelObject, overrides `update`; also when that override calls the
// base version. Costs two loads and a comparison.
bool overridesUpdate(const TrelObject& object);

}  // namespace trelHook

#endif
