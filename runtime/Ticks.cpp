#include "runtime/Ticks.h"

#include "runtime/IdlePath.h"
#include "runtime/Platform.h"

namespace zeb {

ZEB_IDLE_PATH Tick Ticks() { return CurrentPlatform().Ticks(); }

}  // namespace zeb
