#pragma once

#include "frontend/preview/PictureSource.h"
#include "frontend/preview/PsdLayout.h"

#include <QImage>
#include <QTemporaryDir>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace talvek::testing {

using Bytes = std::vector<std::uint8_t>;

/// A flat document in the making, its planes filled with a picture that differs from pixel to
/// pixel and from channel to channel.
class TestDocument
{
public:
    TestDocument& mode(ColourMode mode);
    TestDocument& depth(int bits);
    /// As the header declares; the planes that are held are as many unless `planes` says otherwise.
    TestDocument& channels(int count);
    TestDocument& planes(int count);
    TestDocument& size(int width, int height);
    TestDocument& packed();
    TestDocument& colourData(Bytes data);
    TestDocument& resources(Bytes data);
    TestDocument& layerSection(Bytes data);
    /// Takes the place of the made-up samples: plane, row and column to 0..1.
    TestDocument& samples(std::function<double(int plane, int row, int column)> value);

    [[nodiscard]] Bytes build() const;
    /// The offset of the compression code in what `build` gives.
    [[nodiscard]] std::size_t compressionOffset() const;
    [[nodiscard]] std::size_t rowBytes() const;
    [[nodiscard]] std::size_t planeBytes() const;

private:
    [[nodiscard]] double valueAt(int plane, int row, int column) const;
    void appendSample(Bytes& row, double value) const;
    [[nodiscard]] Bytes row(int plane, int row) const;
    void appendPacked(Bytes& document) const;

    ColourMode m_mode = ColourMode::Rgb;
    int m_depth = 8;
    int m_channels = 3;
    int m_planes = -1;
    int m_width = 7;
    int m_height = 5;
    bool m_packed = false;
    Bytes m_colourData;
    Bytes m_resources;
    Bytes m_layerSection = {0, 0, 0, 0, 0, 0, 0, 0};
    std::function<double(int, int, int)> m_samples;
};

/// One packed row, in runs and copies as a writer of documents makes them.
Bytes packRow(const Bytes& row);
/// In `count` bytes, at most 8, the highest first.
void appendNumber(Bytes& bytes, std::uint64_t value, int count);
void putNumber(Bytes& bytes, std::size_t offset, std::uint64_t value, int count);

/// A folder with files that goes with the test.
class TestFolder
{
public:
    [[nodiscard]] QString write(const QString& name, const Bytes& bytes) const;
    [[nodiscard]] QString path(const QString& name) const { return m_folder.filePath(name); }

private:
    QTemporaryDir m_folder;
};

/// The whole picture in its own size; null if it cannot be shown.
QImage decoded(const QString& path);
QImage decoded(const Bytes& document);
QImage decoded(const TestDocument& document);

/// Writes a black document of 30000 x 30000 RGB pixels: 2.7 GB, of which the disk holds the head
/// alone. @return an empty path if the volume takes no such file
QString writeHugeDocument(const TestFolder& folder);

std::uint32_t nextRandom(std::uint32_t& state);

} // namespace talvek::testing
