// Makes system calls and allocations of this process fail on purpose. Linked into a test program,
// it replaces the calls that access files, and operator new.
#pragma once

namespace tests {

enum class Call { ALLOCATE, OPEN, READ, WRITE, SYNC, CLOSE, RENAME, MAKE_FOLDER, LOCK, ANY };

enum class Effect {
  FAIL,         // with the error number
  FAIL_ALWAYS,  // so do all later calls of the kind
  HALF,         // reading and writing handle half of the bytes
  KILL,         // the process ends before the call, or after half of the bytes that it writes
};

/// The fault at the `at`-th call (from 1) of a kind.
struct Fault {
  Call call;
  int at;
  Effect effect;
  int error = 0;
};

/// Starts counting calls; the fault occurs at its call.
void arm(const Fault& fault);

/// How many files took the place of another since arm() although their content was not on the disk.
int renames_of_unsynced_files();

/// Stops counting; returns whether the fault occurred.
bool disarm();

}  // namespace tests
