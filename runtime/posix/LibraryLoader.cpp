#include <dlfcn.h>

#include <algorithm>
#include <string_view>

#include "runtime/IdlePath.h"
#include "runtime/Platform.h"
#include "runtime/posix/Posix.h"

namespace zeb::posix {

namespace {

// A library reference that is given back however the scope is left.
class LibraryHandle {
 public:
  explicit LibraryHandle(const char* path) noexcept
      : handle_(::dlopen(path, RTLD_LAZY | RTLD_LOCAL)) {}
  LibraryHandle(const LibraryHandle&) = delete;
  LibraryHandle& operator=(const LibraryHandle&) = delete;
  LibraryHandle(LibraryHandle&&) = delete;
  LibraryHandle& operator=(LibraryHandle&&) = delete;
  ~LibraryHandle() {
    if (handle_ != nullptr) {
      ::dlclose(handle_);
    }
  }

  void* Symbol(const char* name) const noexcept {
    return handle_ == nullptr ? nullptr : ::dlsym(handle_, name);
  }

 private:
  void* handle_;
};

#if defined(__APPLE__)
constexpr const char* kCLibrary = "/usr/lib/libSystem.B.dylib";
#else
constexpr const char* kCLibrary = "libc.so.6";
#endif

// Plain loops rather than the C library's string functions: this runs in every idle pass, and
// those would be more cold pages to touch.
bool IsSystemLibrary(const String& library) { return std::ranges::equal(library, kSystemLibrary); }

bool HasZeroByte(const String& text) { return std::ranges::find(text, '\0') != text.end(); }

}  // namespace

// Only "System.framework", the system's C library, is known: an address from any other
// library would be left dangling once that library is given back, or keep it loaded for good.
ZEB_IDLE_PATH void* LoadFunction(const String& function, const String& library) {
  if (!IsSystemLibrary(library) || HasZeroByte(function)) {
    return nullptr;
  }
  // The C library stays loaded for the whole run, so one reference held from the first binding
  // on costs nothing and keeps each binding a plain lookup.
  static const LibraryHandle cLibrary(kCLibrary);
  return cLibrary.Symbol(function.c_str());
}

}  // namespace zeb::posix
