// Python's lock, let go and taken again.
#pragma once

#include <Python.h>
#include <cxxabi.h>
#include <unistd.h>

namespace structure_ingest::python {

/// Calls `function`, which may wait for Python's lock. When the interpreter shuts down, Python ends
/// threads that wait for it by unwinding them, which ends the process at the first destructor or
/// `catch (...)` of C++: such a thread stays here instead, until the process ends.
template <typename Function>
decltype(auto) unless_python_ends(const Function& function) {
  try {
    return function();
  } catch (abi::__forced_unwind&) {
    for (;;) pause();
  }
}

/// Lets go of the lock while it lives.
class Unlocked {
 public:
  Unlocked() : thread_(PyEval_SaveThread()) {}
  ~Unlocked() {
    unless_python_ends([this] { PyEval_RestoreThread(thread_); });
  }
  Unlocked(const Unlocked&) = delete;
  Unlocked& operator=(const Unlocked&) = delete;

 private:
  PyThreadState* thread_;
};

}  // namespace structure_ingest::python
