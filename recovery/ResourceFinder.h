#pragma once

#include "recovery/RecoveredDocument.h"
#include "recovery/SignatureIndex.h"
#include "recovery/SourceBytes.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace talvek::recovery {

/// The image resources of a document, found by their signatures and not by the section's length.
class ResourceFinder
{
public:
    /// More than documents have; what is behind them is left alone, and memory is bounded.
    static constexpr std::size_t kMost = 1U << 14U;

    ResourceFinder(SourceBytes& source, const SignatureIndex& index)
        : m_source(source), m_index(index)
    {}

    /// Looks between `from` and `to`. A block counts when its length leads to another one, or to
    /// `to`, or to a place where the section's own length says that it ends.
    void run(std::int64_t from, std::int64_t to);

    [[nodiscard]] const std::vector<Resource>& resources() const { return m_resources; }
    /// There were more than `kMost`.
    [[nodiscard]] bool isLimited() const { return m_isLimited; }
    [[nodiscard]] const Resource* find(std::uint16_t id) const;
    /// One follows the other, without a gap, from the section's stated beginning on.
    /// @param end  of the section, as stated; -1 if it cannot be
    [[nodiscard]] bool areWhole(std::int64_t start, std::int64_t end) const;
    /// Behind the last resource; -1 if there is none.
    [[nodiscard]] std::int64_t end() const;

private:
    std::optional<Resource> resourceAt(std::int64_t offset, std::int64_t limit);

    SourceBytes& m_source;
    const SignatureIndex& m_index;
    std::vector<Resource> m_resources;
    bool m_isLimited = false;
};

/// The thumbnail in its resource, if its own sizes agree.
std::optional<Thumbnail> thumbnailIn(SourceBytes& source, const Resource& resource);

/// The first of the picture's alpha channels is the layers' transparency. Its identifier is 0,
/// which no other channel has; programs that write no identifiers give it its name.
bool firstAlphaIsTransparency(SourceBytes& source, const ResourceFinder& resources);

/// How many layers the document had, by the resources that hold so many bytes a layer.
std::optional<std::int32_t> statedLayerCount(const ResourceFinder& resources);

} // namespace talvek::recovery
