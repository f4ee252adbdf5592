// The report: one HTML page on many structures, with all that it needs inside.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "structure_ingest/structure_ingest.hpp"

namespace outputs {

/// The files that a page is made of: page.html, page.css, page.js, 3Dmol-min.js and licences. See
/// cmake/embed.cmake.
std::string_view embedded_text(std::string_view file_name);

/// What the page says of one structure. Texts are bytes as they were found; the page makes them
/// harmless.
struct ReportedStructure {
  structure_ingest::IngestedStructure record{};
  std::string source{};       // the file that the user supplied
  std::string fingerprint{};  // of that file
  structure_ingest::Quantities quantities{};
  std::vector<structure_ingest::Finding> findings{};
  std::string copy{};       // the bytes of the canonical copy; empty when there is none
  std::string copy_name{};  // the name to save it under
  std::vector<std::pair<std::string, std::string>> more{};  // labels and texts
};

struct Report {
  std::string program{};  // what wrote it
  std::string title{};
  std::string remark{};  // a sentence for the top of the page, or empty
  std::vector<ReportedStructure> structures{};
};

/// The page as UTF-8 text. The same report gives the same bytes.
std::string report_page(const Report& report);

}  // namespace outputs
