#include "apps/jobs.hpp"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <system_error>
#include <thread>

#include "apps/outcome.hpp"

namespace apps {

void add_jobs_option(CLI::App& command, std::string& jobs) {
  command
      .add_option("--jobs", jobs,
                  "How many CIF and VASP files are read at once; by default one a core")
      ->type_name("N");
}

int processes_for(const std::string& jobs) {
  if (jobs.empty()) return std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
  int processes = 0;
  const char* const end = jobs.data() + jobs.size();
  const auto [stop, error] = std::from_chars(jobs.data(), end, processes);
  if (error != std::errc() || stop != end || processes < 1) {
    throw WrongInput("--jobs: " + jobs + " is not a number from 1 on");
  }
  return processes;
}

}  // namespace apps
