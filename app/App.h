#pragma once

#include <atomic>
#include <memory>

#include "runtime/ConsoleApplication.h"
#include "runtime/Text.h"

namespace zeb {

class MyApplication;

// The agent's application object. Its Run event (WatchLoop.cpp) is the agent's whole life.
class App : public ConsoleApplication {
 public:
  std::int32_t Event_Run(const std::vector<String>& arguments) override;

  // Runs `command` through the shell and captures its output into `output` (shell::Capture).
  virtual void GetShell(String& output, String command);

  std::shared_ptr<MyApplication> mMyApplication;
  // Set in signal context to ask for a launch; cleared by the watch loop.
  std::atomic<bool> DoLaunch{false};
  static_assert(std::atomic<bool>::is_always_lock_free);
};

// The one registered App object, or null: a plain load, safe in signal context, since the
// checked cast ran once when start-up registered the object. Inside App's own members the class
// name hides this function: call it there as zeb::App().
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wshadow"  // the accessor is named after the class on purpose
class App* App() noexcept;
#pragma GCC diagnostic pop

}  // namespace zeb
