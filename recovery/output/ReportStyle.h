#pragma once

#include <string_view>

namespace talvek::recovery::output {

/// The style sheet of the report, for light and dark screens and for paper.
extern const std::string_view kReportStyle;

} // namespace talvek::recovery::output
