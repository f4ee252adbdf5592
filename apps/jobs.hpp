// How many CIF and VASP files are read at once.
#pragma once

#include <string>

namespace CLI {
class App;
}  // namespace CLI

namespace apps {

/// Declares --jobs; `jobs` stays empty without it.
void add_jobs_option(CLI::App& command, std::string& jobs);

/// How many processes may run ASE: what --jobs says, by default one for each core. Throws
/// WrongInput for what is no number from 1 on.
int processes_for(const std::string& jobs);

}  // namespace apps
