// One idle pass of the watch loop without its two waits: what the loop adds to the kernel's cost
// of two timed sleeps per pass.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <unistd.h>

#include <chrono>
#include <memory>

#include "app/App.h"
#include "runtime/Exceptions.h"
#include "runtime/Ticks.h"
#include "shell/BoundFunction.h"
#include "signals/MyApplication.h"

namespace {

constexpr std::int32_t kCheckIntervalTicks = 600;

// One pass as the watch loop makes it, with DoEvents(0) for the wait and without the pause.
struct IdlePass {
  IdlePass() { app->mMyApplication = std::make_shared<zeb::MyApplication>(); }

  void operator()(benchmark::State& state) const {
    zeb::ConsoleApplication& console = *app;
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

  std::shared_ptr<class zeb::App> app = std::make_shared<class zeb::App>();
  zeb::Tick lastCheck = zeb::Ticks();
};

void BM_IdlePass(benchmark::State& state) {
  const IdlePass pass;
  for (auto _ : state) {
    pass(state);
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

// The same binding as the idle pass meets it: after the pass's 100 ms pause and 10 ms wait, when
// caches and TLBs have gone cold. Against a bare dlsym after the same waits, and against timing
// nothing. 80 passes stay within the ten seconds before a check would be due.
template <typename Work>
void AfterWait(benchmark::State& state, Work work) {
  constexpr useconds_t kPause = 100000;
  constexpr useconds_t kPumpWait = 10000;
  for (auto _ : state) {
    ::usleep(kPause);
    ::usleep(kPumpWait);
    const auto start = std::chrono::steady_clock::now();
    work();
    const auto end = std::chrono::steady_clock::now();
    state.SetIterationTime(std::chrono::duration<double>(end - start).count());
  }
}

void BM_IdlePassAfterWait(benchmark::State& state) {
  const IdlePass pass;
  AfterWait(state, [&] { pass(state); });
}
BENCHMARK(BM_IdlePassAfterWait)->UseManualTime()->Iterations(80);

void BM_BindUsleepAfterWait(benchmark::State& state) {
  AfterWait(state, [] { benchmark::DoNotOptimize(zeb::Bind<decltype(::usleep)>("usleep")); });
}
BENCHMARK(BM_BindUsleepAfterWait)->UseManualTime()->Iterations(80);

void BM_DlsymAfterWait(benchmark::State& state) {
  const std::unique_ptr<void, int (*)(void*)> libc(::dlopen("libc.so.6", RTLD_LAZY), ::dlclose);
  AfterWait(state, [&libc] { benchmark::DoNotOptimize(::dlsym(libc.get(), "usleep")); });
}
BENCHMARK(BM_DlsymAfterWait)->UseManualTime()->Iterations(80);

void BM_NothingAfterWait(benchmark::State& state) {
  AfterWait(state, [] {});
}
BENCHMARK(BM_NothingAfterWait)->UseManualTime()->Iterations(80);

}  // namespace
