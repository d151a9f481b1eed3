#pragma once

// Running one command through the shell and capturing its output, through C library functions
// bound by name at every call.

#include <string_view>

#include "runtime/Exceptions.h"
#include "runtime/Platform.h"
#include "runtime/Text.h"

namespace zeb {

// Binds a C function of the system library by name, afresh at every call:
//   Bind<decltype(::usleep)>("usleep")(100000);
// C++ evaluates the callee before the arguments, so each call site binds, then evaluates its
// arguments, then calls. A missing function raises FunctionNotFoundException.
template <typename Function>
Function* Bind(std::string_view function) {
  const String name(function);
  void* const entry = CurrentPlatform().LoadFunctionPointerFromLibrary(name, kSystemLibrary);
  if (entry == nullptr) {
    RuntimeRaiseFunctionNotFoundException(function, kSystemLibrary);
  }
  return reinterpret_cast<Function*>(entry);
}

namespace shell {

// Runs `command` through the shell and captures its standard output into `output`, which is
// emptied first and sees every append at once, also when an exception leaves. The capture is
// read in items of 512 bytes; each item is cut at its first empty line, zero padding is kept,
// and one more item of zero bytes ends it: a command writing L bytes with no empty line gives
// those bytes and zeros, 512 * (L / 512 + 2) bytes in all. The item that a final read finds
// whole is dropped, a stream error skips that read, and the exit status is not looked at.
void Capture(String& output, String command);

}  // namespace shell

}  // namespace zeb
