#pragma once

#include "runtime/Platform.h"

namespace zeb {

// The real platform. Fakes derive from it and replace only what a test needs.
class PosixPlatform : public Platform {
 public:
  void* LoadFunctionPointerFromLibrary(const String& function, const String& library) override;
  bool QuerySystemVersion(std::int32_t& version) override;
  bool Detach() override;
  void WaitForEvents(std::int32_t milliseconds) override;
  Tick Ticks() override;
  String ExecutablePath() override;
  void ReportUnhandledException(const RuntimeException& error) override;
};

}  // namespace zeb
