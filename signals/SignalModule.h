#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "runtime/MemoryBlock.h"
#include "signals/SIGConsoleApplication.h"

namespace zeb::signal {

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

// Installs sigHandler for every number from 1 to 32. Numbers the system refuses are skipped
// without a word.
void CatchAllSignals();

// Installs the handler whose address `handler` holds; a null block raises NilObjectException.
void InstallHandler(std::int32_t sig, const MemoryBlock* handler);

void sigHandler(int sig) noexcept;

namespace internal {

// The exit routine of myApp: drops the registration; the handlers stay installed.
void myAppExit() noexcept;

}  // namespace internal

}  // namespace zeb::signal
