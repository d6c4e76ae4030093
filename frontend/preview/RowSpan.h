#pragma once

#include <cstdint>

namespace talvek {

/// Rows of a picture that follow each other, counted from 0 at its top.
struct RowSpan
{
    std::int32_t first = 0;
    std::int32_t count = 0;

    bool operator==(const RowSpan&) const = default;
};

} // namespace talvek
