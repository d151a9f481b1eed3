// App::GetShell against a plain popen/fread/pclose loop over the same command, in one row: both
// rates and their ratio. The command cats a file of short lines (no empty line, so nothing is
// cut); a cached file keeps the producer fast, so the reader's own cost shows.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>

#include "app/App.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::size_t kItem = 512;

// Files of N bytes of 63 x's and a line feed each, removed when the program ends.
class OutputFiles {
 public:
  OutputFiles() {
    char pattern[] = "/tmp/zeb-bench-XXXXXX";
    directory_ = ::mkdtemp(pattern) != nullptr ? pattern : "";
  }
  OutputFiles(const OutputFiles&) = delete;
  OutputFiles& operator=(const OutputFiles&) = delete;
  OutputFiles(OutputFiles&&) = delete;
  OutputFiles& operator=(OutputFiles&&) = delete;
  ~OutputFiles() {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }

  std::string CommandFor(std::int64_t size) {
    const std::filesystem::path path = directory_ / std::to_string(size);
    if (files_.emplace(size, path).second) {
      std::ofstream out(path, std::ios::binary);
      std::string line(63, 'x');
      line += '\n';
      for (std::int64_t written = 0; written < size; written += 64) {
        out.write(line.data(),
                  static_cast<std::streamsize>(std::min<std::int64_t>(64, size - written)));
      }
    }
    return "cat " + path.string();
  }

 private:
  std::filesystem::path directory_;
  std::map<std::int64_t, std::filesystem::path> files_;
};

OutputFiles& Files() {
  static OutputFiles files;
  return files;
}

// The baseline: what a capture costs with nothing but the C library.
std::string PlainCapture(const std::string& command) {
  std::string output;
  FILE* const stream = ::popen(command.c_str(), "r");
  if (stream == nullptr) {
    return output;
  }
  char item[kItem];
  while (std::size_t got = std::fread(item, 1, sizeof item, stream)) {
    output.append(item, got);
  }
  ::pclose(stream);
  return output;
}

double Seconds(Clock::duration elapsed) { return std::chrono::duration<double>(elapsed).count(); }

void BM_Capture(benchmark::State& state) {
  const std::int64_t size = state.range(0);
  const std::string command = Files().CommandFor(size);
  const auto app = std::make_shared<class zeb::App>();
  const std::size_t expected = kItem * (static_cast<std::size_t>(size) / kItem + 2);
  Clock::duration inGetShell{};
  Clock::duration inPlain{};
  bool getShellFirst = true;
  for (auto _ : state) {
    zeb::String captured;
    std::string plain;
    const auto timeGetShell = [&] {
      const auto start = Clock::now();
      app->GetShell(captured, command);
      inGetShell += Clock::now() - start;
    };
    const auto timePlain = [&] {
      const auto start = Clock::now();
      plain = PlainCapture(command);
      inPlain += Clock::now() - start;
    };
    // Alternate the order, so that neither always runs on a warm cache.
    if (getShellFirst) {
      timeGetShell();
      timePlain();
    } else {
      timePlain();
      timeGetShell();
    }
    getShellFirst = !getShellFirst;
    if (captured.size() != expected || plain.size() != static_cast<std::size_t>(size)) {
      state.SkipWithError("unexpected capture size");
      break;
    }
  }
  const double bytes = static_cast<double>(size) * static_cast<double>(state.iterations());
  state.counters["GetShell_B/s"] = bytes / Seconds(inGetShell);
  state.counters["fread_B/s"] = bytes / Seconds(inPlain);
  state.counters["GetShell_us"] =
      1e6 * Seconds(inGetShell) / static_cast<double>(state.iterations());
  state.counters["fread_us"] = 1e6 * Seconds(inPlain) / static_cast<double>(state.iterations());
  state.counters["ratio"] = Seconds(inPlain) / Seconds(inGetShell);
}
BENCHMARK(BM_Capture)
    ->Arg(4 << 10)
    ->Arg(64 << 10)
    ->Arg(1 << 20)
    ->Arg(16 << 20)
    ->Unit(benchmark::kMillisecond)
    ->MinTime(1.0)
    ->UseRealTime();

}  // namespace
