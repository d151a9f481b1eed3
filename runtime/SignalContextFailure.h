#pragma once

namespace zeb {

// What a NilObjectException raised in signal context becomes: nothing may be thrown across a
// signal handler's frame, so it writes the unhandled-exception line with write() and ends the
// process with the unhandled-exception status.
[[noreturn]] void RaiseNilObjectExceptionInSignalContext() noexcept;

}  // namespace zeb
