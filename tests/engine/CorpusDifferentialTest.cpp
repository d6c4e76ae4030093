// The engine against the plain one on documents that programs wrote, as they are and damaged.

#include "tests/engine/Bench.h"
#include "tests/support/Corpus.h"
#include "tests/support/RandomDocument.h"
#include "tests/support/Thoroughness.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string_view>

namespace talvek::test {

namespace {

using Damage = std::function<void(Document&, Random&)>;

std::vector<std::int64_t> signaturesIn(const Bytes& bytes)
{
    constexpr std::string_view kSignature = "8BIM";
    std::vector<std::int64_t> places;
    auto found = bytes.begin();
    while (true) {
        found = std::search(found, bytes.end(), kSignature.begin(), kSignature.end());
        if (found == bytes.end()) {
            return places;
        }
        places.push_back(found - bytes.begin());
        ++found;
    }
}

/// Damages every document `roundsOfCorpus()` times and sets both engines upon it.
void damageAll(const Damage& damage)
{
    const std::vector<std::string> documents = corpusDocuments(TALVEK_CORPUS_DEFAULT);
    TALVEK_SKIP_WITHOUT(documents);
    Bench bench;
    std::uint64_t seed = 0;
    for (const std::string& path : documents) {
        Document whole;
        whole.bytes = readFile(path);
        for (int round = 0; round < roundsOfCorpus(); ++round) {
            Random random(++seed);
            Document damaged = whole;
            damage(damaged, random);
            bench.replaceDocument(damaged.bytes);
            ASSERT_EQ(bench.difference(), "") << path << ", " << random.seedText();
        }
    }
}

} // namespace

TEST(CorpusDifferential, WholeDocuments)
{
    const std::vector<std::string> documents = corpusDocuments(TALVEK_CORPUS_DEFAULT);
    TALVEK_SKIP_WITHOUT(documents);
    Bench bench;
    for (const std::string& path : documents) {
        bench.replaceDocument(readFile(path));
        EXPECT_EQ(bench.difference(), "") << path;
    }
}

TEST(CorpusDifferential, DocumentsCutAnywhere)
{
    damageAll([](Document& document, Random& random) {
        document.cutAt(random.between(0, document.size()));
    });
}

TEST(CorpusDifferential, LengthsThatLie)
{
    damageAll([](Document& document, Random& random) {
        std::vector<std::int64_t> fields = {26, 30, 34};
        for (const std::int64_t signature : signaturesIn(document.bytes)) {
            // Of a block, of a record's extra data, of its last channel, of its last bounds.
            fields.insert(fields.end(),
                          {signature + 8, signature + 12, signature - 4, signature - 30});
        }
        document.lieLength(random.pick(fields), lyingLength(1000, random));
    });
}

TEST(CorpusDifferential, LostSectors)
{
    damageAll([](Document& document, Random& random) {
        const std::int64_t sectors = document.size() / 512;
        document.zeroFill(random.between(0, sectors) * 512, 512 * random.between(1, 32));
    });
}

TEST(CorpusDifferential, BytesThatAreGone)
{
    damageAll([](Document& document, Random& random) {
        document.deleteBytes(random.between(0, document.size()), random.between(1, 20'000));
    });
}

TEST(CorpusDifferential, VolumesThatFillUp)
{
    const std::vector<std::string> documents = corpusDocuments(TALVEK_CORPUS_DEFAULT);
    TALVEK_SKIP_WITHOUT(documents);
    Random random(1);
    SCOPED_TRACE(random.seedText());
    Bench bench;
    for (const std::string& path : documents) {
        bench.replaceDocument(readFile(path));
        model::Settings settings;
        settings.freeBytes = random.below(bench.plain().writtenBytes + 2);
        ASSERT_EQ(bench.difference(settings), "")
            << path << ", " << *settings.freeBytes << " bytes free";
    }
}

} // namespace talvek::test
