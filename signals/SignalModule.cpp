#include "signals/SignalModule.h"

#include <csignal>

#include "runtime/ConsoleApplication.h"
#include "runtime/Exceptions.h"
#include "runtime/SignalContextFailure.h"

namespace zeb::signal {

namespace {

constexpr std::int32_t kFirstSignal = 1;
constexpr std::int32_t kLastSignal = 32;

}  // namespace

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
  for (std::int32_t sig = kFirstSignal; sig <= kLastSignal; ++sig) {
    const MemoryBlock handler = MemoryBlock::FromAddress(reinterpret_cast<void*>(&sigHandler));
    InstallHandler(sig, &handler);
    BackgroundTask();
  }
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
  // Timed sleeps still end early on a signal, which keeps the loop quick to answer.
  action.sa_flags = SA_RESTART;
  // The system refuses some numbers (SIGKILL, SIGSTOP, numbers it does not have): left unseen.
  static_cast<void>(::sigaction(sig, &action, nullptr));
}

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

}  // namespace zeb::signal
