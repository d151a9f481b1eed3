#pragma once

// The one seam between the runtime and the operating system. Every platform effect goes through
// CurrentPlatform(), so that tests can drive a whole run in-process with a subclass that fakes
// what it needs and leaves the rest real. The real implementation is PosixPlatform.cpp (Linux
// and macOS).

#include <cstdint>
#include <string_view>

#include "runtime/Text.h"

namespace zeb {

// The name under which the loader knows the system's C library.
inline constexpr std::string_view kSystemLibrary = "System.framework";

class Platform {
 public:
  Platform() = default;
  Platform(const Platform&) = delete;
  Platform& operator=(const Platform&) = delete;
  Platform(Platform&&) = delete;
  Platform& operator=(Platform&&) = delete;
  virtual ~Platform() = default;

  // Entry address of `function` in `library`, or null. Only kSystemLibrary is known; it is
  // opened and given back at every call, so no address is kept from one call to the next.
  virtual void* LoadFunctionPointerFromLibrary(const String& function, std::string_view library);
  // The system version as 0xMMmb; false where the system has no such query (Linux).
  virtual bool QuerySystemVersion(std::int32_t& version);
  // Goes on in a process of its own, detached from the starter and its terminal, at /, with
  // the standard streams on /dev/null and no COLUMNS; the starter leaves no process of the
  // agent's name behind. False if it could not fork, start a session or change folder.
  virtual bool Detach();
  // Returns after about `milliseconds`, also when signals arrive meanwhile; at once for zero or
  // less.
  virtual void WaitForEvents(std::int32_t milliseconds);
  virtual Tick Ticks();
  // What the system's process listing names the agent by, as a path whose last part is that
  // name: on Linux the path given to exec (not the resolved file), on macOS argv[0]. Empty when
  // unknown.
  virtual String ExecutablePath();
  // Hands the heap's free pages back to the system where the C library can (glibc); nothing
  // elsewhere.
  virtual void ReturnFreeMemory();
  // The report's line (WriteUnhandledExceptionLine) on standard error; nothing when it is closed.
  virtual void ReportUnhandledException(std::string_view className,
                                        std::string_view message) noexcept;
};

Platform& CurrentPlatform() noexcept;

// Writes `text` to `descriptor`, resuming after a signal or a short write, until it is all out or
// the descriptor takes no more (closed, say). Safe in signal context: it calls write() alone.
void WriteAll(int descriptor, std::string_view text) noexcept;

// Writes "Unhandled CLASS: MESSAGE" and a line feed to `descriptor`, the message's own line feeds
// as blanks and without ": " when it is empty. It allocates nothing, so that a memory shortage
// still gets its line, and calls write() alone, so that signal context may use it.
void WriteUnhandledExceptionLine(int descriptor, std::string_view className,
                                 std::string_view message) noexcept;

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
