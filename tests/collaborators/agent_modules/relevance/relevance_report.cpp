// Prints the relevance assessor's score on tables of cases: relevance_report [--missed] TABLE...
#include <iomanip>
#include <iostream>
#include <string>

#include "tests/collaborators/agent_modules/relevance/relevance_cases.hpp"

int main(int argc, char** argv) {
  bool missed = false;
  for (int i = 1; i < argc; ++i) {
    const std::string path = argv[i];
    if (path == "--missed") {
      missed = true;
      continue;
    }
    const auto cases = relevance_cases::read_cases(path);
    std::cout << path << "\n";
    for (const char* const discovery : {"attachment", "project_folder"}) {
      for (const bool together : {true, false}) {
        const auto score = relevance_cases::score_of(cases, discovery, together);
        std::cout << "  " << discovery << (together ? ", together" : ", alone") << std::fixed
                  << std::setprecision(3) << ": precision " << score.precision() << " ("
                  << score.wrongly_dropped << " of " << score.dropped << " wrong), recall "
                  << score.recall() << " (" << score.dropped - score.wrongly_dropped << " of "
                  << score.unwanted << "), " << score.pairs << " pairs\n";
        for (const std::string& line : score.wrong) std::cout << "    dropped  " << line << "\n";
        if (missed)
          for (const std::string& line : score.missed) std::cout << "    kept     " << line << "\n";
      }
    }
  }
  return 0;
}
