#include "shell/BoundFunction.h"

#include "runtime/Exceptions.h"
#include "runtime/Platform.h"

namespace zeb {

void* LoadFunctionPointerFromLibrary(const String& function, const String& library) {
  return CurrentPlatform().LoadFunctionPointerFromLibrary(function, library);
}

namespace {

// Made once: the name is longer than a short string, and binding runs in every idle pass.
const String& SystemLibraryName() {
  static const String name = kSystemLibrary;
  return name;
}

}  // namespace

void* BindEntry(const char* function) {
  void* const entry = LoadFunctionPointerFromLibrary(function, SystemLibraryName());
  if (entry == nullptr) {
    RuntimeRaiseFunctionNotFoundException(function, SystemLibraryName());
  }
  return entry;
}

}  // namespace zeb
