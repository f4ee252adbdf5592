// Runs a program and prints the most memory that it had, in kibibytes. What starts a process counts
// in that process's own figure, so that this must be a small program.
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

int main(int argc, char** argv) {
  pid_t process = 0;
  if (argc < 2 || posix_spawn(&process, argv[1], nullptr, nullptr, argv + 1, environ) != 0)
    return 2;
  int status = 0;
  struct rusage usage {};
  if (wait4(process, &status, 0, &usage) != process) return 2;
  std::fprintf(stderr, "%ld\n", usage.ru_maxrss);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
