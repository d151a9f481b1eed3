#pragma once

// The bridge from the operating system's signals to the program's objects: one handler for
// every number from 1 to 32, which hands the number to the one registered object.
//
// Everything reached from sigHandler runs in signal context, so it may only load, compare, make
// plain and virtual calls, store to lock-free atomics, write() and _exit(). It must not use
// dynamic_cast or typeid, allocate, lock, throw, touch stdio or a reference count, or be the
// first to use a function-local static.

#include <atomic>
#include <cstdint>
#include <memory>

#include "runtime/MemoryBlock.h"

namespace zeb {

// Something that is told about caught signals. Not a ConsoleApplication: the signal object and
// the application object are separate.
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

  // The SignalCaught event; a class that does not implement it does nothing with signals.
  virtual void Event_SignalCaught(std::int32_t /*sig*/) noexcept {}
};

// What a NilObjectException raised in signal context becomes: nothing may be thrown out of a
// signal handler, so it writes the unhandled-exception line and ends the process with the
// unhandled-exception status.
[[noreturn]] void RaiseNilObjectExceptionInSignalContext() noexcept;

namespace signal {

// The registered object. The owner is touched only outside signal context; the handler reads
// the plain pointer, which is cleared before the owner lets go, so it never dangles.
class ApplicationReference {
 public:
  constexpr ApplicationReference() noexcept = default;
  ApplicationReference(const ApplicationReference&) = delete;
  ApplicationReference& operator=(const ApplicationReference&) = delete;
  ApplicationReference(ApplicationReference&&) = delete;
  ApplicationReference& operator=(ApplicationReference&&) = delete;
  ~ApplicationReference() { Reset(nullptr); }

  void Reset(std::shared_ptr<SIGConsoleApplication> app) noexcept;
  SIGConsoleApplication* Get() const noexcept { return registered_.load(); }

 private:
  std::shared_ptr<SIGConsoleApplication> owner_;
  std::atomic<SIGConsoleApplication*> registered_{nullptr};
  static_assert(std::atomic<SIGConsoleApplication*>::is_always_lock_free);
};

extern ApplicationReference myApp;

// Registers `app` for every later signal; null clears the registration.
void SetApplication(std::shared_ptr<SIGConsoleApplication> app) noexcept;

// Installs sigHandler for every number from 1 to 32, to stay after each delivery, then unblocks
// every signal. Numbers the system refuses (SIGKILL, SIGSTOP, 32) are skipped without a word.
void CatchAllSignals();

// Installs the handler whose address `handler` holds; a null block raises NilObjectException.
void InstallHandler(std::int32_t sig, const MemoryBlock* handler);

// Hands `sig` to the registered object; with none registered, that is a NilObjectException.
void sigHandler(int sig) noexcept;

namespace internal {

// The exit routine of myApp: drops the registration; the handlers stay installed.
void myAppExit() noexcept;

}  // namespace internal

}  // namespace signal

}  // namespace zeb
