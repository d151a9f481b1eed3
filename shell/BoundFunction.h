#pragma once

#include "runtime/Text.h"

namespace zeb {

inline constexpr const char* kSystemLibrary = "System.framework";

// Entry address of `function` in `library`, or null; the runtime's loader, through the platform.
void* LoadFunctionPointerFromLibrary(const String& function, const String& library);

// Binds a C function of the system library by name, afresh at every call:
//   Bind<decltype(::usleep)>("usleep")(100000);
// C++ evaluates the callee before the arguments, so each call site binds first, then evaluates
// its arguments, then calls. A missing function raises FunctionNotFoundException.
void* BindEntry(const char* function);

template <typename Function>
Function* Bind(const char* function) {
  return reinterpret_cast<Function*>(BindEntry(function));
}

}  // namespace zeb
