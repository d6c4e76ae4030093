#include "cli/ListingTable.h"

#include "cli/TerminalText.h"

#include <algorithm>
#include <array>

namespace talvek {

namespace {

enum Column : std::size_t
{
    kNumber,
    kName,
    kSize,
    kPath,
    kColumns
};
using Row = std::array<std::string, kColumns>;

std::string sizeText(const std::string& wholeKiB)
{
    return wholeKiB == "0" ? "<1 KiB" : wholeKiB + " KiB";
}

Row rowOf(const FileRecord& file)
{
    return {safeForTerminal(file.fileNumber), safeForTerminal(file.fileName),
            safeForTerminal(sizeText(file.fileSize)), safeForTerminal(file.filePath)};
}

std::string blanks(const std::string& cell, std::size_t width)
{
    std::string filling;
    filling.resize(width - characterCount(cell), ' ');
    return filling;
}

std::string lineOf(const Row& row, const std::array<std::size_t, kColumns>& widths)
{
    // Numbers stand at the right of their columns; the path, last, needs no filling up.
    return blanks(row[kNumber], widths[kNumber]) + row[kNumber] + "  " + row[kName] +
           blanks(row[kName], widths[kName]) + "  " + blanks(row[kSize], widths[kSize]) +
           row[kSize] + "  " + row[kPath] + "\n";
}

} // namespace

std::string listingTable(const std::vector<FileRecord>& files)
{
    if (files.empty()) {
        return {};
    }
    std::vector<Row> rows = {{"No.", "Name", "Size", "Path"}};
    std::transform(files.begin(), files.end(), std::back_inserter(rows), rowOf);
    std::array<std::size_t, kColumns> widths = {};
    for (const Row& row : rows) {
        for (std::size_t column = 0; column < kColumns; ++column) {
            widths[column] = std::max(widths[column], characterCount(row[column]));
        }
    }
    std::string table;
    for (const Row& row : rows) {
        table += lineOf(row, widths);
    }
    return table;
}

} // namespace talvek
