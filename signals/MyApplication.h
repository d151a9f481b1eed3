#pragma once

#include <atomic>

#include "signals/SignalModule.h"

namespace zeb {

// Turns caught signals into requests that the watch loop acts on later: SIGUSR2 asks App for a
// launch; SIGINT, SIGTERM and SIGQUIT ask for an orderly end; every other number does nothing.
class MyApplication : public SIGConsoleApplication {
 public:
  void Event_SignalCaught(std::int32_t sig) noexcept override;

  // True once a quit was asked for; it stays true.
  bool Idle() const noexcept { return quitRequested; }

  std::atomic<bool> quitRequested{false};
  static_assert(std::atomic<bool>::is_always_lock_free);
};

}  // namespace zeb
