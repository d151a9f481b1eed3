#include "runtime/PosixPlatform.h"

#include <unistd.h>

#include "runtime/IdlePath.h"
#include "runtime/Runtime.h"
#include "runtime/SystemVersion.h"
#include "runtime/posix/Posix.h"

namespace zeb {

ZEB_IDLE_PATH void* PosixPlatform::LoadFunctionPointerFromLibrary(const String& function,
                                                                  const String& library) {
  return posix::LoadFunction(function, library);
}

bool PosixPlatform::QuerySystemVersion(std::int32_t& version) {
  return QueryRunningSystemVersion(version);
}

bool PosixPlatform::Detach() { return posix::DetachFromStarter(); }

ZEB_IDLE_PATH void PosixPlatform::WaitForEvents(std::int32_t milliseconds) {
  posix::SleepMilliseconds(milliseconds);
}

ZEB_IDLE_PATH Tick PosixPlatform::Ticks() { return posix::MonotonicTicks(); }

String PosixPlatform::ExecutablePath() { return posix::ExecutablePath(); }

void PosixPlatform::ReportUnhandledException(const RuntimeException& error) {
  const String line = UnhandledExceptionLine(error);
  // One line or nothing: a closed standard error is no reason to fail harder.
  static_cast<void>(::write(STDERR_FILENO, line.data(), line.size()));
}

}  // namespace zeb
