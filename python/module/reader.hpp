// Readers that keep the process which runs ASE.
#pragma once

#include <pybind11/pybind11.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

#include "python/module/errors.hpp"
#include "structure_ingest/readers/dispatch.hpp"

namespace structure_ingest::python {

namespace py = pybind11;

/// A parser whose CIF and VASP files are read by a worker, `sys.executable` first, or in this
/// process.
StructureParser new_parser(bool in_process);

/// A CIF or VASP file, read as the parsers of the functions that are given no reader have it read.
IngestedStructure parse_with_ase(const std::string& path, const std::string& format);

/// Where the functions that are given no reader have CIF and VASP files read.
bool is_in_process_by_default();
void set_in_process_by_default(bool in_process);

/// A parser that is kept. Threads wait for each other; after a fork the child has a parser of its
/// own, and leaves the parent's worker alone.
class Reader {
 public:
  explicit Reader(bool in_process) : in_process_(in_process) {}
  ~Reader() { close(); }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  /// Calls `function` with the parser, and without Python's lock.
  template <typename Function>
  auto use(const Function& function) {
    const std::shared_ptr<Kept> held = kept_here();
    Kept& kept = *held;
    const py::gil_scoped_release unlocked;
    if (kept.user == std::this_thread::get_id()) {
      throw std::runtime_error("a reader cannot be used by what it calls while it reads");
    }
    const std::lock_guard lock(kept.mutex);
    const User user(kept);
    return function(kept.parser);
  }

  /// Ends the worker. The reader cannot be used any more.
  void close();
  bool is_closed() const { return is_closed_; }

 private:
  struct Kept {
    explicit Kept(bool in_process) : parser(new_parser(in_process)) {}
    StructureParser parser;
    std::mutex mutex;
    std::atomic<std::thread::id> user{};
    pid_t process = getpid();
  };
  struct User {
    explicit User(Kept& used) : kept(used) { kept.user = std::this_thread::get_id(); }
    ~User() { kept.user = std::thread::id(); }
    User(const User&) = delete;
    User& operator=(const User&) = delete;
    Kept& kept;
  };
  std::shared_ptr<Kept> kept_here();

  /// In a fork: forgets the parser of the parent.
  void leave_to_parent();

  bool in_process_;
  bool is_closed_ = false;
  std::shared_ptr<Kept> kept_;
};

/// Calls `function` with the parser of `reader`, or one of its own where that is None; without
/// Python's lock.
template <typename Function>
auto with_parser(Reader* reader, const Function& function) {
  if (reader != nullptr) return reader->use(function);
  std::optional<StructureParser> parser(new_parser(is_in_process_by_default()));
  const py::gil_scoped_release unlocked;
  auto result = function(*parser);
  parser.reset();  // waits for the end of its worker
  return result;
}

}  // namespace structure_ingest::python
