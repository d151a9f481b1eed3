// The platform for Linux and macOS. The macOS branches use only calls that Mac OS X 10.4 has,
// the last system on which the agent does its job (10.5 and later only ask for the version);
// the macOS build (cmake/macos) fails on any call that 10.4 lacks.

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <ctime>
#include <memory>
#include <optional>

#if defined(__APPLE__)
#include <mach/mach_time.h>
#include <sys/sysctl.h>
#else
#include <sys/auxv.h>
#endif

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "runtime/ConsoleApplication.h"
#include "runtime/Darwin.h"
#include "runtime/Platform.h"

namespace zeb {

namespace {

// Library -------------------------------------------------------------------------------------

#if defined(__APPLE__)
constexpr const char* kCLibrary = "/usr/lib/libSystem.B.dylib";
#else
constexpr const char* kCLibrary = "libc.so.6";
#endif

// A library reference that is given back however the scope is left.
class LibraryHandle {
 public:
  explicit LibraryHandle(const char* path) noexcept
      : handle_(::dlopen(path, RTLD_LAZY | RTLD_LOCAL)) {}
  LibraryHandle(const LibraryHandle&) = delete;
  LibraryHandle& operator=(const LibraryHandle&) = delete;
  LibraryHandle(LibraryHandle&&) = delete;
  LibraryHandle& operator=(LibraryHandle&&) = delete;
  ~LibraryHandle() {
    if (handle_ != nullptr) {
      ::dlclose(handle_);
    }
  }

  void* Symbol(const char* name) const noexcept {
    return handle_ == nullptr ? nullptr : ::dlsym(handle_, name);
  }

 private:
  void* handle_;
};

// Clock ---------------------------------------------------------------------------------------

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr std::int64_t kNanosecondsPerMillisecond = 1'000'000;

std::int64_t MonotonicNanoseconds() {
#if defined(__APPLE__)
  mach_timebase_info_data_t base{};
  ::mach_timebase_info(&base);
  return static_cast<std::int64_t>(
      darwin::Nanoseconds(::mach_absolute_time(), base.numer, base.denom));
#else
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::int64_t>(now.tv_sec) * kNanosecondsPerSecond + now.tv_nsec;
#endif
}

timespec ToTimespec(std::int64_t nanoseconds) {
  timespec time{};
  time.tv_sec = static_cast<time_t>(nanoseconds / kNanosecondsPerSecond);
  time.tv_nsec = static_cast<long>(nanoseconds % kNanosecondsPerSecond);
  return time;
}

// Detaching -----------------------------------------------------------------------------------

// The folder that lists the process's open descriptors.
#if defined(__APPLE__)
constexpr const char* kOpenDescriptors = "/dev/fd";
#else
constexpr const char* kOpenDescriptors = "/proc/self/fd";
#endif

struct FolderCloser {
  void operator()(DIR* folder) const noexcept { ::closedir(folder); }
};

// One past the highest descriptor open, from the system's list of them; without the list, the
// hard limit (at most 2^20). One opened before its limit was lowered lies above every limit.
rlim_t DescriptorsEnd() noexcept {
  const std::unique_ptr<DIR, FolderCloser> folder(::opendir(kOpenDescriptors));
  if (folder == nullptr) {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    return std::min<rlim_t>(limit.rlim_max, rlim_t{1} << 20U);
  }
  rlim_t end = 0;
  // NOLINTNEXTLINE(concurrency-mt-unsafe): one thread, so readdir's state is the agent's alone
  while (const dirent* const entry = ::readdir(folder.get())) {  // cppcheck-suppress readdirCalled
    const std::string_view name(static_cast<const char*>(entry->d_name));
    rlim_t descriptor = 0;
    std::from_chars(name.data(), name.data() + name.size(), descriptor);  // "." and ".." stay 0
    end = std::max(end, descriptor + 1);
  }
  return end;
}

// Descriptors inherited from the starter would keep its pipes and files open for the session.
void CloseInheritedDescriptors() noexcept {
#if defined(__linux__)
  if (::close_range(STDERR_FILENO + 1, ~0U, 0) == 0) {
    return;
  }
#endif
  const rlim_t end = DescriptorsEnd();  // the list's own descriptor is closed by then
  for (rlim_t descriptor = STDERR_FILENO + 1; descriptor < end; ++descriptor) {
    ::close(static_cast<int>(descriptor));
  }
}

// Streams the starter left closed come back as 0, 1 or 2 from open() and stay: not
// close-on-exec, so that every command the agent runs has all three open too.
void StandardStreamsToNull() {
  const int null = ::open("/dev/null", O_RDWR);
  if (null < 0) {
    return;
  }
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (null != stream) {
      ::dup2(null, stream);
    }
  }
  if (null > STDERR_FILENO) {
    ::close(null);
  }
}

// The starter ends as "true", not under the agent's name: a caller that never reaps it keeps
// its zombie in the process listing, where the agent's name would pass for a second copy. Where
// there is no such program it ends as it is. _exit, so that nothing buffered is flushed twice.
[[noreturn]] void EndStarter() noexcept {
  CloseInheritedDescriptors();  // a full table would leave true no room to load its libraries
  std::array<char, sizeof "true"> name{"true"};
  std::array<char*, 2> arguments{name.data(), nullptr};
  std::array<char*, 1> environment{nullptr};
  ::execve("/usr/bin/true", arguments.data(), environment.data());
  ::_exit(0);
}

#if defined(__APPLE__)
// Own name ------------------------------------------------------------------------------------

// The agent's own KERN_PROCARGS2 buffer, as long as the system fills it; empty if it will not.
String OwnProcessArguments() {
  int argumentsMax = 0;
  std::size_t size = sizeof argumentsMax;
  std::array<int, 2> maxName{CTL_KERN, KERN_ARGMAX};
  if (::sysctl(maxName.data(), maxName.size(), &argumentsMax, &size, nullptr, 0) != 0 ||
      argumentsMax <= 0) {
    return {};
  }
  String arguments(static_cast<std::size_t>(argumentsMax), '\0');
  size = arguments.size();
  std::array<int, 3> argumentsName{CTL_KERN, KERN_PROCARGS2, ::getpid()};
  if (::sysctl(argumentsName.data(), argumentsName.size(), arguments.data(), &size, nullptr, 0) !=
      0) {
    return {};
  }
  arguments.resize(size);
  return arguments;
}
#endif

}  // namespace

