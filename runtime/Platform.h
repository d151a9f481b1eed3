#pragma once

#include <cstdint>
#include <string_view>

#include "runtime/Text.h"
#include "runtime/Ticks.h"

namespace zeb {

class RuntimeException;

// The name under which the loader knows the system's C library.
inline constexpr std::string_view kSystemLibrary = "System.framework";

// Every effect the runtime has on the platform goes through here, so that tests can put
// fakes in its place for the length of a test.
class Platform {
 public:
  Platform() = default;
  Platform(const Platform&) = delete;
  Platform& operator=(const Platform&) = delete;
  Platform(Platform&&) = delete;
  Platform& operator=(Platform&&) = delete;
  virtual ~Platform() = default;

  // Entry address of `function` in `library`, or null.
  virtual void* LoadFunctionPointerFromLibrary(const String& function, const String& library) = 0;
  // The system version as 0xMMmb; false where the system has no such query.
  virtual bool QuerySystemVersion(std::int32_t& version) = 0;
  // Goes on in a process detached from the starter and its terminal; false if it cannot.
  virtual bool Detach() = 0;
  // Returns after about `milliseconds`; at once for zero or less.
  virtual void WaitForEvents(std::int32_t milliseconds) = 0;
  virtual Tick Ticks() = 0;
  // Path of the running executable; empty when unknown.
  virtual String ExecutablePath() = 0;
  virtual void ReportUnhandledException(const RuntimeException& error) = 0;
};

Platform& CurrentPlatform() noexcept;

// Puts `platform` in place until the end of the scope.
class ScopedPlatform {
 public:
  explicit ScopedPlatform(Platform& platform) noexcept;
  ScopedPlatform(const ScopedPlatform&) = delete;
  ScopedPlatform& operator=(const ScopedPlatform&) = delete;
  ScopedPlatform(ScopedPlatform&&) = delete;
  ScopedPlatform& operator=(ScopedPlatform&&) = delete;
  ~ScopedPlatform();

 private:
  Platform* previous_;
};

}  // namespace zeb
