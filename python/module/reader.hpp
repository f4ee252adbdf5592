// Readers that keep the process which runs ASE.
#pragma once

#include <pybind11/pybind11.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>

#include "python/module/errors.hpp"
#include "python/module/python_lock.hpp"
#include "structure_ingest/readers/dispatch.hpp"

namespace structure_ingest::python {

namespace py = pybind11;

/// A parser whose CIF and VASP files are read by a worker, `sys.executable` first, or in this
/// process. The worker's answers are kept if `cache`.
StructureParser new_parser(bool in_process, bool cache = true);

/// A CIF or VASP file, read as the parsers of the functions that are given no reader have it read.
IngestedStructure parse_with_ase(const std::string& path, const std::string& format);

/// Where the functions that are given no reader have CIF and VASP files read.
extern std::atomic<bool> in_process_by_default;

/// A parser that is kept. Threads wait for each other; after a fork the child has a parser of its
/// own, and leaves the parent's worker alone.
class Reader {
 public:
  Reader(bool in_process, bool cache) : in_process_(in_process), cache_(cache) {}
  ~Reader() { close(); }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  /// Calls `function` with the parser, and without Python's lock.
  template <typename Function>
  auto use(const Function& function) {
    const std::shared_ptr<Kept> held = kept_here();
    Kept& kept = *held;
    const Unlocked unlocked;
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
    Kept(bool in_process, bool cache) : parser(new_parser(in_process, cache)) {}
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

  const bool in_process_;
  const bool cache_;
  bool is_closed_ = false;
  std::shared_ptr<Kept> kept_;
};

/// The parser of the functions that are given no reader. One is kept from call to call, for which
/// a worker need not be started again; a call while another one has it gets its own. So does one
/// after anything changed that a worker depends on: the interpreter, the environment variables, or
/// the process, in a fork. Python's lock is held at the beginning and the end.
class SharedParser {
 public:
  SharedParser();
  ~SharedParser();
  SharedParser(const SharedParser&) = delete;
  SharedParser& operator=(const SharedParser&) = delete;

  StructureParser& parser() { return *parser_; }

  /// Ends the worker of the one that is kept. For the end of the interpreter.
  static void drop_kept();

 private:
  std::string circumstances_;
  std::unique_ptr<StructureParser> parser_;
};

/// Calls `function` with the parser of `reader`, or the shared one where that is None; without
/// Python's lock.
template <typename Function>
auto with_parser(Reader* reader, const Function& function) {
  if (reader != nullptr) return reader->use(function);
  SharedParser shared;
  const Unlocked unlocked;
  return function(shared.parser());
}

/// Reads and checks one file and returns a new dict of JSON values, what a table of very many files
/// says of one: the fingerprint, the record but for its path, quantities derived from it, the
/// findings, and the digest of the canonical text (None unless the record is ok). A number that is
/// not finite is None. The space group is searched for if `symmetry`; the lists of the atoms are
/// part of it if `atoms`. `begins_batch` has the companion of a folder read again.
py::dict bulk_row(Reader& reader, const py::handle& path, bool begins_batch, bool symmetry,
                  bool atoms);

}  // namespace structure_ingest::python
