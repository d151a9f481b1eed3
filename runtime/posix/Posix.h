#pragma once

#include <cstdint>

#include "runtime/Text.h"
#include "runtime/Ticks.h"

// The POSIX implementations behind PosixPlatform, one job per file.
namespace zeb::posix {

void* LoadFunction(const String& function, const String& library);
bool DetachFromStarter();
void SleepMilliseconds(std::int32_t milliseconds);
Tick MonotonicTicks();
String ExecutablePath();

}  // namespace zeb::posix
