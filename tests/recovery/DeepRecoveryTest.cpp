#include "recovery/DeepRecovery.h"

#include "recovery/Findings.h"
#include "recovery/LayeredDocumentName.h"
#include "tests/recovery/Damaged.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace talvek::test {

using namespace recovery;

nlohmann::json reportOf(const Bytes& bytes)
{
    const Source source(bytes);
    const std::string folder = source.folder().pathOf("out");
    DeepRecovery recovery;
    EXPECT_TRUE(recovery.recoverFileAtPath_andSaveAtPath(source.path(), folder));
    EXPECT_EQ(readFile(source.path()), bytes) << "the document itself was changed";
    const Bytes report = readFile(folder + "/report.json");
    return nlohmann::json::parse(report.begin(), report.end());
}

TEST(DeepRecovery, TheReportSaysWhatEachPlaneIsAndWhatProvesIt)
{
    const auto report = reportOf(threeLayers().build().bytes);
    EXPECT_EQ(report["document"]["width"], 40);
    EXPECT_EQ(report["document"]["version"], 1);
    const auto& layer = report["layers"][2];
    EXPECT_EQ(layer["name"], "sand");
    EXPECT_EQ(layer["state"], "whole");
    EXPECT_EQ(layer["channels"][0]["id"], -1);
    EXPECT_EQ(layer["channels"][0]["proof"], "PackBits rows");
    EXPECT_EQ(report["composite"]["state"], "whole");
}

TEST(DeepRecovery, NamesOfAnyLengthMakeOneThatFits)
{
    EXPECT_EQ(layeredDocumentName("/a.b/poster.psd", false), "poster_layers.psd");
    EXPECT_EQ(layeredDocumentName("/a.b/poster", true), "poster_layers.psb");
    const std::string fits(244, 'n');
    for (const std::size_t bytes : {244U, 245U, 251U}) {
        EXPECT_EQ(layeredDocumentName(std::string(bytes, 'n') + ".psd", false),
                  fits + "_layers.psd");
    }
    EXPECT_EQ(layeredDocumentName(std::string(243, 'n') + "\u00FC\u00FC.psd", true),
              std::string(243, 'n') + "_layers.psb");
}

TEST(DeepRecovery, TheReportNamesLostRows)
{
    Document document = threeLayers().build();
    const auto& channel = document.records[0].channels[0];
    document.zeroFill(channel.data + channel.length - 30, 30);
    const auto report = reportOf(document.bytes);
    const auto& plane = report["layers"][0]["channels"][0];
    EXPECT_EQ(plane["state"], "partial");
    EXPECT_EQ(plane["lostRows"].back()[1], 30);
}

TEST(DeepRecovery, NothingLeftIsAReportToo)
{
    const auto report = reportOf(Bytes(5000, 0));
    EXPECT_EQ(report["nothingLeft"], true);
    EXPECT_TRUE(report["layers"].empty());
}

TEST(DeepRecovery, TheMapOfTheBytesHasNoGap)
{
    Document document = threeLayers().build();
    document.zeroFill(document.records[1].start, 50);
    const Found found(document);
    std::int64_t at = 0;
    for (const Region& region : found.document().regions) {
        EXPECT_EQ(region.bytes.offset, at);
        at = region.bytes.end();
    }
    EXPECT_EQ(at, document.size());
}

TEST(DeepRecovery, AStopEndsTheRunBeforeItIsDone)
{
    const Source source(threeLayers().build().bytes);
    DeepRecovery recovery;
    recovery.setStopflag(true);
    EXPECT_FALSE(
        recovery.recoverFileAtPath_andSaveAtPath(source.path(), source.folder().pathOf("out")));
}

TEST(DeepRecovery, WhatIsFoundIsToldWhileItIsFound)
{
    auto& center = NotificationCenter::defaultCenter();
    std::vector<Findings> told;
    const int token =
        center.addObserver(DeepRecovery::kFoundNotification,
                           [&](const UserInfo& info) { told.push_back(findingsFrom(info)); });
    reportOf(threeLayers().build().bytes);
    center.removeObserver(token);
    ASSERT_GE(told.size(), 3U);
    EXPECT_EQ(told.front().layers, 3U);
    EXPECT_EQ(told.front().width, 0U);
    const Findings expected{40, 30, 3, 0, 1, 0, "whole", {"sand", "sea", "sky"}};
    EXPECT_EQ(told.back(), expected);
}

TEST(DeepRecovery, ProgressNeverGoesBack)
{
    auto& center = NotificationCenter::defaultCenter();
    double last = 0;
    bool ascends = true;
    const int token = center.addObserver(DeepRecovery::kNotification, [&](const UserInfo& info) {
        const double now = std::get<double>(info.at("progress"));
        ascends = ascends && now >= last;
        last = now;
    });
    reportOf(threeLayers().build().bytes);
    center.removeObserver(token);
    EXPECT_TRUE(ascends);
    EXPECT_EQ(last, 100);
}

} // namespace talvek::test
