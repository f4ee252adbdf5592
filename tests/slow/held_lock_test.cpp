// The program while another process holds the lock that it needs.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "structure_ingest/base/durable.hpp"
#include "tests/scratch_folder.hpp"

namespace {

TEST(HeldLock, EndsTheProgramWithAMessage) {
  const tests::ScratchFolder w;
  const std::string state = w.write("state.json", "{}");
  const structure_ingest::internal::FolderLock lock(w.path());
  const std::string command = std::string(STRUCTURE_INGEST_PROGRAM) + " hydrate --state '" + state +
                              "' 2>'" + (w / "err") + "'";
  EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), 3);
  EXPECT_NE(tests::content_of(w / "err").find("waited 10000 ms for another program"),
            std::string::npos);
}

}  // namespace
