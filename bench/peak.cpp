// Runs a program and prints its peak memory, in kibibytes. The system includes the memory of the
// starting process in that figure, so this program must be small.
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
