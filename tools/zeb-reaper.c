/* zeb-reaper SECONDS DIR COMMAND [ARG...]: PID 1 of a session that zeb-session makes. Runs
 * COMMAND, the starter, and as PID 1 adopts every process orphaned in the session; as each such
 * process ends it writes DIR/PID, "exit N TIME" or "signal NAME TIME" (TIME: seconds since the
 * epoch), whole. Returns when the starter ends, with its status, or after SECONDS (status 124);
 * the kernel then kills every process left in the session. */
#define _GNU_SOURCE
#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

static void OnChild(int sig) { (void)sig; }

static void Record(const char* folder, pid_t pid, int status) {
  char partial[4096];
  char path[4096];
  snprintf(partial, sizeof partial, "%s/.%d", folder, (int)pid);
  snprintf(path, sizeof path, "%s/%d", folder, (int)pid);
  struct timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  FILE* file = fopen(partial, "w");
  if (file == NULL) {
    return;
  }
  if (WIFEXITED(status)) {
    fprintf(file, "exit %d", WEXITSTATUS(status));
  } else {
    const char* name = sigabbrev_np(WTERMSIG(status));
    fprintf(file, "signal %s", name != NULL ? name : "unnamed");
  }
  fprintf(file, " %lld.%06ld\n", (long long)now.tv_sec, now.tv_nsec / 1000);
  /* Renamed only once written, so that a reader never sees half of it. */
  if (fclose(file) == 0) {
    rename(partial, path);
  }
}

/* Seconds left until the deadline on the monotonic clock, as a wait's time-out; zero when it
 * has passed. */
static struct timespec TimeLeft(const struct timespec* deadline) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  struct timespec left = {deadline->tv_sec - now.tv_sec, deadline->tv_nsec - now.tv_nsec};
  if (left.tv_nsec < 0) {
    left.tv_sec -= 1;
    left.tv_nsec += 1000000000L;
  }
  if (left.tv_sec < 0) {
    left.tv_sec = 0;
    left.tv_nsec = 0;
  }
  return left;
}

int main(int argc, char** argv) {
  if (argc < 4) {
    fputs("usage: zeb-reaper SECONDS DIR COMMAND [ARG...]\n", stderr);
    return 2;
  }
  struct timespec deadline;
  clock_gettime(CLOCK_MONOTONIC, &deadline);
  deadline.tv_sec += atoi(argv[1]);
  /* SIGCHLD is blocked and taken only by the wait below, which the time left bounds: the
   * deadline holds wherever the loop is when it passes, and a child that ends during a Record
   * leaves the signal pending. The handler keeps a blocked SIGCHLD from being discarded as an
   * ignored one may be; the starter gets the mask as it was. */
  struct sigaction child = {.sa_handler = OnChild};
  sigaction(SIGCHLD, &child, NULL);
  sigset_t children;
  sigset_t before;
  sigemptyset(&children);
  sigaddset(&children, SIGCHLD);
  sigprocmask(SIG_BLOCK, &children, &before);
  const pid_t starter = fork();
  if (starter < 0) {
    perror("zeb-reaper: fork");
    return 1;
  }
  if (starter == 0) {
    sigprocmask(SIG_SETMASK, &before, NULL);
    execvp(argv[3], argv + 3);
    fprintf(stderr, "zeb-reaper: %s: %s\n", argv[3], strerror(errno));
    _exit(127);
  }
  for (;;) {
    int status = 0;
    const pid_t pid = waitpid(-1, &status, WNOHANG);
    if (pid == starter) {
      return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    if (pid > 0) {
      Record(argv[2], pid, status);
    }
    const struct timespec left = TimeLeft(&deadline);
    if (left.tv_sec == 0 && left.tv_nsec == 0) {
      fprintf(stderr, "zeb-reaper: the deadline passed, %s s; every process ends\n", argv[1]);
      return 124;
    }
    if (pid <= 0) {
      sigtimedwait(&children, NULL, &left); /* until a child ends, or the time left runs out */
    }
  }
}
