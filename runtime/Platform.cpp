#include "runtime/Platform.h"

#include "runtime/IdlePath.h"
#include "runtime/PosixPlatform.h"

namespace zeb {

namespace {

PosixPlatform thePosixPlatform;
Platform* current = &thePosixPlatform;

}  // namespace

ZEB_IDLE_PATH Platform& CurrentPlatform() noexcept { return *current; }

ScopedPlatform::ScopedPlatform(Platform& platform) noexcept : previous_(current) {
  current = &platform;
}

ScopedPlatform::~ScopedPlatform() { current = previous_; }

}  // namespace zeb
