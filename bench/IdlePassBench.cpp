// One idle pass of the watch loop without its two waits: what the loop adds to the kernel's cost
// of two timed sleeps per pass.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <memory>

#include "app/App.h"
#include "runtime/Exceptions.h"
#include "runtime/Ticks.h"
#include "shell/BoundFunction.h"
#include "signals/MyApplication.h"

namespace {

constexpr std::int32_t kCheckIntervalTicks = 600;

void BM_IdlePass(benchmark::State& state) {
  const auto app = std::make_shared<class zeb::App>();
  app->mMyApplication = std::make_shared<zeb::MyApplication>();
  zeb::ConsoleApplication& console = *app;
  const zeb::Tick lastCheck = zeb::Ticks();
  for (auto _ : state) {
    console.DoEvents(0);
    benchmark::DoNotOptimize(zeb::Bind<decltype(::usleep)>("usleep"));
    if (app->DoLaunch.exchange(false)) {
      state.SkipWithError("no launch is asked for");
    }
    if (zeb::TickDifference(zeb::Ticks(), lastCheck) > kCheckIntervalTicks) {
      state.SkipWithError("the check is not due within a benchmark");
    }
    zeb::BackgroundTask();
    if (zeb::NilChecked(app->mMyApplication)->Idle()) {
      state.SkipWithError("no quit is asked for");
    }
  }
}
BENCHMARK(BM_IdlePass);

// Its parts, to see where the time goes.
void BM_BindUsleep(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(zeb::Bind<decltype(::usleep)>("usleep"));
  }
}
BENCHMARK(BM_BindUsleep);

void BM_Ticks(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(zeb::Ticks());
  }
}
BENCHMARK(BM_Ticks);

void BM_DoEventsZero(benchmark::State& state) {
  const auto app = std::make_shared<class zeb::App>();
  zeb::ConsoleApplication& console = *app;
  for (auto _ : state) {
    console.DoEvents(0);
  }
}
BENCHMARK(BM_DoEventsZero);

}  // namespace
