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

static void OnDeadline(int sig) { (void)sig; }

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

int main(int argc, char** argv) {
  if (argc < 4) {
    fputs("usage: zeb-reaper SECONDS DIR COMMAND [ARG...]\n", stderr);
    return 2;
  }
  const pid_t starter = fork();
  if (starter < 0) {
    perror("zeb-reaper: fork");
    return 1;
  }
  if (starter == 0) {
    execvp(argv[3], argv + 3);
    fprintf(stderr, "zeb-reaper: %s: %s\n", argv[3], strerror(errno));
    _exit(127);
  }
  /* No SA_RESTART: the alarm cuts the wait short. */
  struct sigaction deadline = {.sa_handler = OnDeadline};
  sigaction(SIGALRM, &deadline, NULL);
  alarm((unsigned)atoi(argv[1]));
  for (;;) {
    int status = 0;
    const pid_t pid = waitpid(-1, &status, 0);
    if (pid == starter) {
      return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    if (pid > 0) {
      Record(argv[2], pid, status);
    } else {
      fprintf(stderr, "zeb-reaper: the deadline passed, %s s; every process ends\n", argv[1]);
      return 124;
    }
  }
}
