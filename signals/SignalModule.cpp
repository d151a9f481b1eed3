#include "signals/SignalModule.h"

#include <unistd.h>

#include <csignal>

#include "runtime/ConsoleApplication.h"
#include "runtime/Platform.h"

namespace zeb {

void RaiseNilObjectExceptionInSignalContext() noexcept {
  WriteUnhandledExceptionLine(STDERR_FILENO, "NilObjectException", "raised in a signal handler");
  ::_exit(kUnhandledExceptionStatus);
}

namespace signal {

constinit ApplicationReference myApp;

void ApplicationReference::Reset(std::shared_ptr<SIGConsoleApplication> app) noexcept {
  registered_ = app.get();
  owner_.swap(app);
  // The previous object, now in `app`, is released here, after the handler stopped seeing it.
}

void SetApplication(std::shared_ptr<SIGConsoleApplication> app) noexcept {
  myApp.Reset(std::move(app));
}

void CatchAllSignals() {
  constexpr std::int32_t kFirstSignal = 1;
  constexpr std::int32_t kLastSignal = 32;
  for (std::int32_t sig = kFirstSignal; sig <= kLastSignal; ++sig) {
    const MemoryBlock handler = MemoryBlock::FromAddress(reinterpret_cast<void*>(&sigHandler));
    InstallHandler(sig, &handler);
    BackgroundTask();
  }
  // Unblocked only now, so that what the starter's mask or detaching held goes to the handler,
  // and every command the agent runs starts with nothing blocked.
  sigset_t nothing;
  sigemptyset(&nothing);
  static_cast<void>(::pthread_sigmask(SIG_SETMASK, &nothing, nullptr));
}

void InstallHandler(std::int32_t sig, const MemoryBlock* handler) {
  if (handler == nullptr) {
    throw NilObjectException();
  }
  struct sigaction action {};
  action.sa_handler = reinterpret_cast<void (*)(int)>(handler->Address());
  sigemptyset(&action.sa_mask);
  // SA_RESTART: a signal must not cut short a capture's reads or pclose's wait, or a listing
  // would come back incomplete. Without SA_RESETHAND the handler stays after each delivery.
  action.sa_flags = SA_RESTART;
  static_cast<void>(::sigaction(sig, &action, nullptr));  // refusals are left unseen
}

// Signal context: loads, compares, plain and virtual calls, lock-free atomic stores, write and
// _exit only (see SignalModule.h).
void sigHandler(int sig) noexcept {
  SIGConsoleApplication* const app = myApp.Get();
  if (app == nullptr) {
    RaiseNilObjectExceptionInSignalContext();
  }
  app->SignalCaughtEventCaller(sig);
}

namespace internal {

void myAppExit() noexcept { myApp.Reset(nullptr); }

}  // namespace internal

}  // namespace signal

}  // namespace zeb
