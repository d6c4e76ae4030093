#include "tests/engine/Workbench.h"

#include "platform/PathString.h"
#include "platform/SystemLog.h"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace talvek::test {

namespace {

std::size_t countWithKey(const std::vector<UserInfo>& all, const char* key)
{
    return static_cast<std::size_t>(std::count_if(
        all.begin(), all.end(), [key](const UserInfo& info) { return info.contains(key); }));
}

} // namespace

Notifications::Notifications()
    : m_token(
          NotificationCenter::defaultCenter().addObserver("notif", [this](const UserInfo& info) {
              all.push_back(info);
              if (onPost) {
                  onPost();
              }
          }))
{}

Notifications::~Notifications()
{
    NotificationCenter::defaultCenter().removeObserver(m_token);
}

std::vector<double> Notifications::progress() const
{
    std::vector<double> figures;
    for (const UserInfo& info : all) {
        if (info.contains("progress")) {
            figures.push_back(std::get<double>(info.at("progress")));
        }
    }
    return figures;
}

std::size_t Notifications::aborts() const
{
    return countWithKey(all, "unrepair");
}

std::size_t Notifications::completions() const
{
    return countWithKey(all, "complete");
}

std::string Notifications::shapes() const
{
    std::string letters;
    for (const UserInfo& info : all) {
        letters += info.contains("status") ? 'p' : info.contains("unrepair") ? 'a' : 'c';
    }
    return letters;
}

LogLines::LogLines()
    : m_token(SystemLog::addSink([this](const std::string& line) { lines.push_back(line); }))
{}

LogLines::~LogLines()
{
    SystemLog::removeSink(m_token);
}

Workbench::Workbench(const Bytes& contents, SystemCalls& system, const std::string& name)
    : document(place.write(name, contents)),
      folder(place.pathOf("out")),
      files(system),
      engine(files)
{}

void Workbench::prepare()
{
    files.createFolder(folder, FileManager::kPrivateFolder);
    engine.filePath = document;
    engine.fileName = lastPathComponent(document);
    engine.fileSize = files.fileSizeAtPath(document);
    engine.recoverFileLocationField = folder;
    engine.tempLocation = folder;
    engine.fileHandle = files.openForReading(document);
    engine.fileHandle.read(0, engine.fileHeaderInformation);
    engine.ColorModeOffset = 26;
    std::array<std::uint8_t, 4> length = {};
    engine.fileHandle.read(26, length);
    engine.colorModeSize = Repair::sizeOfLength(length, 4) + 4;
    engine.imageResourceOffset = engine.colorModeSize + 26;
    length = {};
    engine.fileHandle.read(engine.imageResourceOffset, length);
    engine.sizeOfImageResource = Repair::sizeOfLength(length, 4);
}

WritingFileHandle Workbench::output(const std::string& name)
{
    const std::string path = folder + "/" + name;
    if (!files.createFile(path, {})) {
        throw std::runtime_error("cannot create " + path);
    }
    return files.openForWriting(path);
}

Bytes Workbench::file(const std::string& name) const
{
    return readFile(folder + "/" + name);
}

std::string Workbench::names() const
{
    std::string all;
    for (const auto& [name, contents] : filesIn(folder)) {
        all += (all.empty() ? "" : ",") + name;
    }
    return all;
}

std::vector<FileRecord> Workbench::listing() const
{
    for (const UserInfo& info : heard.all) {
        if (info.contains("Files")) {
            return std::get<std::vector<FileRecord>>(info.at("Files"));
        }
    }
    return {};
}

std::uint64_t Workbench::listedBytes() const
{
    for (const UserInfo& info : heard.all) {
        if (info.contains("totalFilesSize")) {
            return std::get<std::uint64_t>(info.at("totalFilesSize"));
        }
    }
    return 0;
}

double percentageOf(std::int64_t value, std::int64_t whole)
{
    return static_cast<double>(value) / static_cast<double>(whole) * 100.0;
}

Bytes slice(const Bytes& bytes, std::int64_t from, std::int64_t to)
{
    const auto size = static_cast<std::int64_t>(bytes.size());
    to = std::clamp<std::int64_t>(to, 0, size);
    from = std::clamp<std::int64_t>(from, 0, to);
    return {bytes.begin() + from, bytes.begin() + to};
}

Bytes slice(const Bytes& bytes, std::int64_t from)
{
    return slice(bytes, from, static_cast<std::int64_t>(bytes.size()));
}

Bytes joined(std::initializer_list<Bytes> parts)
{
    Bytes all;
    for (const Bytes& part : parts) {
        append(all, part);
    }
    return all;
}

void put(Bytes& bytes, std::size_t offset, std::string_view text)
{
    std::copy(text.begin(), text.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset));
}

Bytes patternOf(std::size_t count)
{
    Bytes pattern(count);
    for (std::size_t i = 0; i < count; ++i) {
        pattern[i] = static_cast<std::uint8_t>(i * 7 + i / 251 + 3);
    }
    return pattern;
}

} // namespace talvek::test
