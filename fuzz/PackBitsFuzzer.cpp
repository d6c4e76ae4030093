// Many runs at once against the same runs one by one, on any bytes.

#include "engine/PackBits.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

using namespace talvek;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::span<const std::uint8_t> packed(data, size);
    for (const std::size_t opensBefore : {size, size / 2}) {
        std::vector<std::uint8_t> atOnce(mostPlainBytes(opensBefore));
        const PackBitsTotals totals = expandPackBitsRuns(packed, opensBefore, atOnce);
        std::vector<std::uint8_t> oneByOne;
        std::size_t taken = 0;
        while (taken < opensBefore) {
            const PackBitsRun run = packBitsRun(packed[taken]);
            std::vector<std::uint8_t> plain(run.plainBytes);
            expandPackBitsRun(run, packed.subspan(taken), plain);
            oneByOne.insert(oneByOne.end(), plain.begin(), plain.end());
            taken += run.packedBytes;
        }
        const bool isSame = totals.packedBytes == taken && totals.plainBytes == oneByOne.size() &&
                            std::equal(oneByOne.begin(), oneByOne.end(), atOnce.begin());
        if (!isSame) {
            std::abort();
        }
    }
    return 0;
}
