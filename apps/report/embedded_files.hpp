// The files that a report is made of, compiled in: it needs no file at run time.
#pragma once

#include <string_view>

namespace apps {

extern const std::string_view PAGE_HTML;
extern const std::string_view PAGE_CSS;
extern const std::string_view PAGE_JS;
extern const std::string_view VIEWER_JS;        // 3Dmol.js
extern const std::string_view VIEWER_LICENCES;  // and those of what it bundles

}  // namespace apps
