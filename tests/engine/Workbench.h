#pragma once

#include "engine/Repair.h"
#include "platform/FileManager.h"
#include "platform/NotificationCenter.h"
#include "tests/platform/MemoryFile.h"
#include "tests/support/Bytes.h"
#include "tests/support/TemporaryFolder.h"

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace talvek::test {

/// The engine with its state open to tests.
class Engine : public Repair
{
public:
    using Repair::boolValue;
    using Repair::ColorModeOffset;
    using Repair::colorModeSize;
    using Repair::fileAttributes;
    using Repair::fileHandle;
    using Repair::fileHeaderInformation;
    using Repair::fileName;
    using Repair::filePath;
    using Repair::fileSize;
    using Repair::freeSpace;
    using Repair::headerOffset;
    using Repair::imageResourceOffset;
    using Repair::isAborted;
    using Repair::last8BIMfxrpOffset;
    using Repair::last8BIMnormOffset;
    using Repair::last8BIMOffset;
    using Repair::layer_counter;
    using Repair::layerAndMaskOffset;
    using Repair::layerStart;
    using Repair::mainFileArray;
    using Repair::mainImageOffset;
    using Repair::mutableStringArray;
    using Repair::nonRepeatArray;
    using Repair::noOfLayer;
    using Repair::offset8BIMfxrp;
    using Repair::offset8BIMnorm;
    using Repair::offsetForProgressBar;
    using Repair::recoverFileLocationField;
    using Repair::Repair;
    using Repair::sizeOfImageResource;
    using Repair::sizeOFLayerAndMask;
    using Repair::tempLocation;
    using Repair::temporary;
    using Repair::totalFilesSize;
};

/// Everything that is posted as "notif" while this lives.
class Notifications
{
public:
    Notifications();
    ~Notifications();
    Notifications(const Notifications&) = delete;
    Notifications& operator=(const Notifications&) = delete;

    std::vector<UserInfo> all;
    std::function<void()> onPost; ///< called after each, on the posting thread

    [[nodiscard]] std::vector<double> progress() const;
    [[nodiscard]] std::size_t aborts() const;
    [[nodiscard]] std::size_t completions() const;
    /// One letter a notification: p, a, c.
    [[nodiscard]] std::string shapes() const;

private:
    int m_token;
};

/// Every line of the system's log while this lives.
class LogLines
{
public:
    LogLines();
    ~LogLines();
    LogLines(const LogLines&) = delete;
    LogLines& operator=(const LogLines&) = delete;

    std::vector<std::string> lines;

private:
    int m_token;
};

/// A document on disk, an output folder beside it, and an engine to work between the two.
class Workbench
{
public:
    explicit Workbench(const Bytes& document, SystemCalls& system = SystemCalls::real(),
                       const std::string& name = "a.psd");

    TemporaryFolder place;
    std::string document; ///< its path
    std::string folder;   ///< the output folder's path
    FileManager files;
    Engine engine;
    Notifications heard;

    /// A whole run.
    void run() { engine.repairFileAtPath_andSaveAtPath(document, folder); }
    /// What the driver has done when it calls the first stage.
    void prepare();
    /// A file in the output folder, open to be appended to.
    WritingFileHandle output(const std::string& name);

    [[nodiscard]] Bytes file(const std::string& name) const;
    /// Names in the output folder, in order, with a comma between two.
    [[nodiscard]] std::string names() const;
    /// The completion's listing; empty without one.
    [[nodiscard]] std::vector<FileRecord> listing() const;
    [[nodiscard]] std::uint64_t listedBytes() const;
};

/// An engine before a document in memory, for its searches; it has no output folder to write to.
class Scanner
{
public:
    explicit Scanner(const Bytes& document) : memory(document)
    {
        engine.fileHandle = ReadingFileHandle(memory, "document");
        engine.recoverFileLocationField = "nowhere";
    }

    MemoryFile memory;
    Engine engine;
};

/// `value` as a percentage of `whole`, in the order in which the engine computes it.
double percentageOf(std::int64_t value, std::int64_t whole);

/// Bytes `from` to `to` - 1.
Bytes slice(const Bytes& bytes, std::int64_t from, std::int64_t to);
/// From `from` to the end.
Bytes slice(const Bytes& bytes, std::int64_t from);

/// All of them, one behind the other.
Bytes joined(std::initializer_list<Bytes> parts);

/// Writes `text` over the bytes from `offset` on. Requires: they are there.
void put(Bytes& bytes, std::size_t offset, std::string_view text);

/// Bytes that hold no signature, and of which neighbours differ.
Bytes patternOf(std::size_t count);

} // namespace talvek::test
