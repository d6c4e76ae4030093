#include "tests/engine/Workbench.h"
#include "tests/platform/FaultySystem.h"
#include "tests/support/PsdBuilder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sys/stat.h>

namespace talvek::test {

namespace {

Document picture()
{
    return PsdBuilder{}.thumbnail(patternOf(100)).layer("sky").transparent().build();
}

std::vector<std::string> numbersOf(const std::vector<FileRecord>& listing)
{
    std::vector<std::string> numbers;
    for (const FileRecord& record : listing) {
        numbers.push_back(record.fileNumber);
    }
    return numbers;
}

mode_t permissionsOf(const std::string& path)
{
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 0777U : 0;
}

} // namespace

TEST(Driver, AFileThatIsNoPsdLeavesAnEmptyFolderAndPostsNothing)
{
    Workbench bench(bytesOf("GIF89a, and then much more than twenty-six bytes of it"));
    bench.run();
    EXPECT_TRUE(bench.files.isFolder(bench.folder));
    EXPECT_EQ(bench.names(), "");
    EXPECT_TRUE(bench.heard.all.empty());
}

TEST(Driver, ADocumentThatDoesNotExistBehavesAsAnEmptyOne)
{
    Workbench bench({});
    bench.engine.repairFileAtPath_andSaveAtPath(bench.place.pathOf("absent"), bench.folder);
    EXPECT_EQ(bench.engine.fileSize, 0);
    EXPECT_TRUE(bench.files.isFolder(bench.folder));
    EXPECT_TRUE(bench.heard.all.empty());
}

TEST(Driver, WithoutThumbnailAndCompositeACompletionListsTheLayersOnly)
{
    Document document = PsdBuilder{}.layer("sky").layer("sea").build();
    document.cutAt(document.composite).lieLength(document.imageResources.lengthField, 1'000'000);
    Workbench bench(document.bytes);
    bench.run();
    EXPECT_EQ(bench.heard.progress().back(), 100.0);
    EXPECT_EQ(bench.heard.completions(), 1U);
    EXPECT_EQ(bench.names(), "layer0_image.psd,layer1_image.psd");
    EXPECT_EQ(bench.listing().size(), 2U);
}

TEST(Driver, APathThatOccursTwiceIsListedAndCountedOnce)
{
    Workbench bench({});
    bench.prepare();
    bench.output("one").append(Bytes(1500));
    bench.engine.mutableStringArray = {bench.folder + "/one", bench.folder + "/one"};
    EXPECT_EQ(bench.engine.listImages().size(), 1U);
    EXPECT_EQ(bench.engine.totalFilesSize, 1500U);
}

TEST(Driver, TheMainFileIsNotListedAgainAmongTheOthers)
{
    Workbench bench({});
    bench.prepare();
    bench.engine.mainFileArray = {"/x/b.psd", "/x/ignored.psd"};
    bench.engine.mutableStringArray = {"/x/a.psd", "/x/b.psd"};
    const auto listing = bench.engine.listImages();
    ASSERT_EQ(listing.size(), 2U);
    EXPECT_EQ(listing[0].filePath, "/x/b.psd");
    EXPECT_EQ(listing[1].filePath, "/x/a.psd");
}

TEST(Driver, AFileBelowAKibibyteShowsAsZeroAndCountsInFull)
{
    Workbench bench({});
    bench.prepare();
    bench.output("small.psd").append(Bytes(1023));
    bench.engine.mutableStringArray = {bench.folder + "/small.psd"};
    EXPECT_EQ(bench.engine.listImages().front().fileSize, "0");
    EXPECT_EQ(bench.engine.totalFilesSize, 1023U);
}

TEST(Driver, SizesAreCutOffToWholeKibibytes)
{
    Workbench bench({});
    bench.prepare();
    bench.output("a.psd").append(Bytes(1024));
    bench.output("b.psd").append(Bytes(3071));
    bench.engine.mutableStringArray = {bench.folder + "/a.psd", bench.folder + "/b.psd"};
    const auto listing = bench.engine.listImages();
    EXPECT_EQ(listing[0].fileSize, "1");
    EXPECT_EQ(listing[1].fileSize, "2");
    EXPECT_EQ(bench.engine.totalFilesSize, 4095U);
}

TEST(Driver, FileNumbersRunFromOneWithoutGaps)
{
    Workbench bench(picture().bytes);
    bench.run();
    EXPECT_EQ(numbersOf(bench.listing()), (std::vector<std::string>{"1", "2", "3", "4"}));
}

TEST(Driver, TheRebuiltDocumentIsListedFirstAndTheRestInTheOrderWritten)
{
    Workbench bench(picture().bytes);
    bench.run();
    std::vector<std::string> names;
    for (const FileRecord& record : bench.listing()) {
        names.push_back(record.fileName);
        EXPECT_TRUE(bench.files.existsAtPath(record.filePath));
    }
    EXPECT_EQ(names, (std::vector<std::string>{"a.psd_repaired", "a.psd_thumbnail", "mask0_image",
                                               "layer0_image"}));
}

TEST(Driver, AMissingFileIsListedWithSizeZero)
{
    Workbench bench({});
    bench.prepare();
    bench.engine.mutableStringArray = {bench.folder + "/gone.psd"};
    const FileRecord expected = {"1", "gone", "0", bench.folder + "/gone.psd"};
    EXPECT_EQ(bench.engine.listImages(), std::vector{expected});
}

TEST(Driver, OutputNamesCarryTheInputsFullName)
{
    Workbench bench(picture().bytes, SystemCalls::real(), "my picture.v2.psd");
    bench.run();
    EXPECT_EQ(bench.names(), "layer0_image.psd,mask0_image.psd,my picture.v2.psd_repaired.psd,"
                             "my picture.v2.psd_thumbnail.jpg");
    EXPECT_EQ(bench.listing().front().fileName, "my picture.v2.psd_repaired");
}

TEST(Driver, EveryRunStartsFromAnEmptyFolder)
{
    Workbench bench(picture().bytes);
    bench.run();
    bench.files.createFolders(bench.folder + "/old/older", FileManager::kPrivateFolder);
    writeFile(bench.folder + "/old/older/file", {1});
    bench.run();
    EXPECT_EQ(bench.names(),
              "a.psd_repaired.psd,a.psd_thumbnail.jpg,layer0_image.psd,mask0_image.psd");
}

TEST(Driver, AFileAtTheOutputPathMakesWayForTheFolder)
{
    Workbench bench(picture().bytes);
    writeFile(bench.folder, {1, 2, 3});
    bench.run();
    EXPECT_TRUE(bench.files.isFolder(bench.folder));
    EXPECT_EQ(bench.listing().size(), 4U);
}

TEST(Driver, TheFolderIsPrivate)
{
    Workbench bench(picture().bytes);
    bench.run();
    EXPECT_EQ(permissionsOf(bench.folder), 0700U);
}

TEST(Driver, MissingParentsAreNotMade)
{
    Workbench bench(picture().bytes);
    const std::string parent = bench.place.pathOf("absent");
    bench.engine.repairFileAtPath_andSaveAtPath(bench.document, parent + "/out");
    EXPECT_FALSE(bench.files.existsAtPath(parent));
    EXPECT_EQ(bench.heard.shapes().back(), 'c');
    EXPECT_EQ(bench.listedBytes(), 0U);
}

TEST(Driver, AfterAnAbortTheRunStillPostsAHundredAndItsCompletion)
{
    FaultySystem system;
    system.freeAtFirst = 5;
    Workbench bench(picture().bytes, system);
    bench.run();
    EXPECT_GE(bench.heard.aborts(), 1U);
    EXPECT_EQ(bench.heard.progress().back(), 100.0);
    EXPECT_EQ(bench.heard.shapes().back(), 'c');
}

TEST(Driver, AfterAnAbortAStoppedRunPostsNoCompletion)
{
    FaultySystem system;
    system.freeAtFirst = 5;
    Workbench bench(picture().bytes, system);
    bench.heard.onPost = [&bench] { bench.engine.setStopflag(bench.heard.aborts() > 0); };
    bench.run();
    EXPECT_EQ(bench.heard.completions(), 0U);
    EXPECT_EQ(bench.heard.shapes().back(), 'p');
}

TEST(Driver, AStopBetweenTheStagesDoesNotSkipThem)
{
    Workbench bench(PsdBuilder{}.thumbnail(patternOf(100)).composite(Packing::raw).build().bytes);
    bench.heard.onPost = [&bench] { bench.engine.setStopflag(true); };
    bench.run();
    EXPECT_EQ(bench.names(), "a.psd_repaired.psd,a.psd_thumbnail.jpg");
}

TEST(Driver, TheLogHasTheSizeAndTheCompositesPlaceBeforeTheCopysStart)
{
    const Document document = PsdBuilder{}.thumbnail(patternOf(9)).layer("sky").build();
    const LogLines log;
    Workbench bench(document.bytes);
    bench.run();
    const std::string composite = std::to_string(document.composite);
    const std::string start = std::to_string(document.composite + 2 + 3 * 3 * 2);
    EXPECT_EQ(log.lines, (std::vector<std::string>{"1", composite,
                                                   "fileSize=" + std::to_string(document.size()),
                                                   "mainimageoffset=" + composite, start}));
}

TEST(Driver, ACompositeBehindTheEndIsNotRebuilt)
{
    Document document = PsdBuilder{}.thumbnail(patternOf(9)).build();
    document.cutAt(document.composite);
    Workbench bench(document.bytes);
    bench.run();
    EXPECT_EQ(bench.engine.mainImageOffset, bench.engine.fileSize);
    EXPECT_EQ(bench.names(), "a.psd_thumbnail.jpg");
}

TEST(Driver, ACompositeBeforeTheStartIsRebuiltFromNothing)
{
    Document document = PsdBuilder{}.thumbnail(patternOf(9)).build();
    document.lieLength(document.layerAndMask.lengthField, -100'000);
    Workbench bench(document.bytes);
    bench.run();
    EXPECT_LT(bench.engine.mainImageOffset, 0);
    EXPECT_EQ(bench.names(), "a.psd_repaired.psd,a.psd_thumbnail.jpg");
}

TEST(Driver, TheDocumentIsClosedAtTheEnd)
{
    Workbench bench(picture().bytes);
    bench.run();
    EXPECT_FALSE(bench.engine.fileHandle.isOpen());
}

TEST(Driver, TheDocumentIsNeverOpenedForWriting)
{
    FaultySystem system;
    Workbench bench(picture().bytes, system);
    const Bytes before = readFile(bench.document);
    bench.run();
    const auto& written = system.opensForWriting;
    EXPECT_EQ(std::count(written.begin(), written.end(), bench.document), 0);
    EXPECT_EQ(readFile(bench.document), before);
}

TEST(Driver, ASecondRunGivesTheSameBytes)
{
    Workbench bench(picture().bytes);
    bench.run();
    const auto first = filesIn(bench.folder);
    bench.engine.boolValue = false;
    bench.run();
    EXPECT_EQ(filesIn(bench.folder), first);
}

} // namespace talvek::test
