#pragma once

// One harness for in-process runs: a fake platform, and whole runs of the agent against it in a
// child process (a run installs signal handlers and may end the process), told by a trace.
// Script: words. "P:X": X, a signal (USR2, ...), a tick count, "nomem" (every allocation fails
// from then on) or "closed" (standard error closes), happens as pass P starts (0: before the run;
// end: after it); "Pl:X", "Pc:X", "Pp:X", "Pd:X" during its launch, listing, pause or detaching.
// "version:V": the version query gives V (else it fails), "throws:": it throws, "path:P": the
// executable's path, "missing:F": F is not found by name; "held:": show what start-up holds and
// shutdown leaves. Trace: detach, launch@P, check@P, pclose, an unhandled exception's line, end@P
// status=S (RunAgent's), exit=N or killed=N as the process ended; "unreadable: W" for any other W.

#include <strings.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <map>
#include <regex>
#include <sstream>

#include "app/App.h"
#include "app/Startup.h"
#include "signals/SignalModule.h"

namespace zeb::test {

inline bool allocationsFail = false;  // see operator new in AgentTest.cpp

inline const std::string kLiveSession = "COMMAND\nloginwindow\nzeb-agent\n";

#if defined(__APPLE__)  // glibc's call, from the BSD table: its names are lower case (usr2)
inline const char* sigabbrev_np(int sig) { return sys_signame[sig]; }
#endif

inline std::regex ScriptWord() {  // signal names in either case
  std::string word = "([0-9]+[lcpd]?|end):(nomem|closed|-?[0-9]+";
  for (int sig = 1; sig < 32; ++sig) word.append("|").append(sigabbrev_np(sig));
  word += ")|version:-?(0x[0-9a-f]+|[0-9]+)|throws:|held:|path:.*|missing:.+";
  return std::regex(word, std::regex::icase);
}

// The clock, the version query, the executable's path and the loader are the test's; usleep,
// popen (serving `outputs`, running the rest), ferror and pclose are stand-ins; no detaching.
struct FakePlatform : Platform {
  static inline FakePlatform* fake = nullptr;  // for the stand-ins, which are plain C functions
  Tick now = 0;
  std::map<String, int> lookups;
  std::map<String, String> outputs;
  long errorFromByte = LONG_MAX;  // ferror fails once the stream has been read this far
  std::string listing;            // what every check gets
  std::multimap<std::string, std::string> events;  // "2c" -> "USR2", "path" -> "", see Run
  int pass = 0, pumps = 0;
  bool tracing = false, launchPump = false;  // the pump after a launch is the same pass's

  explicit FakePlatform(std::string ps = kLiveSession) : listing(std::move(ps)) { fake = this; }
  void Say(const std::string& text) const {
    if (tracing) WriteAll(STDOUT_FILENO, text);
  }
  const std::string* Setting(const std::string& key) const {
    return events.contains(key) ? &events.find(key)->second : nullptr;
  }
  void Happen(const std::string& when) {
    for (auto [at, to] = events.equal_range(when); at != to; ++at) {
      for (int sig = 1; sig < 32; ++sig)
        if (::strcasecmp(at->second.c_str(), sigabbrev_np(sig)) == 0) std::raise(sig);
      if (at->second == "closed") ::close(STDERR_FILENO);
      allocationsFail = allocationsFail || at->second == "nomem";
      if (at->second.find_first_not_of("-0123456789") == std::string::npos)
        now = std::stoi(at->second);
    }
  }

  static int Usleep(useconds_t microseconds) noexcept {
    fake->Say(microseconds == 100000 ? "" : "pause(" + std::to_string(microseconds) + ") ");
    fake->Happen(std::to_string(fake->pass) + "p");
    return 0;
  }
  static FILE* Popen(const char* command, const char* mode) noexcept {
    const bool check = std::string_view(command).starts_with("/bin/ps");
    if (fake->tracing) {  // a run: launches and checks go into the trace
      fake->Say((check ? "check@" : "launch@") + std::to_string(fake->pass) + " ");
      fake->outputs[command] = check ? fake->listing : "";
      fake->launchPump = !check;
      fake->Happen(std::to_string(fake->pass) + (check ? "c" : "l"));
    }
    if (!fake->outputs.contains(command)) return ::popen(command, mode);
    return ::fmemopen(fake->outputs[command].data(), fake->outputs[command].size(), mode);
  }
  static int Ferror(FILE* stream) noexcept {
    return std::ftell(stream) >= fake->errorFromByte ? 1 : std::ferror(stream);
  }
  static int Pclose(FILE* stream) noexcept {
    fake->Say("pclose ");
    return std::fclose(stream);
  }

