#include "runtime/Ticks.h"

#include "runtime/Platform.h"

namespace zeb {

Tick Ticks() { return CurrentPlatform().Ticks(); }

}  // namespace zeb
