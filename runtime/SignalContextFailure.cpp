#include "runtime/SignalContextFailure.h"

#include <unistd.h>

#include <string_view>

#include "runtime/Runtime.h"

namespace zeb {

void RaiseNilObjectExceptionInSignalContext() noexcept {
  static constexpr std::string_view kLine =
      "Unhandled NilObjectException: raised in a signal handler\n";
  static_cast<void>(::write(STDERR_FILENO, kLine.data(), kLine.size()));
  ::_exit(kUnhandledExceptionStatus);
}

}  // namespace zeb
