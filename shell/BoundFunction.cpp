#include "shell/BoundFunction.h"

#include "runtime/Exceptions.h"
#include "runtime/IdlePath.h"
#include "runtime/Platform.h"

namespace zeb {

ZEB_IDLE_PATH void* LoadFunctionPointerFromLibrary(const String& function, const String& library) {
  return CurrentPlatform().LoadFunctionPointerFromLibrary(function, library);
}

namespace {

// Made once: the name is longer than a short string, and binding runs in every idle pass.
ZEB_IDLE_PATH const String& SystemLibraryName() {
  static const String name(kSystemLibrary);
  return name;
}

}  // namespace

ZEB_IDLE_PATH void* BindEntry(const String& function) {
  void* const entry = LoadFunctionPointerFromLibrary(function, SystemLibraryName());
  if (entry == nullptr) {
    RuntimeRaiseFunctionNotFoundException(function, SystemLibraryName());
  }
  return entry;
}

}  // namespace zeb
