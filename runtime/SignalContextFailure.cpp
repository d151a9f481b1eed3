#include "runtime/SignalContextFailure.h"

#include <unistd.h>

#include "runtime/Runtime.h"

namespace zeb {

void RaiseNilObjectExceptionInSignalContext() noexcept {
  static constexpr char kLine[] = "Unhandled NilObjectException: raised in a signal handler\n";
  static_cast<void>(::write(STDERR_FILENO, kLine, sizeof kLine - 1));
  ::_exit(kUnhandledExceptionStatus);
}

}  // namespace zeb
