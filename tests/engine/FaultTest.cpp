#include "tests/engine/Workbench.h"
#include "tests/platform/FaultySystem.h"
#include "tests/support/PsdBuilder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <numeric>

namespace talvek::test {

namespace {

/// Everything that a run can write, in few bytes: thumbnail, layer and mask documents that are
/// decoded, one that is not, and the rebuilt document.
Document everything()
{
    return PsdBuilder{}
        .thumbnail(patternOf(300))
        .layer("sky")
        .transparent()
        .layer("sea")
        .packing(Packing::raw)
        .taggedBlock("luni", Bytes(8))
        .build();
}

/// Nothing is decoded, so no file is deleted, and each is only ever appended to.
Document undecoded()
{
    return PsdBuilder{}
        .thumbnail(patternOf(3000))
        .size(40, 30)
        .layer("sky")
        .transparent()
        .packing(Packing::raw)
        .taggedBlock("luni", Bytes(8))
        .composite(Packing::raw)
        .build();
}

/// Only the damaged document is unreadable, not what is salvaged of it.
class BadDocument : public FaultySystem
{
public:
    int openForReading(const std::string& path) override
    {
        const int descriptor = FaultySystem::openForReading(path);
        if (path.ends_with("/a.psd")) {
            m_document = descriptor;
        }
        return descriptor;
    }
    ssize_t readAt(int descriptor, std::span<std::uint8_t> into, std::int64_t offset) override
    {
        return descriptor == m_document ? FaultySystem::readAt(descriptor, into, offset)
                                        : SystemCalls::readAt(descriptor, into, offset);
    }

private:
    int m_document = -1;
};

std::map<std::string, Bytes> filesOf(const Document& document)
{
    Workbench bench(document.bytes);
    bench.run();
    return filesIn(bench.folder);
}

/// The same files, those that were moved under the name that they had before.
std::map<std::string, Bytes> byFirstName(const std::map<std::string, Bytes>& files)
{
    std::map<std::string, Bytes> renamed;
    for (const auto& [name, contents] : files) {
        std::string bare = name;
        bare.erase(std::remove(bare.begin(), bare.end(), ' '), bare.end());
        renamed[bare] = contents;
    }
    return renamed;
}

bool isPrefix(const Bytes& part, const Bytes& whole)
{
    return part.size() <= whole.size() && std::equal(part.begin(), part.end(), whole.begin());
}

std::size_t writesOf(const Document& document)
{
    FaultySystem system;
    Workbench bench(document.bytes, system);
    bench.run();
    return system.writes;
}

/// The run came to its own end, and said once that it could not go on.
void expectOneAbortAndTheEnd(const Workbench& bench)
{
    EXPECT_EQ(bench.heard.aborts(), 1U);
    EXPECT_EQ(bench.heard.completions(), 1U);
    EXPECT_EQ(bench.heard.shapes().back(), 'c');
    EXPECT_EQ(bench.heard.progress().back(), 100.0);
}

} // namespace

TEST(Fault, ShortAndInterruptedTransfersChangeNothing)
{
    FaultySystem system;
    system.mostAtOnce = 5;
    system.interrupts = true;
    Workbench bench(everything().bytes, system);
    bench.run();
    EXPECT_EQ(filesIn(bench.folder), filesOf(everything()));
    EXPECT_EQ(bench.heard.aborts(), 0U);
}

TEST(Fault, AFullDiskAtAnyWriteIsOneAbortAndTheEnd)
{
    const Document document = everything();
    const std::size_t writes = writesOf(document);
    ASSERT_GT(writes, 5U);
    for (std::size_t n = 1; n <= writes; ++n) {
        SCOPED_TRACE("write " + std::to_string(n));
        FaultySystem system;
        system.failingWrite = n;
        Workbench bench(document.bytes, system);
        bench.run();
        expectOneAbortAndTheEnd(bench);
    }
}

TEST(Fault, AnySingleWriteThatFailsIsOneAbortAndTheEnd)
{
    const Document document = everything();
    const std::size_t writes = writesOf(document);
    for (std::size_t n = 1; n <= writes; ++n) {
        SCOPED_TRACE("write " + std::to_string(n));
        FaultySystem system;
        system.failingWrite = n;
        system.failsForGood = false;
        Workbench bench(document.bytes, system);
        bench.run();
        expectOneAbortAndTheEnd(bench);
    }
}

TEST(Fault, WhatReachedTheFilesBeforeAFullDiskStays)
{
    const Document document = undecoded();
    const auto whole = byFirstName(filesOf(document));
    const std::size_t writes = writesOf(document);
    for (std::size_t n = 1; n <= writes; ++n) {
        SCOPED_TRACE("write " + std::to_string(n));
        FaultySystem system;
        system.failingWrite = n;
        Workbench bench(document.bytes, system);
        bench.run();
        std::int64_t kept = 0;
        for (const auto& [name, contents] : byFirstName(filesIn(bench.folder))) {
            kept += static_cast<std::int64_t>(contents.size());
            EXPECT_TRUE(isPrefix(contents, whole.at(name))) << name;
        }
        const auto& written = system.writtenBytes;
        EXPECT_EQ(kept, std::accumulate(written.begin(), written.end(), std::int64_t{0}));
    }
}

TEST(Fault, AWriteThatStopsInTheMiddleIsOneAbortToo)
{
    const Document document = undecoded();
    for (std::size_t n = 1; n < 12; ++n) {
        FaultySystem system;
        system.mostAtOnce = 700;
        system.failingWrite = n;
        Workbench bench(document.bytes, system);
        bench.run();
        expectOneAbortAndTheEnd(bench);
    }
}

TEST(Fault, AVolumeWithRoomForAnyNumberOfBytesGivesARunThatEnds)
{
    const Document document = everything();
    for (std::uint64_t free = 0; free < 1500; free += 7) {
        FaultySystem system;
        system.freeAtFirst = free;
        Workbench bench(document.bytes, system);
        bench.run();
        ASSERT_EQ(bench.heard.completions(), 1U) << free;
        ASSERT_EQ(bench.heard.progress().back(), 100.0) << free;
    }
}

TEST(Fault, NothingIsEverMadeInTheRootFolder)
{
    const Document document = everything();
    for (std::uint64_t free = 0; free < 1500; free += 3) {
        FaultySystem system;
        system.freeAtFirst = free;
        Workbench bench(document.bytes, system);
        bench.run();
        for (const std::string& path : system.opensForWriting) {
            ASSERT_EQ(path.rfind(bench.folder + "/", 0), 0U) << path;
        }
        for (const std::string& path : system.opened) {
            ASSERT_EQ(path.rfind(bench.place.path() + "/", 0), 0U) << path;
        }
    }
}

TEST(Fault, AnUnreadableSectorHidesNoLayerOutsideIt)
{
    PsdBuilder builder;
    builder.thumbnail(patternOf(200));
    for (int i = 0; i < 200; ++i) {
        builder.layer("layer of a name that takes some room " + std::to_string(i));
    }
    const Document document = builder.build();
    const auto& records = document.records;
    for (std::int64_t sector = 8; sector < 30; ++sector) {
        FaultySystem system;
        system.unreadable = {sector * 512, sector * 512 + 512};
        Workbench bench(document.bytes, system);
        bench.run();
        // A chunk of the scan that meets the sector is read up to it; the scan's grid moves with
        // every match, so at most the sector and a chunk behind it are lost.
        for (const auto& record : records) {
            const bool isNear = record.signature + 8 > system.unreadable->from &&
                                record.signature < system.unreadable->to + 1032;
            const auto& found = bench.engine.offset8BIMnorm;
            const bool isFound =
                std::find(found.begin(), found.end(), record.signature) != found.end();
            EXPECT_TRUE(isFound || isNear) << sector << " " << record.name;
        }
    }
}

TEST(Fault, AnUnreadableHeaderIsNoDocument)
{
    FaultySystem system;
    system.unreadable = {0, 512};
    Workbench bench(everything().bytes, system);
    bench.run();
    EXPECT_TRUE(bench.heard.all.empty());
    EXPECT_FALSE(bench.engine.isFileValidAtPath(bench.document));
}

TEST(Fault, AnUnreadablePictureLeavesTheLayersWhole)
{
    const Document document = everything();
    const auto whole = filesOf(document);
    FaultySystem system;
    system.unreadable = {document.composite, document.size()};
    Workbench bench(document.bytes, system);
    bench.run();
    EXPECT_EQ(bench.file("layer0_image.psd"), whole.at("layer0_image.psd"));
    EXPECT_EQ(bench.file("mask0_image.psd"), whole.at("mask0_image.psd"));
    EXPECT_EQ(bench.file("a.psd_thumbnail.jpg"), whole.at("a.psd_thumbnail.jpg"));
}

// What is decoded from where it stands, without a packed copy, is what the copy would have given:
// on a volume with little room there is one.
TEST(Fault, UnreadableBytesGiveTheSameFilesWithAndWithoutAPackedCopy)
{
    const Document document = PsdBuilder{}
                                  .colourModeData(patternOf(3000))
                                  .size(60, 40)
                                  .layer("sky")
                                  .transparent()
                                  .taggedBlock("luni", Bytes(8))
                                  .build();
    for (std::int64_t from = 40; from < document.size(); from += 97) {
        BadDocument roomy;
        BadDocument tight;
        tight.freeAtFirst = 8U << 20U;
        std::map<std::string, Bytes> files[2];
        std::size_t index = 0;
        for (BadDocument* system : {&roomy, &tight}) {
            system->unreadable = {from, from + 60};
            Workbench bench(document.bytes, *system);
            bench.run();
            files[index++] = filesIn(bench.folder);
        }
        for (const auto& [name, contents] : files[0]) {
            EXPECT_TRUE(files[1][name] == contents)
                << name << " with the byte " << from << " unreadable: " << contents.size()
                << " bytes, " << files[1][name].size() << " with a copy";
        }
        EXPECT_EQ(files[0].size(), files[1].size()) << from;
    }
}

TEST(Fault, AFolderThatCannotBeMadeLeavesEveryFileOutAndTheRunEnds)
{
    FaultySystem system;
    system.makesFolders = false;
    Workbench bench(everything().bytes, system);
    bench.run();
    EXPECT_FALSE(bench.files.existsAtPath(bench.folder));
    EXPECT_EQ(bench.heard.aborts(), 0U);
    EXPECT_EQ(bench.heard.completions(), 1U);
    EXPECT_EQ(bench.listedBytes(), 0U);
    for (const FileRecord& record : bench.listing()) {
        EXPECT_EQ(record.fileSize, "0");
    }
}

TEST(Fault, AMoveThatFailsLosesOnlyTheNames)
{
    FaultySystem system;
    system.moves = false;
    Workbench bench(everything().bytes, system);
    bench.run();
    EXPECT_EQ(bench.names(),
              "a.psd_thumbnail.jpg,decode_a.psd_repaired.psd,decode_layer0_image.psd,"
              "decode_layer1_image.psd,decode_mask0_image.psd");
    EXPECT_EQ(bench.file("decode_layer0_image.psd"), filesOf(everything()).at("layer0_image.psd"));
    EXPECT_EQ(bench.heard.aborts(), 0U);
    EXPECT_EQ(bench.listing().front().fileSize, "0");
}

TEST(Fault, AnOutputThatCannotBeOpenedLosesOnlyItself)
{
    const auto whole = filesOf(everything());
    for (const auto& [name, contents] : whole) {
        FaultySystem system;
        system.refusedName = "/" + name;
        Workbench bench(everything().bytes, system);
        bench.run();
        EXPECT_EQ(bench.heard.aborts(), 0U) << name;
        for (const auto& [other, kept] : whole) {
            if (other != name && name.find("layer1") == std::string::npos) {
                EXPECT_EQ(bench.file(other), kept) << other << " without " << name;
            }
        }
    }
}

TEST(Fault, AWorkFileThatCannotBeOpenedLosesThePackedDocument)
{
    const auto whole = filesOf(everything());
    FaultySystem system;
    system.refusedName = "/decode_layer0_image.psd";
    Workbench bench(everything().bytes, system);
    bench.run();
    EXPECT_FALSE(bench.files.existsAtPath(bench.folder + "/layer0_image.psd"));
    EXPECT_EQ(bench.file("mask0_image.psd"), whole.at("mask0_image.psd"));
    EXPECT_EQ(bench.heard.completions(), 1U);
}

TEST(Fault, ADocumentThatShrinksWhileItIsReadIsReadShort)
{
    const Document document = undecoded();
    for (std::size_t n = 1; n < 40; ++n) {
        FaultySystem system;
        Workbench bench(document.bytes, system);
        system.beforeRead = [&system, &bench, n] {
            if (system.reads == n) {
                std::filesystem::resize_file(bench.document, 100);
            }
        };
        bench.run();
        EXPECT_EQ(bench.heard.completions() + (bench.heard.all.empty() ? 1U : 0U), 1U) << n;
        EXPECT_LE(bench.listedBytes(), 20'000U);
    }
}

TEST(Fault, ADocumentThatGrowsWhileItIsReadIsReadToWhereItThenEnds)
{
    const Document document = undecoded();
    for (std::size_t n = 1; n < 40; ++n) {
        FaultySystem system;
        Workbench bench(document.bytes, system);
        system.beforeRead = [&system, &bench, n] {
            if (system.reads == n) {
                std::filesystem::resize_file(bench.document, 200'000);
            }
        };
        bench.run();
        EXPECT_EQ(bench.heard.completions(), 1U) << n;
        EXPECT_EQ(bench.file("a.psd_thumbnail.jpg"), patternOf(3000)) << n;
    }
}

TEST(Fault, ADocumentThatGoesAwayWhileItIsReadIsStillRead)
{
    const Document document = undecoded();
    FaultySystem system;
    Workbench bench(document.bytes, system);
    system.beforeRead = [&bench] { std::filesystem::remove(bench.document); };
    bench.run();
    EXPECT_EQ(bench.file("a.psd_thumbnail.jpg"), patternOf(3000));
    EXPECT_EQ(bench.heard.completions(), 1U);
}

} // namespace talvek::test
