#include "tests/Harness.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <sstream>

#include "app/App.h"
#include "app/Startup.h"
#include "signals/SignalModule.h"

namespace zeb::test {

namespace {

FakePlatform* fake = nullptr;  // where the C stand-ins keep their state
bool tracing = false;          // in a RunScript child, whose output is the trace

void Say(const std::string& text) {
  if (tracing) {
    static_cast<void>(::write(STDOUT_FILENO, text.data(), text.size()));
  }
}

int FakeUsleep(useconds_t microseconds) noexcept {
  if (microseconds != 100000) {
    Say("pause(" + std::to_string(microseconds) + ") ");
  }
  if (fake->onPause) {
    fake->onPause();
  }
  return 0;
}

FILE* FakePopen(const char* command, const char* mode) noexcept {
  if (fake->onCommand) {
    fake->onCommand(command);
  }
  const auto canned = fake->outputs.find(command);
  if (canned == fake->outputs.end()) {
    return ::popen(command, mode);
  }
  FILE* const stream = std::tmpfile();
  std::fwrite(canned->second.data(), 1, canned->second.size(), stream);
  std::rewind(stream);
  return stream;
}

int FakeFerror(FILE* stream) noexcept {
  return fake->errorFromByte >= 0 && std::ftell(stream) >= fake->errorFromByte
             ? 1
             : std::ferror(stream);
}

int FakePclose(FILE* stream) noexcept {
  Say("pclose ");
  return std::fclose(stream);
}

}  // namespace

FakePlatform::FakePlatform() { fake = this; }
FakePlatform::~FakePlatform() { fake = nullptr; }

void* FakePlatform::LoadFunctionPointerFromLibrary(const String& function,
                                                   std::string_view library) {
  ++lookups[function];
  const std::map<String, void*> standIns = {{"usleep", reinterpret_cast<void*>(&FakeUsleep)},
                                            {"popen", reinterpret_cast<void*>(&FakePopen)},
                                            {"ferror", reinterpret_cast<void*>(&FakeFerror)},
                                            {"pclose", reinterpret_cast<void*>(&FakePclose)}};
  if (missing.contains(function)) {
    return nullptr;
  }
  const auto standIn = standIns.find(function);
  return standIn != standIns.end() && library == kSystemLibrary
             ? standIn->second
             : Platform::LoadFunctionPointerFromLibrary(function, library);
}

bool FakePlatform::QuerySystemVersion(std::int32_t& result) {
  const bool startedUp =
      RuntimeFileTypes() == std::vector<FileTypeRecord>{{"text", "R*ch", "TEXT", ""}} &&
      App() != nullptr && App() == getAppObject();
  Say(startedUp ? "" : "bad-startup ");
  if (versionThrows) {
    throw std::runtime_error("query failed");
  }
  result = version.value_or(result);
  return version.has_value();
}

bool FakePlatform::Detach() {
  Say("detach ");
  return false;  // the loop must run on all the same
}

void FakePlatform::WaitForEvents(std::int32_t milliseconds) {
  if (onWait) {
    onWait(milliseconds);
  }
}

std::string RunInChild(const std::function<void()>& body) {
  int out[2];
  if (::pipe(out) != 0) {
    return "no pipe";
  }
  const pid_t child = ::fork();
  if (child == 0) {
    ::dup2(out[1], STDOUT_FILENO);
    ::dup2(out[1], STDERR_FILENO);
    body();
    ::_exit(0);
  }
  ::close(out[1]);
  std::string text;
  char buffer[512];
  for (ssize_t got; (got = ::read(out[0], buffer, sizeof buffer)) > 0;) {
    text.append(buffer, static_cast<std::size_t>(got));
  }
  ::close(out[0]);
  int status = 0;
  ::waitpid(child, &status, 0);
  if (WIFSIGNALED(status)) {
    return text + " killed=" + std::to_string(WTERMSIG(status));
  }
  return WEXITSTATUS(status) == 0 ? text : text + " exit=" + std::to_string(WEXITSTATUS(status));
}

namespace {

void Happen(FakePlatform& platform, const std::string& what) {
  static const std::map<std::string, int> kSignals = {{"HUP", SIGHUP},   {"INT", SIGINT},
                                                      {"QUIT", SIGQUIT}, {"USR1", SIGUSR1},
                                                      {"USR2", SIGUSR2}, {"TERM", SIGTERM}};
  if (what.starts_with("SIG")) {
    std::raise(std::stoi(what.substr(3)));
  } else if (kSignals.contains(what)) {
    std::raise(kSignals.at(what));
  } else {
    platform.now = std::stoi(what);
  }
}

}  // namespace

std::string RunScript(FakePlatform& platform, const std::string& script,
                      std::vector<std::string> listings) {
  std::multimap<std::string, std::string> events;  // "2c" -> "USR2"
  std::istringstream tokens(script);
  for (std::string token; tokens >> token;) {
    const auto colon = token.find(':');
    events.emplace(token.substr(0, colon), token.substr(colon + 1));
  }
  if (listings.empty()) {
    listings = {kLiveSession};
  }
  int pass = 0;
  std::size_t checks = 0;
  bool launchPump = false;
  const auto fire = [&](const std::string& when) {
    const auto [from, to] = events.equal_range(when == "end" ? when : std::to_string(pass) + when);
    for (auto event = from; event != to; ++event) {
      Happen(platform, event->second);
    }
  };
  platform.onWait = [&](std::int32_t milliseconds) {
    if (milliseconds != 10) {
      Say("pump(" + std::to_string(milliseconds) + ") ");
    }
    if (std::exchange(launchPump, false)) {
      return;  // the pump after a launch belongs to the same pass
    }
    if (++pass > 30) {
      Say("limit ");
      std::raise(SIGTERM);
    }
    fire("");
  };
  platform.onPause = [&] { fire("p"); };
  platform.onCommand = [&](const String& command) {
    const bool check = command.starts_with("/bin/ps");
    Say((check ? "check@" : "launch@") + std::to_string(pass) + " ");
    if (check) {
      platform.outputs[command] = listings[std::min(checks++, listings.size() - 1)];
    } else {
      platform.outputs.try_emplace(command);  // no real /usr/bin/open here
    }
    launchPump = !check;
    fire(check ? "c" : "l");
  };
  return RunInChild([&] {
    tracing = true;
    const char* const arguments[] = {"zeb-agent"};
    const ScopedPlatform scoped(platform);
    fire("");  // pass 0: the clock at the start
    const int status = RunAgent(1, arguments);
    const bool released =
        FileTypes::pText == nullptr && RuntimeFileTypes().empty() && signal::myApp.Get() == nullptr;
    Say("end@" + std::to_string(pass) + " status=" + std::to_string(status) +
        (released ? "" : " unreleased"));
    fire("end");
  });
}

}  // namespace zeb::test