// NOLINTBEGIN(readability-convert-member-functions-to-static): the seam's members are virtual

void* Platform::LoadFunctionPointerFromLibrary(const String& function, std::string_view library) {
  if (library != kSystemLibrary) {
    return nullptr;
  }
  // The C library is linked into the process, so closing this reference never unloads it and
  // the address stays good after the handle is given back.
  const LibraryHandle cLibrary(kCLibrary);
  return cLibrary.Symbol(function.c_str());
}

bool Platform::QuerySystemVersion([[maybe_unused]] std::int32_t& version) {
#if defined(__APPLE__)
  std::array<char, 32> release{};
  std::size_t size = release.size();
  if (::sysctlbyname("kern.osrelease", release.data(), &size, nullptr, 0) != 0) {
    return false;
  }
  const std::optional<std::int32_t> read = darwin::SystemVersion(release.data());
  if (read) {
    version = *read;
  }
  return read.has_value();
#else
  return false;
#endif
}

bool Platform::Detach() {
  const pid_t child = ::fork();
  if (child < 0) {
    return false;
  }
  if (child > 0) {
    EndStarter();
  }
  // A new session has no controlling terminal, and the child of a fork never leads a group.
  const bool detached = ::setsid() >= 0 && ::chdir("/") == 0;
  CloseInheritedDescriptors();
  StandardStreamsToNull();
  // The width of a terminal the agent no longer has would cut the names in its process listing.
  ::unsetenv("COLUMNS");  // NOLINT(concurrency-mt-unsafe): the agent has one thread
  return detached;
}

// Waits until a fixed deadline, so that signals arriving meanwhile only resume the wait and a
// burst of them cannot turn the loop into a spin.
void Platform::WaitForEvents(std::int32_t milliseconds) {
  if (milliseconds <= 0) {
    return;
  }
  const std::int64_t deadline = MonotonicNanoseconds() + milliseconds * kNanosecondsPerMillisecond;
#if defined(__APPLE__)
  for (std::int64_t left = deadline - MonotonicNanoseconds(); left > 0;
       left = deadline - MonotonicNanoseconds()) {
    const timespec pause = ToTimespec(left);
    ::nanosleep(&pause, nullptr);
  }
#else
  const timespec until = ToTimespec(deadline);
  while (::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
  }
#endif
}

Tick Platform::Ticks() {
  const std::int64_t ticks = MonotonicNanoseconds() / (kNanosecondsPerSecond / kTicksPerSecond);
  return static_cast<Tick>(static_cast<std::uint32_t>(ticks));  // the low 32 bits: it wraps
}

// Taken from where the system's ps -c takes the name it lists, so that the agent finds its own
// line: on Linux the path given to exec (a symbolic link keeps its own name, and a file replaced
// while the agent runs changes nothing), on macOS argv[0], which a launcher may set to anything.
String Platform::ExecutablePath() {
#if defined(__APPLE__)
  return darwin::FirstArgument(OwnProcessArguments());
#else
  // NOLINTNEXTLINE(performance-no-int-to-ptr): getauxval hands the address over as an integer
  const auto* const path = reinterpret_cast<const char*>(::getauxval(AT_EXECFN));
  return path == nullptr ? String() : String(path);
#endif
}

// glibc keeps freed heap pages, which a long listing would leave dirty for the whole session
// (docs/performance.md, "Memory").
void Platform::ReturnFreeMemory() {
#if defined(__GLIBC__)
  ::malloc_trim(0);
#endif
}

void Platform::ReportUnhandledException(std::string_view className,
                                        std::string_view message) noexcept {
  WriteUnhandledExceptionLine(STDERR_FILENO, className, message);
}

// NOLINTEND(readability-convert-member-functions-to-static)

namespace {

Platform thePosixPlatform;
Platform* current = &thePosixPlatform;

}  // namespace

Platform& CurrentPlatform() noexcept { return *current; }

void WriteAll(int descriptor, std::string_view text) noexcept {
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t written = ::write(descriptor, &text[done], text.size() - done);
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written <= 0) {
      return;
    }
    done += static_cast<std::size_t>(written);
  }
}

void WriteUnhandledExceptionLine(int descriptor, std::string_view className,
                                 std::string_view message) noexcept {
  std::array<char, 256> line{};
  char* end = line.data();
  const auto put = [&](std::string_view text) {
    for (const char character : text) {
      if (end == &line.back()) {  // the last place is the line feed's
        WriteAll(descriptor, std::string_view(line.data(), end));
        end = line.data();
      }
      *end = character == '\n' ? ' ' : character;
      ++end;
    }
  };
  put("Unhandled ");
  put(className);
  if (!message.empty()) {
    put(": ");
    put(message);
  }
  *end = '\n';
  WriteAll(descriptor, std::string_view(line.data(), end + 1));
}

ScopedPlatform::ScopedPlatform(Platform& platform) noexcept : previous_(current) {
  current = &platform;
}

ScopedPlatform::~ScopedPlatform() { current = previous_; }

}  // namespace zeb
