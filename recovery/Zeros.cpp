#include "recovery/Zeros.h"

#include <algorithm>

namespace talvek::recovery {

bool holdsZeros(SourceBytes& source, std::int64_t from, std::int64_t to, std::int64_t least)
{
    std::int64_t zeros = 0;
    for (std::int64_t at = from; at < to;) {
        const auto view = source.at(at, static_cast<std::size_t>(std::min<std::int64_t>(
                                            to - at, std::int64_t{SourceBytes::kMostView})));
        if (view.empty()) {
            return false;
        }
        for (const std::uint8_t byte : view) {
            zeros = byte == 0 ? zeros + 1 : 0;
            if (zeros >= least) {
                return true;
            }
        }
        at += static_cast<std::int64_t>(view.size());
    }
    return false;
}

} // namespace talvek::recovery
