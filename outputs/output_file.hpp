// The files that are written where the user says, and what they must not replace.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace outputs {

/// A file that may not be written, and why.
struct RefusedOutput : std::invalid_argument {
  explicit RefusedOutput(const std::string& reason, bool is_there = false)
      : std::invalid_argument(reason), exists(is_there) {}
  bool exists;  ///< whether that it exists is the only reason, so that it can be forced
};

/// The ending of an output file in lower case, one of `endings`. Throws RefusedOutput for another:
/// an output must not replace a structure file by mistake.
std::string ending_of_output(const std::string& path, const std::vector<std::string>& endings);

/// Throws RefusedOutput for an output whose ending promises anything but XYZ; one without an ending
/// promises nothing.
void require_xyz_name(const std::string& path);

/// Throws RefusedOutput unless one may write `output`. A file that it is made from, or that a
/// project holds or took in, is never replaced, by whatever link or spelling it is named; another
/// file that exists needs `force`, unless it is a page or a picture of ours.
void require_replaceable(const std::string& output, bool force,
                         const std::vector<std::string>& made_from);

/// The files that a project holds or took in: its state, its manifest, the copies, and the sources
/// that the state names. A state that cannot be read tells no sources.
std::vector<std::string> files_of_project(const std::string& project);

}  // namespace outputs
