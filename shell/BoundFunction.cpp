#include "shell/BoundFunction.h"

#include "runtime/Exceptions.h"
#include "runtime/Platform.h"

namespace zeb {

void* LoadFunctionPointerFromLibrary(const String& function, const String& library) {
  return CurrentPlatform().LoadFunctionPointerFromLibrary(function, library);
}

void* BindEntry(const char* function) {
  void* const entry = LoadFunctionPointerFromLibrary(function, kSystemLibrary);
  if (entry == nullptr) {
    RuntimeRaiseFunctionNotFoundException(function, kSystemLibrary);
  }
  return entry;
}

}  // namespace zeb
