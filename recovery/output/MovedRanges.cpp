#include "recovery/output/MovedRanges.h"

#include <utility>

namespace talvek::recovery::output {

namespace {

class Mover
{
public:
    explicit Mover(std::int32_t sources) : m_sources(sources) {}

    void move(ByteRange& range) const { range.source += m_sources; }
    void move(TaggedBlock& block) const
    {
        move(block.data);
        move(block.whole);
    }
    void move(std::vector<Channel>& channels) const
    {
        for (Channel& channel : channels) {
            move(channel.plane.bytes);
        }
    }
    void move(std::vector<TaggedBlock>& blocks) const
    {
        for (TaggedBlock& block : blocks) {
            move(block);
        }
    }
    void move(Layer& layer) const
    {
        for (ByteRange* range :
             {&layer.record, &layer.maskData, &layer.blendingRanges, &layer.extra}) {
            move(*range);
        }
        move(layer.blocks);
        move(layer.channels);
    }

private:
    std::int32_t m_sources;
};

} // namespace

RecoveredDocument withSourcesMoved(RecoveredDocument document, std::int32_t sources)
{
    const Mover mover(sources);
    for (ByteRange* range :
         {&document.facts.header, &document.facts.colorData, &document.composite.bytes,
          &document.globalMask, &document.profile, &document.xmp, &document.resolution}) {
        mover.move(*range);
    }
    for (Layer& layer : document.layers) {
        mover.move(layer);
    }
    mover.move(document.composite.channels);
    mover.move(document.blocks);
    for (Resource& resource : document.resources) {
        mover.move(resource.data);
        mover.move(resource.whole);
    }
    if (document.thumbnail) {
        mover.move(document.thumbnail->jpeg);
    }
    for (EmbeddedFile& file : document.embedded) {
        mover.move(file.data);
    }
    for (Region& region : document.regions) {
        mover.move(region.bytes);
    }
    return document;
}

} // namespace talvek::recovery::output
