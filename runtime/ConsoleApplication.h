#pragma once

// The console application and the system services around it: the runtime's start, run and exit
// steps, the registration of the one application object, the event pump, detaching, the
// executable's name, the system version query and the report of an unhandled exception.

#include <cstdint>
#include <exception>
#include <memory>
#include <vector>

#include "runtime/Exceptions.h"
#include "runtime/Text.h"

namespace zeb {

inline constexpr std::int32_t kUnhandledExceptionStatus = 1;

// Gives other cooperative work a turn. There is none in this program, so it returns at once.
inline void BackgroundTask() noexcept {}

// Hands the memory that the heap holds free back to the system, where the system allows it.
void ReturnFreeMemory();

class FolderItem {
 public:
  explicit FolderItem(String path) : path_(std::move(path)) {}
  // The last component of the path, without any folder part.
  String Name() const;

 private:
  String path_;
};

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
  // Goes on in a background process of its own; false if a step of detaching failed.
  virtual bool Daemonize();
  // The running executable, under the name it was started by; null when unknown.
  std::unique_ptr<FolderItem> ExecutableFile() const;

  // The Run event: the application's whole working life; its result is the exit status.
  virtual std::int32_t Event_Run(const std::vector<String>& arguments) = 0;
};

class SystemClass {
 public:
  // Answers a system query: "sysv" gives the system version as 0xMMmb. False when the query
  // fails or is unknown; `result` is then left as it was.
  bool Gestalt(const String& selector, std::int32_t& result);
};

// The single system object.
SystemClass* System() noexcept;

// The runtime's steps, in the order start-up calls them.
void RuntimeInit(int argc, const char* const* argv);
void RuntimeAllocatePluginEntrypointsTable(std::size_t entries);
// The registration owns `app` for the rest of the run.
void RuntimeRegisterConsoleAppObject(std::shared_ptr<ConsoleApplication> app, bool option);
// Raises the registered object's Run event and keeps its result as the exit status.
void RuntimeRun();
// Reports an exception that no code caught, by its class and message, and makes the exit status
// non-zero. Nothing here allocates, so that a memory shortage still ends as one.
void RuntimeUnhandledException(std::string_view className, std::string_view message) noexcept;
std::int32_t RuntimeExit();

// The registered application object, or null.
ConsoleApplication* getAppObject() noexcept;

namespace internal {

// Hands whatever was thrown to the runtime; a foreign exception goes as a RuntimeException.
void UnhandledException(const std::exception_ptr& thrown) noexcept;

}  // namespace internal

}  // namespace zeb
