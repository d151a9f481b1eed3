#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "runtime/FolderItem.h"
#include "runtime/Text.h"

namespace zeb {

// Gives other cooperative work a turn. There is none in this program, so it returns at once.
inline void BackgroundTask() noexcept {}

class ConsoleApplication {
 public:
  ConsoleApplication() = default;
  ConsoleApplication(const ConsoleApplication&) = delete;
  ConsoleApplication& operator=(const ConsoleApplication&) = delete;
  ConsoleApplication(ConsoleApplication&&) = delete;
  ConsoleApplication& operator=(ConsoleApplication&&) = delete;
  virtual ~ConsoleApplication() = default;

  // Services pending work, then returns after about `milliseconds`.
  virtual void DoEvents(std::int32_t milliseconds);
  // Goes on in a background process of its own; false if it could not detach.
  virtual bool Daemonize();
  virtual void YieldToNextThread();

  // The running executable; null when its path cannot be found.
  std::unique_ptr<FolderItem> ExecutableFile() const;

  // The Run event: the application's whole working life. Its result is the exit status;
  // an application that does not handle it exits with 0.
  virtual std::int32_t Event_Run(const std::vector<String>& arguments);
};

}  // namespace zeb
