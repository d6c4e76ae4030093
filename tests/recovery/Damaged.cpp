#include "tests/recovery/Damaged.h"

#include "platform/FileManager.h"
#include "recovery/Examination.h"

#include <gtest/gtest.h>

namespace talvek::test {

Source::Source(const Bytes& bytes)
    : m_path(m_folder.write("damaged.psd", bytes)),
      m_handle(FileManager::defaultManager().openForReading(m_path)),
      m_source(m_handle)
{}

Found::Found(const Bytes& bytes) : m_source(bytes)
{
    const recovery::RunControl control;
    recovery::Examination examination(m_source.bytes(), control, [](const std::string&, double) {});
    m_document = examination.run(m_source.path());
}

const recovery::Layer& Found::layer(std::size_t index) const
{
    return m_document.layers.at(index);
}

const recovery::Plane& Found::plane(std::size_t layer, std::size_t channel) const
{
    return m_document.layers.at(layer).channels.at(channel).plane;
}

Bytes Found::pixels(const recovery::Plane& plane) const
{
    recovery::SourceFiles files(FileManager::defaultManager(), m_document.sources);
    const auto reader = recovery::openPlane(files, plane);
    Bytes pixels;
    Bytes row(static_cast<std::size_t>(reader->rowBytes()));
    for (std::int32_t y = 0; y < reader->rows(); ++y) {
        reader->readRow(row);
        append(pixels, row);
    }
    return pixels;
}

std::string Found::names() const
{
    std::string names;
    for (const recovery::Layer& layer : m_document.layers) {
        names += (names.empty() ? "" : ",") + layer.name;
    }
    return names;
}

PsdBuilder threeLayers()
{
    PsdBuilder builder;
    builder.size(40, 30);
    builder.layer("sky").transparent();
    builder.layer("sea").transparent().bounds(2, 3, 25, 31);
    builder.layer("sand").transparent().masked().bounds(10, 1, 29, 39);
    return builder;
}

void expectSamePixels(const Found& damaged, const Found& undamaged)
{
    const auto& layers = undamaged.document().layers;
    ASSERT_EQ(damaged.names(), undamaged.names());
    for (std::size_t i = 0; i < layers.size(); ++i) {
        ASSERT_EQ(damaged.layer(i).channels.size(), layers[i].channels.size());
        for (std::size_t c = 0; c < layers[i].channels.size(); ++c) {
            EXPECT_TRUE(damaged.pixels(i, c) == undamaged.pixels(i, c))
                << "layer " << i << ", " << c;
        }
    }
}

} // namespace talvek::test
