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

namespace {

FakeLibrary theLibrary;

int FakeUsleep(useconds_t /*microseconds*/) noexcept {
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

int FakeFerror(FILE* stream) noexcept {
  const bool failing =
      theLibrary.errorFromByte >= 0 && std::ftell(stream) >= theLibrary.errorFromByte;
  return failing ? 1 : std::ferror(stream);
}

int FakePclose(FILE* stream) noexcept { return std::fclose(stream); }

}  // namespace

FakeLibrary& FakeLibrary::InstallInto(FakePlatform& platform) {
  theLibrary = FakeLibrary{};
  platform.replaced = {
      {"usleep", reinterpret_cast<void*>(&FakeUsleep)},
      {"popen", reinterpret_cast<void*>(&FakePopen)},
      {"ferror", reinterpret_cast<void*>(&FakeFerror)},
      {"pclose", reinterpret_cast<void*>(&FakePclose)},
  };
  return theLibrary;
}

}  // namespace zeb::test
