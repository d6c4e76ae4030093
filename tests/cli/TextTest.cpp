#include "cli/ListingTable.h"
#include "cli/TerminalText.h"

#include <gtest/gtest.h>

namespace talvek::test {
namespace {

TEST(TerminalText, OrdinaryTextStays)
{
    EXPECT_EQ(safeForTerminal("Entw\u00FCrfe/\u00E9t\u00E9 \u5199\u771F \U0001F3A8.psd"),
              "Entw\u00FCrfe/\u00E9t\u00E9 \u5199\u771F \U0001F3A8.psd");
}

TEST(TerminalText, EveryControlCharacterIsEscaped)
{
    for (int value = 0; value < 0x20; ++value) {
        const std::string safe = safeForTerminal(std::string(1, static_cast<char>(value)));
        EXPECT_EQ(safe.front(), '\\') << value;
    }
    EXPECT_EQ(safeForTerminal("\x1B[2J\x7F"), "\\x1B[2J\\x7F");
    EXPECT_EQ(safeForTerminal("\t\n"), "\\t\\n");
    EXPECT_EQ(safeForTerminal("\xC2\x9B"), "\\xC2\\x9B");
}

TEST(TerminalText, MarksThatTurnTheWritingAreEscaped)
{
    EXPECT_EQ(safeForTerminal("a\xE2\x80\xAE"
                              "gpj.exe"),
              "a\\xE2\\x80\\xAEgpj.exe");
    EXPECT_EQ(safeForTerminal("\xE2\x81\xA6"), "\\xE2\\x81\\xA6");
}

TEST(TerminalText, BytesThatAreNotUtf8AreEscaped)
{
    EXPECT_EQ(safeForTerminal("\xFF"), "\\xFF");
    EXPECT_EQ(safeForTerminal("\xC3"), "\\xC3");
    EXPECT_EQ(safeForTerminal("\xC0\x80"), "\\xC0\\x80");
    EXPECT_EQ(safeForTerminal("\xED\xA0\x80"), "\\xED\\xA0\\x80");
    EXPECT_EQ(safeForTerminal("\xF4\x90\x80\x80"), "\\xF4\\x90\\x80\\x80");
    EXPECT_EQ(safeForTerminal("\xE2\x82z"), "\\xE2\\x82z");
}

TEST(TerminalText, CharactersAreCountedAndCutWhole)
{
    EXPECT_EQ(characterCount("\u00E9t\u00E9"), 3U);
    EXPECT_EQ(firstCharacters("\u00E9t\u00E9", 1), "\u00E9");
    EXPECT_EQ(firstCharacters("\u00E9t\u00E9", 9), "\u00E9t\u00E9");
    EXPECT_EQ(firstCharacters("\u00E9t\u00E9", 0), "");
}

TEST(TerminalText, SizesAreReadable)
{
    EXPECT_EQ(readableSize(0), "0 bytes");
    EXPECT_EQ(readableSize(1), "1 byte");
    EXPECT_EQ(readableSize(1023), "1023 bytes");
    EXPECT_EQ(readableSize(1536), "1.5 KiB");
    EXPECT_EQ(readableSize(3ULL << 30U), "3.0 GiB");
}

TEST(ListingTable, ColumnsStandBelowEachOther)
{
    EXPECT_EQ(listingTable({{"1", "a.psd_repaired", "1200", "out/a.psd_repaired.psd"},
                            {"10", "layer0_image ", "0", "out/layer0_image .psd"}}),
              "No.  Name                Size  Path\n"
              "  1  a.psd_repaired  1200 KiB  out/a.psd_repaired.psd\n"
              " 10  layer0_image      <1 KiB  out/layer0_image .psd\n");
}

TEST(ListingTable, NamesAreMadeSafe)
{
    EXPECT_NE(listingTable({{"1", "\x1B[2J", "0", "\x1B[2J"}}).find("\\x1B[2J  "),
              std::string::npos);
}

TEST(ListingTable, NothingGivesNoTable)
{
    EXPECT_EQ(listingTable({}), "");
}

} // namespace
} // namespace talvek::test
