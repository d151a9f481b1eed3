#include "signals/MyApplication.h"

#include <csignal>

#include "app/App.h"

namespace zeb {

// Signal context: see SignalModule.h for what may run here.
void MyApplication::Event_SignalCaught(std::int32_t sig) noexcept {
  if (sig == SIGUSR2) {
    class App* const app = App();
    if (app == nullptr) {
      RaiseNilObjectExceptionInSignalContext();
    }
    app->DoLaunch = true;
  } else if (sig == SIGUSR1) {
    // Reserved: recognised and deliberately left without action.
  } else if (sig == SIGINT || sig == SIGTERM || sig == SIGQUIT) {
    quitRequested = true;
  }
}

}  // namespace zeb