  void* LoadFunctionPointerFromLibrary(const String& function, std::string_view library) override {
    ++lookups[function];
    const std::map<String, void*> standIns = {{"usleep", reinterpret_cast<void*>(&Usleep)},
                                              {"popen", reinterpret_cast<void*>(&Popen)},
                                              {"ferror", reinterpret_cast<void*>(&Ferror)},
                                              {"pclose", reinterpret_cast<void*>(&Pclose)}};
    return Setting("missing") != nullptr && *Setting("missing") == function ? nullptr
           : standIns.contains(function) && library == kSystemLibrary
               ? standIns.at(function)
               : Platform::LoadFunctionPointerFromLibrary(function, library);
  }
  // What start-up and shutdown leave: the registered App, file types, pText and myApp.
  std::string Held() const {
    std::string held = App() != nullptr && App() == getAppObject() ? "held[App" : "held[";
    for (const auto& type : RuntimeFileTypes())
      held += " " + type.name + "/" + type.macCreator + "/" + type.macType + "/" + type.extensions;
    return held + (FileTypes::pText ? " pText" : "") + (signal::myApp.Get() ? " myApp]" : "]");
  }
  bool QuerySystemVersion(std::int32_t& result) override {
    if (Setting("held") != nullptr) Say(Held() + " ");
    if (Setting("throws") != nullptr)
      throw std::runtime_error("query\nfailed" + std::string(300, '.'));
    result = Setting("version") != nullptr ? std::stoi(*Setting("version"), nullptr, 0) : result;
    return Setting("version") != nullptr;
  }
  bool Detach() override {
    Say("detach ");
    Happen(std::to_string(pass) + "d");
    return false;  // the loop must run on all the same
  }
  void WaitForEvents(std::int32_t milliseconds) override {
    Say(milliseconds == 10 ? "" : "pump(" + std::to_string(milliseconds) + ") ");
    if (++pumps > 60) std::raise(SIGKILL);  // a run that would go on for ever
    if (!std::exchange(launchPump, false)) Happen(std::to_string(++pass));
  }
  Tick Ticks() override { return now; }
  String ExecutablePath() override {
    return Setting("path") != nullptr ? *Setting("path") : "/usr/local/bin/zeb-agent";
  }

  std::string Run(const std::string& script) {
    std::istringstream tokens(script);
    const std::regex word = ScriptWord();
    for (std::string token; tokens >> token;) {
      if (!std::regex_match(token, word)) return "unreadable: " + token;
      events.emplace(token.substr(0, token.find(':')), token.substr(token.find(':') + 1));
    }
    FILE* const out = std::tmpfile();
    const pid_t child = ::fork();
    if (child == 0) {
      ::dup2(::fileno(out), STDOUT_FILENO);
      ::dup2(::fileno(out), STDERR_FILENO);
      const ScopedPlatform scoped(*this);
      tracing = true;
      Happen("0");
      const char* const arguments[] = {"zeb-agent"};
      const std::int32_t status = RunAgent(1, arguments);
      allocationsFail = false;
      Say("end@" + std::to_string(pass) + " status=" + std::to_string(status));
      if (Setting("held") != nullptr) Say(" " + Held());
      Happen("end");
      ::_exit(0);
    }
    int status = 0;
    for (int waits = 0; ::waitpid(child, &status, WNOHANG) == 0; ++waits) {
      if (waits == 10000) ::kill(child, SIGKILL);  // a run that hangs or stops: 10 s at most
      ::usleep(1000);
    }
    std::string trace(4096, '\0');
    std::rewind(out);
    trace.resize(std::fread(trace.data(), 1, trace.size(), out));
    std::fclose(out);
    return trace + (WIFSIGNALED(status)        ? " killed=" + std::to_string(WTERMSIG(status))
                    : WEXITSTATUS(status) != 0 ? " exit=" + std::to_string(WEXITSTATUS(status))
                                               : "");
  }
};

}  // namespace zeb::test
