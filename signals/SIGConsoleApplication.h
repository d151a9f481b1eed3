#pragma once

#include <cstdint>

namespace zeb {

// Something that is told about caught signals. Not a ConsoleApplication: the signal object and
// the application object are separate. Everything here runs in signal context.
class SIGConsoleApplication {
 public:
  SIGConsoleApplication() = default;
  SIGConsoleApplication(const SIGConsoleApplication&) = delete;
  SIGConsoleApplication& operator=(const SIGConsoleApplication&) = delete;
  SIGConsoleApplication(SIGConsoleApplication&&) = delete;
  SIGConsoleApplication& operator=(SIGConsoleApplication&&) = delete;
  virtual ~SIGConsoleApplication() = default;

  // Raises the SignalCaught event.
  virtual void SignalCaughtEventCaller(std::int32_t sig) noexcept { Event_SignalCaught(sig); }

  // The SignalCaught event. A class that does not implement it receives signals and does
  // nothing with them.
  virtual void Event_SignalCaught(std::int32_t /*sig*/) noexcept {}
};

}  // namespace zeb
