/* The least a program with the agent's cadence can cost (docs/performance.md): a 10 ms wait, a
 * 100 ms pause (usleep; BIND_PAUSE_BY_NAME binds it by name in every pass, as the agent must), and
 * through popen the launch command on SIGUSR2 and the process listing every ten seconds. */
#define _DEFAULT_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

static volatile sig_atomic_t launchRequested;

/* SIGUSR1 only cuts a pause short: the kit sends it to give the programs new phases. */
static void OnSignal(int sig) { launchRequested |= sig == SIGUSR2; }

static double Seconds(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (double)now.tv_sec + (double)now.tv_nsec / 1e9;
}

/* Resumed across signals, as the agent's 10 ms pump is. */
static void Wait10Milliseconds(void) {
  struct timespec until;
  clock_gettime(CLOCK_MONOTONIC, &until);
  until.tv_nsec += 10 * 1000 * 1000;
  until.tv_sec += until.tv_nsec / (1000 * 1000 * 1000);
  until.tv_nsec %= 1000 * 1000 * 1000;
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, NULL) == EINTR) {
  }
}

static void Pause(void) {
#if defined(BIND_PAUSE_BY_NAME)
  void* library = dlopen("libc.so.6", RTLD_LAZY); /* on glibc both are there */
  int (*pause)(useconds_t) = NULL;
  *(void**)&pause = dlsym(library, "usleep");
  pause(100000);
  dlclose(library);
#else
  usleep(100000);
#endif
}

/* In items of 512 bytes through glibc's 4 kB buffer, into one buffer, as the agent's variable. */
static const char* Capture(const char* command) {
  static char output[64 * 1024];
  FILE* stream = popen(command, "r");
  size_t kept = 0;
  size_t got = 1;
  while (got > 0 && kept + 512 < sizeof output) {
    got = fread(output + kept, 1, 512, stream);
    kept += got;
  }
  pclose(stream);
  output[kept] = '\0';
  return output;
}

int main(void) {
  double lastCheck = Seconds();
  signal(SIGUSR1, OnSignal); /* BSD semantics in glibc: SA_RESTART, handler kept */
  signal(SIGUSR2, OnSignal);
  for (;;) {
    Wait10Milliseconds();
    Pause();
    if (launchRequested) {
      launchRequested = 0;
      Capture(
          "/usr/bin/open /Library/Application\\ Support/Brightloom\\ Utilities\\ "
          "Support/ZEB_Helper/ZEB_Messenger.app");
      Wait10Milliseconds();
    }
    if (Seconds() - lastCheck > 10.0) {
      if (strstr(Capture("/bin/ps -cx -o 'command'"), "\nloginwindow\n") == NULL) {
        return 0; /* the session is over */
      }
      lastCheck = Seconds();
    }
  }
}
