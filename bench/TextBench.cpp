// CountFields and NthField over process listings of growing size: a flat cost per byte
// (bytes/s that do not fall with size) shows that both are linear.
#include <benchmark/benchmark.h>

#include <cstdint>

#include "runtime/Text.h"

namespace {

// A listing as /bin/ps -cx -o 'command' prints it, padded with lines until it has `size` bytes.
zeb::String Listing(std::int64_t size) {
  zeb::String listing = "COMMAND\nloginwindow\nDock\nSystemUIServer\nFinder\nzeb-agent\n";
  static const char* const kNames[] = {"mdworker", "Terminal", "bash", "cfprefsd", "Safari"};
  for (std::size_t i = 0; static_cast<std::int64_t>(listing.size()) < size; ++i) {
    listing += kNames[i % std::size(kNames)];
    listing += '\n';
  }
  listing.resize(static_cast<std::size_t>(size));
  return listing;
}

void SizeArguments(benchmark::internal::Benchmark* bench) {
  bench->Arg(1 << 10)->Arg(64 << 10)->Arg(1 << 20);
}

void BM_CountFields_Name(benchmark::State& state) {
  const zeb::String listing = Listing(state.range(0));
  for (auto _ : state) {
    benchmark::DoNotOptimize(zeb::CountFields(listing, "zeb-agent"));
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_CountFields_Name)->Apply(SizeArguments);

void BM_CountFields_SessionMark(benchmark::State& state) {
  const zeb::String listing = Listing(state.range(0));
  const zeb::String mark = zeb::Chr(10) + "loginwindow" + zeb::Chr(10);
  for (auto _ : state) {
    benchmark::DoNotOptimize(zeb::CountFields(listing, mark));
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_CountFields_SessionMark)->Apply(SizeArguments);

// The capture's cut of an item, over a whole listing: no empty line, so the search runs to the
// end and the field is the whole input.
void BM_NthField_NoEmptyLine(benchmark::State& state) {
  const zeb::String listing = Listing(state.range(0));
  const zeb::String separator = zeb::Chr(10) + zeb::Chr(10);
  for (auto _ : state) {
    benchmark::DoNotOptimize(zeb::NthField(listing, separator, 1));
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_NthField_NoEmptyLine)->Apply(SizeArguments);

// The last field, so that every delimiter before it is walked over.
void BM_NthField_LastLine(benchmark::State& state) {
  const zeb::String listing = Listing(state.range(0));
  const std::int32_t last = zeb::CountFields(listing, "\n");
  for (auto _ : state) {
    benchmark::DoNotOptimize(zeb::NthField(listing, "\n", last));
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_NthField_LastLine)->Apply(SizeArguments);

}  // namespace
