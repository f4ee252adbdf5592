// What came of many files, in a few lines.
#pragma once

#include <cstddef>
#include <map>
#include <span>
#include <string>

#include "structure_ingest/structure_ingest.hpp"

namespace apps {

class Summary {
 public:
  /// Adds a structure with the findings on it, of which each code counts once.
  void add(const structure_ingest::IngestedStructure& record,
           std::span<const structure_ingest::Finding> findings = {});

  /// Prints how many files were read, and how many of them failed, or have a warning or a finding,
  /// by its kind. Nothing for up to ten files: they can be seen at a glance.
  void print() const;

 private:
  std::size_t read_ = 0;
  std::size_t failed_ = 0;
  std::map<std::string, std::size_t> errors_;
  std::map<std::string, std::size_t> warnings_;
  std::map<std::string, std::size_t> findings_;  // by severity and code
};

}  // namespace apps
