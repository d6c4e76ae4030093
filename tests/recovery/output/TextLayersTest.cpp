#include "recovery/output/TextLayers.h"

#include "recovery/output/Descriptor.h"
#include "tests/recovery/output/DocumentBuilder.h"

#include <gtest/gtest.h>

namespace talvek::recovery::output {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// Puts a type tool block together.
class Block
{
public:
    Block& raw(std::string_view text)
    {
        m_bytes.insert(m_bytes.end(), text.begin(), text.end());
        return *this;
    }
    Block& zeros(std::size_t count)
    {
        m_bytes.insert(m_bytes.end(), count, 0);
        return *this;
    }
    Block& number(std::uint32_t value)
    {
        for (unsigned shift = 32; shift > 0; shift -= 8) {
            m_bytes.push_back(static_cast<std::uint8_t>(value >> (shift - 8)));
        }
        return *this;
    }
    Block& unicode(std::u16string_view text)
    {
        number(static_cast<std::uint32_t>(text.size()));
        for (const char16_t unit : text) {
            m_bytes.push_back(static_cast<std::uint8_t>(unit >> 8U));
            m_bytes.push_back(static_cast<std::uint8_t>(unit));
        }
        return *this;
    }
    /// What stands before the descriptor, and its class.
    Block& head(std::uint32_t items)
    {
        return zeros(56).unicode(u"").number(0).raw("TxLr").number(items);
    }
    Block& key(std::string_view four, std::string_view type)
    {
        return number(0).raw(four).raw(type);
    }
    [[nodiscard]] const Bytes& bytes() const { return m_bytes; }

private:
    Bytes m_bytes;
};

Block wholeBlock()
{
    Block block;
    block.head(4)
        .key("a   ", "Objc")
        .unicode(u"x")
        .number(0)
        .raw("cls ")
        .number(1)
        .key("b   ", "VlLs")
        .number(2)
        .raw("long")
        .number(5)
        .raw("doub")
        .zeros(8)
        .key("Txt ", "TEXT")
        .unicode(u"One\rTwo\u0003\u00E4\0")
        .key("EngineData", "");
    return block;
}

TEST(TextLayers, TheDescriptorsTextComesWithItsLines)
{
    Block block;
    block.head(2)
        .key("a   ", "Objc")
        .unicode(u"x")
        .number(0)
        .raw("cls ")
        .number(1)
        .key("c   ", "VlLs")
        .number(2)
        .raw("long")
        .number(5)
        .raw("doub")
        .zeros(8)
        .key("Txt ", "TEXT")
        .unicode(u"One\rTwo\u0003\u00E4");
    EXPECT_EQ(textOfBlock(block.bytes()), "One\nTwo\n\xC3\xA4");
}

TEST(TextLayers, TheEnginesTextStandsInWhenTheDescriptorIsDamaged)
{
    Block block;
    block.head(2).key("bad ", "????").raw("/EngineDict /Editor /Text (\xFE\xFF");
    block.raw(std::string_view("\0A\0\\(\0B\0\r", 9)).raw(")");
    EXPECT_EQ(textOfBlock(block.bytes()), "A(B");
}

TEST(TextLayers, TheKeyAloneFindsTheTextAtLast)
{
    Block block;
    block.head(9).key("bad ", "????").raw("Txt TEXT").unicode(u"Hello");
    EXPECT_EQ(textOfBlock(block.bytes()), "Hello");
}

TEST(TextLayers, NoTextIsNothing)
{
    EXPECT_EQ(textOfBlock({}), std::nullopt);
    EXPECT_EQ(textOfBlock(Bytes(500)), std::nullopt);
}

TEST(TextLayers, EveryBeginningOfABlockIsRead)
{
    const Block whole = wholeBlock();
    for (std::size_t length = 0; length <= whole.bytes().size(); ++length) {
        textOfBlock(std::span(whole.bytes()).first(length));
    }
    EXPECT_TRUE(textOfBlock(whole.bytes()));
}

TEST(TextLayers, AnyDamageIsRead)
{
    const Block whole = wholeBlock();
    Chance chance(5);
    for (int round = 0; round < 20000; ++round) {
        Bytes bytes = whole.bytes();
        chance.damage(bytes, 1 + chance.below(8));
        textOfBlock(bytes);
    }
}

TEST(Descriptor, EndlessNestingEnds)
{
    Block block;
    block.unicode(u"").number(0).raw("cls ").number(1).number(0).raw("key ");
    for (int i = 0; i < 100000; ++i) {
        block.raw("VlLs").number(1);
    }
    EXPECT_FALSE(readDescriptor(block.bytes()).isWhole);
}

TEST(Descriptor, ACountOfFourBillionEndsWithTheBytes)
{
    Block block;
    block.unicode(u"")
        .number(0)
        .raw("cls ")
        .number(0xFFFFFFFF)
        .number(0)
        .raw("key ")
        .raw("long")
        .number(1);
    EXPECT_FALSE(readDescriptor(block.bytes()).isWhole);
}

TEST(TextLayers, ThePageNamesEachLayerTheTopmostFirst)
{
    const TemporaryFolder folder;
    DocumentBuilder builder(folder);
    for (const char16_t* text : {u"low", u"high"}) {
        Block block;
        block.head(1).key("Txt ", "TEXT").unicode(text);
        builder.layer(text == std::u16string(u"low") ? "L" : "H", {});
        builder.document().layers.back().blocks.push_back(
            {0x54795368, builder.store(block.bytes()), {}});
    }
    const auto document = builder.build();
    SourceFiles files(FileManager::defaultManager(), document.sources);
    EXPECT_EQ(asPage(document, textLayers(document, files)), "[H]\nhigh\n\n\n[L]\nlow\n");
}

} // namespace
} // namespace talvek::recovery::output
