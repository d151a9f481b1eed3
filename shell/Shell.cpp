#include "shell/Shell.h"

#include <array>
#include <cstdio>

#include "runtime/ConsoleApplication.h"
#include "runtime/MemoryBlock.h"

namespace zeb::shell {

namespace {

constexpr std::int32_t kReadSize = 512;

// The stream's buffer, one item wide, so that glibc reads each item straight from the pipe
// without a heap page for the session (docs/performance.md, "The stream buffer"). Static, so that
// a stream left open by an exception never points at a dead buffer.
std::array<char, kReadSize> streamBuffer{};

// The stream handle lives only in its holder, as a pointer-wide integer.
// NOLINTNEXTLINE(performance-no-int-to-ptr): the integer is the handle, by design
FILE* StreamIn(const MemoryBlock& holder) { return reinterpret_cast<FILE*>(holder.Ptr(0)); }

std::int32_t ReadItem(const MemoryBlock& buffer, const MemoryBlock& holder) {
  const std::size_t items = Bind<decltype(::fread)>("fread")(
      buffer.Address(), static_cast<std::size_t>(buffer.Size()), 1, StreamIn(holder));
  return static_cast<std::int32_t>(items);
}

// The part of the item before its first empty line; all of it when there is none.
String ItemText(const MemoryBlock& buffer) {
  return NthField(buffer.StringValue(0, buffer.Size()), Chr(10) + Chr(10), 1);
}

void ReadUntilEnd(String& output, const MemoryBlock& holder) {
  while (Bind<decltype(::feof)>("feof")(StreamIn(holder)) == 0) {
    const MemoryBlock buffer(kReadSize);
    ReadItem(buffer, holder);
    output += ItemText(buffer);
    if (Bind<decltype(::ferror)>("ferror")(StreamIn(holder)) != 0) {
      return;  // a stream error also skips the read after the loop
    }
    BackgroundTask();
  }
  const MemoryBlock buffer(kReadSize);
  if (ReadItem(buffer, holder) == 0) {
    output += ItemText(buffer);
  }
}

}  // namespace

// The command is a copy of its own, so that Capture(text, text) still runs the command although
// the output is emptied first.
// cppcheck-suppress passedByValue
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void Capture(String& output, String command) {
  Replace(output, String());
  MemoryBlock holder(sizeof(FILE*));
  holder.Ptr(
      0, reinterpret_cast<std::intptr_t>(Bind<decltype(::popen)>("popen")(command.c_str(), "r")));
  // This test lets every handle through, the 0 of a failed popen included: a command that cannot
  // be started is deliberately not caught here.
  // cppcheck-suppress incorrectLogicOperator
  if (holder.Ptr(0) != 0 || holder.Ptr(0) != -1) {  // NOLINT(misc-redundant-expression)
    // Should it fail, the stream reads the same with a buffer of its own. A failed popen's 0 goes
    // on untouched.
    if (holder.Ptr(0) != 0) {
      static_cast<void>(
          std::setvbuf(StreamIn(holder), streamBuffer.data(), _IOFBF, streamBuffer.size()));
    }
    ReadUntilEnd(output, holder);
    Bind<decltype(::pclose)>("pclose")(StreamIn(holder));
  }
}

}  // namespace zeb::shell
