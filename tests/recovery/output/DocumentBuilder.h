#pragma once

#include "recovery/PlaneReader.h"
#include "recovery/RecoveredDocument.h"

#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace talvek::recovery::output {

/// Numbers by chance, the same for the same seed.
class Chance
{
public:
    explicit Chance(unsigned seed) : m_engine(seed) {}
    /// From 0 to `end` - 1.
    std::int32_t below(std::int32_t end)
    {
        return static_cast<std::int32_t>(m_engine() % static_cast<unsigned>(end));
    }
    std::uint8_t byte() { return static_cast<std::uint8_t>(m_engine()); }
    bool oneIn(std::int32_t count) { return below(count) == 0; }
    /// Puts so many bytes of chance at places of chance.
    void damage(std::vector<std::uint8_t>& bytes, std::int32_t count);

private:
    std::mt19937 m_engine;
};

/// A folder of its own for a test, gone with it.
class TemporaryFolder
{
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const std::string& path() const { return m_path; }
    [[nodiscard]] std::string file(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

/// A recovered document made by hand, over a file that holds its planes raw.
class DocumentBuilder
{
public:
    explicit DocumentBuilder(const TemporaryFolder& folder);

    DocumentBuilder& size(int width, int height);
    DocumentBuilder& mode(ColorMode mode, int channels, int depth = 8);
    /// A layer over `bounds` with no channels yet.
    DocumentBuilder& layer(const std::string& name, Rectangle bounds);
    /// A raw channel of the layer added last; all rows whole.
    DocumentBuilder& channel(int id, const std::vector<std::uint8_t>& samples);
    /// A mask of the layer added last.
    DocumentBuilder& mask(int id, Rectangle bounds, const std::vector<std::uint8_t>& samples);
    DocumentBuilder& composite(const std::vector<std::vector<std::uint8_t>>& planes);
    DocumentBuilder& embedded(const std::string& name, const std::string& contents);
    /// Loses rows [from, to) of the plane added last.
    DocumentBuilder& loseRows(int from, int to);

    ByteRange store(std::span<const std::uint8_t> bytes);
    ByteRange store(std::string_view text);
    RecoveredDocument& document() { return m_document; }
    /// Writes the file. The document is complete then.
    RecoveredDocument build();

private:
    Plane plane(Rectangle bounds, const std::vector<std::uint8_t>& samples);

    RecoveredDocument m_document;
    Plane* m_last = nullptr;
    std::vector<std::uint8_t> m_bytes;
};

/// What a file holds; empty if it cannot be read.
std::vector<std::uint8_t> contentsOf(const std::string& path);
std::string textOf(const std::string& path);
void writeFile(const std::string& path, std::string_view contents);

/// Pixels of a PNG as raw samples in ImageMagick's eyes ("rgba", "gray", ...); empty where that
/// program is missing, which `hasImageMagick` tells.
bool hasImageMagick();
std::vector<std::uint8_t> pixelsOf(const std::string& png, const std::string& format, int depth,
                                   const TemporaryFolder& folder);

} // namespace talvek::recovery::output
