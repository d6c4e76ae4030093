#pragma once

#include "recovery/RecoveredDocument.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace talvek::recovery::output {

/// Colours from a document's profile into sRGB, with Little CMS. One thread at a time.
class ProfileTransform
{
public:
    /// @param profile  ICC bytes, perhaps damaged; empty: none
    /// @param mode     RGB, CMYK, gray or Lab
    /// @param depth    bits a sample, 8 or 16, before and after
    /// @param isLight  the samples were amounts of light and have been encoded with sRGB's curve,
    ///                 so that of the profile only the primaries count
    ProfileTransform(std::span<const std::uint8_t> profile, ColorMode mode, int depth,
                     bool isLight);
    ~ProfileTransform();
    ProfileTransform(const ProfileTransform&) = delete;
    ProfileTransform& operator=(const ProfileTransform&) = delete;

    /// The profile could be read and is of this mode.
    [[nodiscard]] bool usesProfile() const { return m_usesProfile; }
    /// False where samples are results as they are, or there is no way but a fixed formula.
    [[nodiscard]] bool isNeeded() const { return m_transform != nullptr; }

    /// @param samples  native numbers, plane by plane, each `stride` samples behind the last
    /// @param rgba     receives three of every four samples; the fourth stays
    /// Requires: isNeeded(), and samples of the depth given.
    void run(const void* samples, std::size_t stride, std::size_t columns, void* rgba);

private:
    struct Library;

    void make(std::uint32_t flags, std::uint32_t inFormat);
    [[nodiscard]] bool changesNothing(ColorMode mode);

    std::unique_ptr<Library> m_library;
    void* m_transform = nullptr;
    std::size_t m_sampleBytes;
    bool m_usesProfile = false;
};

} // namespace talvek::recovery::output
