#pragma once

#include <atomic>
#include <memory>

#include "runtime/ConsoleApplication.h"
#include "runtime/Text.h"

namespace zeb {

class MyApplication;

// The agent's application object. Its Run event is the agent's whole working life.
class App : public ConsoleApplication {
 public:
  std::int32_t Event_Run(const std::vector<String>& arguments) override;

  // Runs `command` through the shell and captures its standard output into `output`: in items
  // of 512 bytes, each cut at its first empty line, zero padding kept, and one more item of
  // zero bytes at the end. `output` is emptied first and sees every append at once.
  virtual void GetShell(String& output, String command);

  std::shared_ptr<MyApplication> mMyApplication;
  // Set in signal context to ask for a launch; cleared by the watch loop.
  std::atomic<bool> DoLaunch{false};
  static_assert(std::atomic<bool>::is_always_lock_free);
};

// The one registered App object, or null. Safe in signal context. Inside App's own members the
// class name hides this function: call it there as zeb::App().
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wshadow"  // the accessor is named after the class on purpose
class App* App() noexcept;
#pragma GCC diagnostic pop

}  // namespace zeb
