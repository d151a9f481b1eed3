#pragma once

#include <string_view>

#include "runtime/Text.h"

namespace zeb {

// Entry address of `function` in `library`, or null; the runtime's loader, through the platform.
void* LoadFunctionPointerFromLibrary(const String& function, const String& library);

// The entry of `function` in the system library, bound afresh; raises FunctionNotFoundException
// when there is none.
void* BindEntry(const String& function);

// Binds a C function of the system library by name, afresh at every call:
//   Bind<decltype(::usleep)>("usleep")(100000);
// C++ evaluates the callee before the arguments, so each call site binds first, then evaluates
// its arguments, then calls. Inline, so that the name is copied with its length known.
template <typename Function>
Function* Bind(std::string_view function) {
  return reinterpret_cast<Function*>(BindEntry(String(function)));
}

}  // namespace zeb
