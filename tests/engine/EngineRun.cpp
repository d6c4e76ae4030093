#include "tests/engine/EngineRun.h"

#include "engine/Repair.h"
#include "platform/FileManager.h"
#include "platform/NotificationCenter.h"
#include "platform/SystemCalls.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace talvek::test {

namespace {

using model::Event;
using model::Outcome;
using model::Settings;

/// The operating system, with a volume as small as a test wants it, and an eye on the paths.
class WatchedSystem : public SystemCalls
{
public:
    WatchedSystem(std::string document, std::string folder, std::optional<std::uint64_t> freeBytes)
        : m_document(std::move(document)), m_folder(std::move(folder)), m_freeBytes(freeBytes)
    {}

    int openForReading(const std::string& path) override
    {
        if (path != m_document) {
            expectWithinFolder(path);
        }
        return SystemCalls::openForReading(path);
    }
    int openForAppending(const std::string& path) override
    {
        expectWithinFolder(path);
        return SystemCalls::openForAppending(path);
    }
    int create(const std::string& path) override
    {
        expectWithinFolder(path);
        return SystemCalls::create(path);
    }
    int makeFolder(const std::string& path, mode_t mode) override
    {
        EXPECT_EQ(path, m_folder);
        return SystemCalls::makeFolder(path, mode);
    }
    int rename(const std::string& from, const std::string& to) override
    {
        expectWithinFolder(from);
        expectWithinFolder(to);
        return SystemCalls::rename(from, to);
    }
    std::optional<std::uint64_t> freeBytes(const std::string& path) override
    {
        if (!m_freeBytes) {
            return SystemCalls::freeBytes(path);
        }
        return *m_freeBytes - std::min(m_accepted, *m_freeBytes);
    }
    void bytesAccepted(std::uint64_t count) override { m_accepted += count; }

    [[nodiscard]] std::uint64_t accepted() const { return m_accepted; }

private:
    void expectWithinFolder(const std::string& path) const
    {
        EXPECT_TRUE(path.starts_with(m_folder + "/")) << path;
    }

    std::string m_document;
    std::string m_folder;
    std::optional<std::uint64_t> m_freeBytes;
    std::uint64_t m_accepted = 0;
};

Event eventOf(const UserInfo& info)
{
    if (info.contains("status")) {
        const double percentage = std::get<double>(info.at("progress"));
        EXPECT_EQ(info, (UserInfo{{"status", std::string("Repair is in progress...")},
                                  {"progress", percentage}}));
        return {Event::Kind::progress, percentage, {}, 0};
    }
    if (info.contains("unrepair")) {
        EXPECT_EQ(info, (UserInfo{{"unrepair", std::string()}}));
        return {Event::Kind::abort, 0, {}, 0};
    }
    const auto listing = std::get<std::vector<FileRecord>>(info.at("Files"));
    const auto total = std::get<std::uint64_t>(info.at("totalFilesSize"));
    EXPECT_EQ(info, (UserInfo{{"complete", std::string("Repair Completed")},
                              {"Files", listing},
                              {"totalFilesSize", total}}));
    return {Event::Kind::completion, 0, listing, total};
}

std::string wordsOf(const std::vector<Event>& events, std::size_t index)
{
    if (index >= events.size()) {
        return "nothing";
    }
    const Event& event = events[index];
    std::ostringstream words;
    words.precision(17);
    if (event.kind == Event::Kind::progress) {
        words << "progress " << event.percentage;
    } else if (event.kind == Event::Kind::abort) {
        words << "abort";
    } else {
        words << "completion of " << event.totalBytes << " bytes";
        for (const FileRecord& file : event.listing) {
            words << "\n    " << file.fileNumber << " '" << file.fileName << "' " << file.fileSize
                  << " KiB " << file.filePath;
        }
    }
    return words.str();
}

std::string differenceOfEvents(const std::vector<Event>& engine, const std::vector<Event>& plain)
{
    std::size_t index = 0;
    while (index < engine.size() && index < plain.size() && engine[index] == plain[index]) {
        ++index;
    }
    if (index == engine.size() && index == plain.size()) {
        return {};
    }
    return "notification " + std::to_string(index) + "\n  engine: " + wordsOf(engine, index) +
           "\n  plain:  " + wordsOf(plain, index) + "\n";
}

std::string differenceOfBytes(const std::string& name, const Bytes& engine, const Bytes& plain)
{
    const auto [left, right] =
        std::mismatch(engine.begin(), engine.end(), plain.begin(), plain.end());
    return "'" + name + "' differs from byte " + std::to_string(left - engine.begin()) +
           " on: engine " + std::to_string(engine.size()) + " bytes, plain " +
           std::to_string(plain.size()) + "\n";
}

std::string differenceOfFiles(const std::map<std::string, Bytes>& engine,
                              const std::map<std::string, Bytes>& plain)
{
    std::string words;
    for (const auto& [name, bytes] : engine) {
        const auto other = plain.find(name);
        if (other == plain.end()) {
            words += "only the engine left '" + name + "'\n";
        } else if (other->second != bytes) {
            words += differenceOfBytes(name, bytes, other->second);
        }
    }
    for (const auto& [name, bytes] : plain) {
        if (!engine.contains(name)) {
            words += "the engine did not leave '" + name + "'\n";
        }
    }
    return words;
}

} // namespace

Outcome runEngine(const std::string& path, const std::string& folder, const Settings& settings)
{
    WatchedSystem system(path, folder, settings.freeBytes);
    FileManager files(system);
    Repair repair(files);
    repair.setStopflag(settings.stopFlag);
    Outcome outcome;
    const int token =
        NotificationCenter::defaultCenter().addObserver("notif", [&](const UserInfo& info) {
            outcome.events.push_back(eventOf(info));
            if (settings.stopAtEvent == outcome.events.size()) {
                repair.setStopflag(true);
            }
        });
    repair.repairFileAtPath_andSaveAtPath(path, folder);
    NotificationCenter::defaultCenter().removeObserver(token);
    outcome.files = filesIn(folder);
    outcome.writtenBytes = system.accepted();
    return outcome;
}

std::string difference(const Outcome& engine, const Outcome& plain)
{
    std::string words = differenceOfEvents(engine.events, plain.events) +
                        differenceOfFiles(engine.files, plain.files);
    if (engine.writtenBytes != plain.writtenBytes) {
        words += "the engine wrote " + std::to_string(engine.writtenBytes) + " bytes, plain " +
                 std::to_string(plain.writtenBytes) + "\n";
    }
    return words;
}

} // namespace talvek::test
