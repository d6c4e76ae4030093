#include "recovery/OutputBudget.h"

#include <gtest/gtest.h>

namespace talvek::test {

using namespace recovery;

Layer layerOf(std::int32_t side, State state)
{
    Layer layer;
    layer.bounds = {5, 5, side + 5, side + 5};
    layer.state = state;
    Channel channel;
    channel.bounds = layer.bounds;
    channel.plane.rows = side;
    channel.plane.columns = side;
    channel.plane.state = state;
    channel.plane.rowsRecovered = state == State::Whole ? side : 0;
    layer.channels.assign(3, channel);
    return layer;
}

TEST(OutputBudget, ALostLayerThatAsksForTooMuchIsEmptied)
{
    RecoveredDocument document;
    document.layers = {layerOf(300000, State::Lost), layerOf(100, State::Lost)};
    document.layers[0].channels.resize(1);
    for (Channel& channel : document.layers[0].channels) {
        channel.plane.compression = Compression::Zip;
        channel.plane.runs = {{0, 1, 0, -1}};
    }
    limitLostRows(document, 1000);
    EXPECT_TRUE(document.layers[0].bounds.isEmpty());
    EXPECT_EQ(document.layers[0].state, State::Lost);
    EXPECT_FALSE(document.layers[0].note.empty());
    EXPECT_FALSE(document.layers[1].bounds.isEmpty());
}

TEST(OutputBudget, WhatWasRecoveredInOnePieceIsKept)
{
    RecoveredDocument document;
    document.layers = {layerOf(300000, State::Whole)};
    limitLostRows(document, 1000);
    EXPECT_EQ(document.layers[0].bounds.rows(), 300000);
}

TEST(OutputBudget, ManyLostLayersShareOneBudget)
{
    RecoveredDocument document;
    document.layers.assign(20000, layerOf(3000, State::Lost));
    limitLostRows(document, 1000);
    EXPECT_FALSE(document.layers.front().bounds.isEmpty());
    EXPECT_TRUE(document.layers.back().bounds.isEmpty());
}

} // namespace talvek::test
