#include "tests/support/FakePlatform.h"

#include <unistd.h>

namespace zeb::test {

void* FakePlatform::LoadFunctionPointerFromLibrary(const String& function, const String& library) {
  ++lookups[function];
  if (missing.contains(function)) {
    return nullptr;
  }
  if (const auto found = replaced.find(function); found != replaced.end()) {
    return found->second;
  }
  return PosixPlatform::LoadFunctionPointerFromLibrary(function, library);
}

bool FakePlatform::QuerySystemVersion(std::int32_t& result) {
  if (version) {
    result = *version;
  }
  return version.has_value();
}

bool FakePlatform::Detach() {
  ++detachCalls;
  return detachResult;
}

void FakePlatform::WaitForEvents(std::int32_t milliseconds) {
  waits.push_back(milliseconds);
  if (onWait) {
    onWait();
  }
}

void FakePlatform::ReportUnhandledException(const RuntimeException& error) {
  reports.push_back(String(error.ClassName()) + ": " + error.Message());
}

namespace {

FakeLibrary theLibrary;

int FakeUsleep(useconds_t /*microseconds*/) noexcept {
  ++theLibrary.pauses;
  if (theLibrary.clock != nullptr) {
    *theLibrary.clock += theLibrary.ticksPerPause;
  }
  if (theLibrary.onPause) {
    theLibrary.onPause();
  }
  return 0;
}

// A real stream over the canned output, so the real stream functions can read it.
FILE* FakePopen(const char* command, const char* /*mode*/) noexcept {
  theLibrary.commands.emplace_back(command);
  if (theLibrary.onCommand) {
    theLibrary.onCommand(command);
  }
  FILE* const stream = std::tmpfile();
  const auto found = theLibrary.outputs.find(command);
  if (stream != nullptr && found != theLibrary.outputs.end()) {
    std::fwrite(found->second.data(), 1, found->second.size(), stream);
    std::rewind(stream);
  }
  return stream;
}

int FakeFeof(FILE* stream) noexcept {
  ++theLibrary.feofCalls;
  return std::feof(stream);
}

std::size_t FakeFread(void* buffer, std::size_t size, std::size_t count, FILE* stream) noexcept {
  ++theLibrary.freadCalls;
  return std::fread(buffer, size, count, stream);
}

int FakeFerror(FILE* stream) noexcept {
  ++theLibrary.ferrorCalls;
  if (theLibrary.ferrorAfterReads >= 0 && theLibrary.freadCalls >= theLibrary.ferrorAfterReads) {
    return 1;
  }
  return std::ferror(stream);
}

int FakePclose(FILE* stream) noexcept {
  ++theLibrary.pcloseCalls;
  return std::fclose(stream);
}

}  // namespace

FakeLibrary& TheFakeLibrary() { return theLibrary; }

FakeLibrary& FakeLibrary::InstallInto(FakePlatform& platform) {
  theLibrary = FakeLibrary{};
  theLibrary.clock = &platform.now;
  platform.replaced = {
      {"usleep", reinterpret_cast<void*>(&FakeUsleep)},
      {"popen", reinterpret_cast<void*>(&FakePopen)},
      {"feof", reinterpret_cast<void*>(&FakeFeof)},
      {"fread", reinterpret_cast<void*>(&FakeFread)},
      {"ferror", reinterpret_cast<void*>(&FakeFerror)},
      {"pclose", reinterpret_cast<void*>(&FakePclose)},
  };
  return theLibrary;
}

}  // namespace zeb::test
